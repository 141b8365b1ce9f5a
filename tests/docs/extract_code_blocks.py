#!/usr/bin/env python3
"""Writes every ```cpp block of the given Markdown files as a C++ source file.

A block compiles as it stands unless an HTML comment right above it gives the
context a reader can take for granted (includes, the variables it uses):

    <!-- code-context
    #include "orv/action/action.hpp"
    void Example(orv::action::Action& action) {
    @code
    }
    -->

The line "@code" is replaced by the block. "#line" directives point compiler
messages at the Markdown file, so an error names the document and its line.

usage: extract_code_blocks.py OUTPUT_DIR SOURCE_ROOT FILE.md...
Prints the paths of the written sources, one per line.
"""
import os
import re
import sys


def blocks(path):
    """Yields (context lines or None, first line number of the block, block lines)."""
    with open(path, encoding="utf-8") as f:
        lines = f.read().split("\n")
    context = None
    i = 0
    while i < len(lines):
        line = lines[i]
        if line.strip() == "<!-- code-context":
            end = i + 1
            while end < len(lines) and lines[end].strip() != "-->":
                end += 1
            if end == len(lines):
                sys.exit(f"{path}:{i + 1}:1: code-context comment is never closed")
            context = (i + 2, lines[i + 1:end])
            i = end + 1
            continue
        if line.strip() == "```cpp":
            start = i + 1
            end = start
            while end < len(lines) and lines[end].strip() != "```":
                end += 1
            if end == len(lines):
                sys.exit(f"{path}:{i + 1}:1: code block is never closed")
            yield context, start + 1, lines[start:end]
            context = None
            i = end + 1
            continue
        if line.strip():
            context = None  # a context belongs to the block right below it
        i += 1


def source(path, context, first_line, block):
    name = path.replace("\\", "\\\\").replace('"', '\\"')
    code = [f'#line {first_line} "{name}"'] + block
    if context is None:
        return "\n".join(code) + "\n"
    context_line, context_lines = context
    if sum(1 for line in context_lines if line.strip() == "@code") != 1:
        sys.exit(f"{path}:{context_line - 1}:1: code-context needs exactly one @code line")
    out = [f'#line {context_line} "{name}"']
    for offset, line in enumerate(context_lines):
        if line.strip() == "@code":
            out += code
            out.append(f'#line {context_line + offset + 1} "{name}"')
        else:
            out.append(line)
    return "\n".join(out) + "\n"


def main():
    if len(sys.argv) < 4:
        sys.exit(__doc__)
    output, root = sys.argv[1], sys.argv[2]
    os.makedirs(output, exist_ok=True)
    for path in sys.argv[3:]:
        relative = os.path.relpath(path, root)
        stem = re.sub(r"[^A-Za-z0-9]+", "_", relative)
        for context, first_line, block in blocks(path):
            target = os.path.join(output, f"{stem}_{first_line}.cpp")
            text = source(relative, context, first_line, block)
            old = None
            if os.path.exists(target):
                with open(target, encoding="utf-8") as f:
                    old = f.read()
            if old != text:  # keep the time stamp, so unchanged blocks are not rebuilt
                with open(target, "w", encoding="utf-8") as f:
                    f.write(text)
            print(target)


if __name__ == "__main__":
    main()
