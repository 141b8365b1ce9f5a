#pragma once

#include <streambuf>

namespace orv::tool {

// The buffer that std::cout writes through while the program runs: it passes
// everything to stdio's stdout, as std::cout does by default, so that the
// program's text and the text that plug-ins write to stdout keep their order,
// and it remembers the error of the first write that failed.
class StandardOutput : public std::streambuf {
 public:
  // Puts itself under std::cout until destroyed.
  StandardOutput();
  ~StandardOutput() override;
  StandardOutput(StandardOutput const&) = delete;
  StandardOutput& operator=(StandardOutput const&) = delete;

  // Flushes stdout; returns the errno of the first write or flush that
  // failed, or 0 when all went out.
  int Finish();

 protected:
  int_type overflow(int_type c) override;
  std::streamsize xsputn(char const* text, std::streamsize size) override;
  int sync() override;

 private:
  int Failed();

  std::streambuf* previous_;
  int error_ = 0;
};

}  // namespace orv::tool
