#pragma once

// What every fuzz target shares: checks that stop the run with a message
// (libFuzzer then saves the input), and the checks of messages that name a
// place in an input.

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>

namespace orv::fuzz {

[[noreturn]] inline void Fail(std::string_view what, std::string_view detail = {}) {
  std::fprintf(stderr, "fuzz check failed: %.*s\n", static_cast<int>(what.size()), what.data());
  if (!detail.empty()) {
    std::fprintf(stderr, "  %.*s\n", static_cast<int>(detail.size()), detail.data());
  }
  std::abort();
}

inline void Check(bool holds, std::string_view what, std::string_view detail = {}) {
  if (!holds) {
    Fail(what, detail);
  }
}

inline std::string_view AsText(std::uint8_t const* data, std::size_t size) {
  return {reinterpret_cast<char const*>(data), size};
}

// Reads a decimal number of at least one digit at `at`; false when there is none.
inline bool ReadNumber(std::string_view text, std::size_t& at, std::size_t& number) {
  std::size_t const start = at;
  number = 0;
  while (at < text.size() && text[at] >= '0' && text[at] <= '9' && at - start < 12) {
    number = number * 10 + static_cast<std::size_t>(text[at] - '0');
    ++at;
  }
  return at > start;
}

// Whether `message` starts with "<name>:<line>:<column>: ", line and column
// counting from 1, as every error of the program about a place in an input does.
inline bool NamesPlace(std::string_view message, std::string_view name, std::size_t* line = nullptr,
                       std::size_t* column = nullptr) {
  if (!message.starts_with(name) || message.substr(name.size(), 1) != ":") {
    return false;
  }
  std::size_t at = name.size() + 1;
  std::size_t l = 0;
  std::size_t c = 0;
  if (!ReadNumber(message, at, l) || message.substr(at, 1) != ":") {
    return false;
  }
  ++at;
  if (!ReadNumber(message, at, c) || message.substr(at, 2) != ": " || l == 0 || c == 0) {
    return false;
  }
  if (line != nullptr) {
    *line = l;
  }
  if (column != nullptr) {
    *column = c;
  }
  return true;
}

// Whether line `line` and column `column` (from 1, a column counting UTF-8
// code points) lie in `text` or just after its last character on that line.
inline bool IsPlaceIn(std::string_view text, std::size_t line, std::size_t column) {
  if (line == 0 || column == 0) {
    return false;
  }
  std::size_t at = 0;
  for (std::size_t l = 1; l < line; ++l) {
    std::size_t const newline = text.find('\n', at);
    if (newline == std::string_view::npos) {
      return false;
    }
    at = newline + 1;
  }
  std::size_t const end = std::min(text.find('\n', at), text.size());
  std::size_t characters = 0;
  for (std::size_t i = at; i < end; ++i) {
    if ((static_cast<unsigned char>(text[i]) & 0xC0U) != 0x80U) {
      ++characters;
    }
  }
  return column <= characters + 1;
}

}  // namespace orv::fuzz
