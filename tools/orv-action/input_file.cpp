#include "input_file.hpp"

#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstring>

#include "errors.hpp"

namespace orv::tool {
namespace {

std::string LargerThan(std::string const& place, std::size_t limit, std::string_view what) {
  return place + ": larger than " + DescribeBytes(limit) + ", the limit of " + std::string(what);
}

}  // namespace

InputFile::InputFile(std::string const& path) : name_(path == "-" ? "<stdin>" : path) {
  if (path == "-") {
    descriptor_ = STDIN_FILENO;
  } else {
    descriptor_ = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (descriptor_ < 0) {
      throw InputError(name_ + ": cannot open: " + std::strerror(errno));
    }
    owned_ = true;
  }
  struct stat status {};
  if (::fstat(descriptor_, &status) == 0 && S_ISDIR(status.st_mode)) {
    if (owned_) {
      ::close(descriptor_);
    }
    throw InputError(name_ + ": is a directory");
  }
}

InputFile::~InputFile() {
  if (owned_) {
    ::close(descriptor_);
  }
}

bool InputFile::Fill() {
  // What ReadLine has returned is dropped here, once per read, not once per line.
  buffered_.erase(0, start_);
  start_ = 0;
  std::array<char, 65536> chunk{};
  while (true) {
    if (stopped_ || (stop_ >= 0 && !WaitForInput())) {
      return false;
    }
    ssize_t const count = ::read(descriptor_, chunk.data(), chunk.size());
    if (count > 0) {
      buffered_.append(chunk.data(), static_cast<std::size_t>(count));
      return true;
    }
    if (count == 0) {
      return false;
    }
    if (errno != EINTR) {
      throw InputError(name_ + ": cannot read: " + std::strerror(errno));
    }
  }
}

bool InputFile::WaitForInput() {
  std::array<pollfd, 2> descriptors{{{descriptor_, POLLIN, 0}, {stop_, POLLIN, 0}}};
  while (::poll(descriptors.data(), descriptors.size(), -1) < 0) {
    if (errno != EINTR) {
      throw InputError(name_ + ": cannot wait for input: " + std::strerror(errno));
    }
  }
  stopped_ = descriptors[1].revents != 0;
  return !stopped_;
}

void InputFile::TooLarge(std::string const& place, std::size_t limit, std::string_view what) const {
  throw InputError(LargerThan(place, limit, what));
}

std::string InputFile::ReadAll(std::size_t limit, std::string_view what) {
  while (buffered_.size() - start_ <= limit && Fill()) {
  }
  if (buffered_.size() - start_ > limit) {
    TooLarge(name_, limit, what);
  }
  std::string all = buffered_.substr(start_);
  buffered_.clear();
  start_ = 0;
  return all;
}

void InputFile::SkipLine() {
  for (;;) {
    std::size_t const end = buffered_.find('\n', start_);
    if (end != std::string::npos) {
      start_ = end + 1;
      break;
    }
    start_ = buffered_.size();
    if (!Fill()) {
      break;
    }
  }
  ++lineNumber_;
}

bool InputFile::ReadLine(std::string& line, std::size_t limit, std::string_view what) {
  auto const refuse = [&] {
    std::string const place = name_ + ":" + std::to_string(lineNumber_ + 1) + ":1";
    SkipLine();
    throw LineTooLongError(LargerThan(place, limit, what));
  };
  std::size_t end = buffered_.find('\n', start_);
  while (end == std::string::npos) {
    if (buffered_.size() - start_ > limit) {
      refuse();
    }
    std::size_t const searched = buffered_.size() - start_;
    if (!Fill()) {
      if (stopped_) {
        return false;
      }
      break;
    }
    end = buffered_.find('\n', start_ + searched);
  }
  std::size_t const length = (end == std::string::npos ? buffered_.size() : end) - start_;
  if (end == std::string::npos && length == 0) {
    return false;
  }
  if (length > limit) {
    refuse();
  }
  line.assign(buffered_, start_, length);
  start_ += end == std::string::npos ? length : length + 1;
  ++lineNumber_;
  return true;
}

std::string ReadFile(std::string const& path, std::size_t limit, std::string_view what) {
  return InputFile(path).ReadAll(limit, what);
}

std::string DescribeBytes(std::size_t bytes) {
  std::string text = std::to_string(bytes) + " bytes";
  if (bytes >= (std::size_t{1} << 20) && bytes % (std::size_t{1} << 20) == 0) {
    text = std::to_string(bytes >> 20) + " MiB (" + text + ")";
  }
  return text;
}

}  // namespace orv::tool
