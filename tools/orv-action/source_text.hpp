#pragma once

#include <cstddef>
#include <string>

namespace orv::tool {

// The text of one input together with the name that messages give it ("event.json",
// "<stdin>", "--set template") and the number of its first line, so that a
// byte of it can be named as "<name>:<line>:<column>". An event line of
// `run` is one source whose first line is its line number in the file.
//
// Lines and columns count from 1; a column counts characters (UTF-8 code
// points) from the start of the line, a tab as one.
class SourceText {
 public:
  SourceText(std::string name, std::string text, std::size_t firstLine = 1)
      : name_(std::move(name)), text_(std::move(text)), firstLine_(firstLine) {}

  std::string const& Name() const noexcept { return name_; }
  std::string const& Text() const noexcept { return text_; }

  // "<name>:<line>:<column>" of the byte at `offset`; an offset at or past
  // the end names the place just after the last character.
  std::string Place(std::size_t offset) const;

  // "<name>:<line>:<column>" of a line and column counted within the text
  // (line 1 being the text's first line), as the template library reports them.
  std::string Place(std::size_t line, std::size_t column) const;

 private:
  std::string name_;
  std::string text_;
  std::size_t firstLine_;
};

}  // namespace orv::tool
