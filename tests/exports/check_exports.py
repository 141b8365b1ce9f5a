#!/usr/bin/env python3
"""Fails when a framework library exports a symbol of its own that is not part
of its public API: every exported function or object of namespace orv must be
named in one of the library's public headers.

usage: check_exports.py LIBRARY INCLUDE_DIR [INCLUDE_DIR...]

The environment variable ORV_NM names the nm to use (the target's, for a
cross build); "nm" by default.
"""
import os
import pathlib
import re
import subprocess
import sys


def exported_names(library):
    listing = subprocess.run([os.environ.get("ORV_NM", "nm"), "-DC", "--defined-only", library], check=True, capture_output=True,
                             text=True).stdout
    for line in listing.splitlines():
        parts = line.split(None, 2)
        if len(parts) < 3:
            continue
        symbol = parts[2]
        # Type information and vtables follow their class, which the class's
        # members already name.
        if symbol.startswith(("typeinfo", "vtable", "VTT", "guard variable", "construction vtable")):
            continue
        yield symbol


def own_identifier(symbol):
    """The innermost name of an orv:: function or object, or None for symbols
    of other libraries (std and boost instantiations)."""
    # Drop the return type of template functions and the parameter list.
    head = symbol.split("(", 1)[0]
    head = re.sub(r"\[abi:[^\]]*\]", "", head)
    depth = 0
    cleaned = ""
    for ch in head:
        if ch == "<":
            depth += 1
        elif ch == ">":
            depth -= 1
        elif depth == 0:
            cleaned += ch
    cleaned = cleaned.split(" ")[-1]
    if not cleaned.startswith(("orv::", "cereal::")):
        return None
    if "(anonymous namespace)" in symbol:
        return cleaned
    name = cleaned.split("::")[-1]
    if name.startswith("~"):
        name = name[1:]
    if name.startswith("operator"):
        return None
    return name


def main():
    library = sys.argv[1]
    headers = "".join(p.read_text() for d in sys.argv[2:] for p in pathlib.Path(d).rglob("*.hpp"))
    words = set(re.findall(r"[A-Za-z_]\w*", headers))
    leaks = sorted({symbol for symbol in exported_names(library)
                    if (name := own_identifier(symbol)) is not None and name not in words})
    for symbol in leaks:
        print(f"{library}: exports {symbol}, which no public header declares")
    return 1 if leaks else 0


if __name__ == "__main__":
    sys.exit(main())
