#include "standard_output.hpp"

#include <cerrno>
#include <cstdio>
#include <iostream>

namespace orv::tool {

StandardOutput::StandardOutput() : previous_(std::cout.rdbuf(this)) {}

StandardOutput::~StandardOutput() { std::cout.rdbuf(previous_); }

int StandardOutput::Finish() {
  std::cout.flush();
  if (std::fflush(stdout) != 0) {
    Failed();
  }
  // A plug-in may have written to stdout itself and failed.
  if (error_ == 0 && std::ferror(stdout) != 0) {
    error_ = EIO;
  }
  return error_;
}

StandardOutput::int_type StandardOutput::overflow(int_type c) {
  if (traits_type::eq_int_type(c, traits_type::eof())) {
    return traits_type::not_eof(c);
  }
  if (std::fputc(traits_type::to_char_type(c), stdout) == EOF) {
    Failed();
    return traits_type::eof();
  }
  return c;
}

std::streamsize StandardOutput::xsputn(char const* text, std::streamsize size) {
  std::size_t const written = std::fwrite(text, 1, static_cast<std::size_t>(size), stdout);
  if (written != static_cast<std::size_t>(size)) {
    Failed();
  }
  return static_cast<std::streamsize>(written);
}

int StandardOutput::sync() { return std::fflush(stdout) == 0 ? 0 : Failed(); }

int StandardOutput::Failed() {
  if (error_ == 0) {
    error_ = errno != 0 ? errno : EIO;
  }
  return -1;
}

}  // namespace orv::tool
