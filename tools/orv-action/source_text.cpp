#include "source_text.hpp"

#include <algorithm>

namespace orv::tool {

std::string SourceText::Place(std::size_t offset) const {
  offset = std::min(offset, text_.size());
  std::size_t line = 1;
  std::size_t column = 1;
  for (std::size_t i = 0; i < offset; ++i) {
    if (text_[i] == '\n') {
      ++line;
      column = 1;
    } else if ((static_cast<unsigned char>(text_[i]) & 0xC0U) != 0x80U) {
      ++column;
    }
  }
  return Place(line, column);
}

std::string SourceText::Place(std::size_t line, std::size_t column) const {
  return name_ + ":" + std::to_string(firstLine_ + line - 1) + ":" + std::to_string(column);
}

}  // namespace orv::tool
