// The line reader of a streaming `orv-action run`: whatever bytes arrive on
// a pipe, in whatever pieces, come out as exactly the lines that were sent,
// each numbered, and a line over the limit is refused naming its number and
// read past, so that the next line comes out whole. The first byte of the
// input chooses the limit, the second the size of the pieces written.

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "errors.hpp"
#include "fuzz_support.hpp"
#include "input_file.hpp"

namespace {

// The lines the reader must return: the text split at each "\n", without an
// empty piece after the last one.
std::vector<std::string_view> LinesOf(std::string_view text) {
  std::vector<std::string_view> lines;
  std::size_t start = 0;
  while (start < text.size()) {
    std::size_t const end = std::min(text.find('\n', start), text.size());
    lines.push_back(text.substr(start, end - start));
    start = end + 1;
  }
  return lines;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
  using namespace orv;
  if (size < 2) {
    return 0;
  }
  std::size_t const limit = 1 + data[0] % 64;
  std::size_t const piece = 1 + data[1];
  std::string_view const text = fuzz::AsText(data + 2, size - 2);

  int ends[2];
  fuzz::Check(pipe2(ends, O_CLOEXEC) == 0, "cannot make a pipe");
  std::string const name = "/dev/fd/" + std::to_string(ends[0]);
  std::thread writer([&text, piece, out = ends[1]] {
    for (std::size_t at = 0; at < text.size(); at += piece) {
      std::size_t const count = std::min(piece, text.size() - at);
      fuzz::Check(write(out, text.data() + at, count) == static_cast<ssize_t>(count), "cannot write to the pipe");
    }
    close(out);
  });
  {
    tool::InputFile file(name);
    std::vector<std::string_view> const expected = LinesOf(text);
    std::string line;
    for (std::size_t number = 1; number <= expected.size(); ++number) {
      auto const wanted = expected[number - 1];
      if (wanted.size() > limit) {
        try {
          file.ReadLine(line, limit, "a line");
          fuzz::Fail("a line over the limit was read", std::to_string(number));
        } catch (tool::LineTooLongError const& error) {
          fuzz::Check(error.what() == name + ":" + std::to_string(number) + ":1: larger than " + std::to_string(limit) +
                                          " bytes, the limit of a line",
                      "a long line refused with the wrong message", error.what());
        }
        continue;
      }
      fuzz::Check(file.ReadLine(line, limit, "a line"), "a line is missing", std::to_string(number));
      fuzz::Check(line == wanted, "a line came out changed", line);
      fuzz::Check(file.LineNumber() == number, "a line has the wrong number", std::to_string(file.LineNumber()));
    }
    fuzz::Check(!file.ReadLine(line, limit, "a line"), "a line came out after the last");
  }
  writer.join();
  close(ends[0]);
  return 0;
}
