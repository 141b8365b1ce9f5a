#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace orv::tool {

// One input file, or standard input for the path "-", read whole or line by
// line with a limit on the bytes it may hold. Every failure throws
// InputError naming the file ("<stdin>" for standard input).
class InputFile {
 public:
  // Opens the file; refuses a directory ("<path>: is a directory").
  explicit InputFile(std::string const& path);
  ~InputFile();
  InputFile(InputFile const&) = delete;
  InputFile& operator=(InputFile const&) = delete;

  // "<stdin>" for standard input, the path otherwise.
  std::string const& Name() const noexcept { return name_; }

  // The rest of the file. `what` names the input in the message about a
  // file of more than `limit` bytes ("an event file").
  std::string ReadAll(std::size_t limit, std::string_view what);

  // The next line without its "\n"; false at the end of the file. A line of
  // more than `limit` bytes is refused with LineTooLongError, `what` naming it
  // ("an event line"), after it was read past without being kept: the next
  // call returns the line after it.
  bool ReadLine(std::string& line, std::size_t limit, std::string_view what);

  // The number of the line ReadLine returned last, from 1.
  std::size_t LineNumber() const noexcept { return lineNumber_; }

  // Makes reading stop, as at the end of the file, as soon as `descriptor`
  // is readable (a signal handler writes to it), even while a read waits for
  // input; a line that was not complete then is dropped. -1: never.
  void StopWhenReadable(int descriptor) noexcept { stop_ = descriptor; }
  // Whether reading stopped for that descriptor.
  bool Stopped() const noexcept { return stopped_; }

 private:
  // Appends up to one buffer's worth to buffered_; false at the end of the file.
  bool Fill();
  // Waits until the file or the stop descriptor is readable; false for the latter.
  bool WaitForInput();
  [[noreturn]] void TooLarge(std::string const& place, std::size_t limit, std::string_view what) const;
  // Reads past the rest of the current line and its "\n", keeping none of it.
  void SkipLine();

  std::string name_;
  int descriptor_ = -1;
  bool owned_ = false;
  std::string buffered_;
  std::size_t start_ = 0;  // the first byte of buffered_ not yet returned
  std::size_t lineNumber_ = 0;
  int stop_ = -1;
  bool stopped_ = false;
};

// The whole content of the file at `path` ("-" for standard input), at most
// `limit` bytes; see InputFile.
std::string ReadFile(std::string const& path, std::size_t limit, std::string_view what);

// "16 MiB (16777216 bytes)": a limit in bytes as messages name it.
std::string DescribeBytes(std::size_t bytes);

}  // namespace orv::tool
