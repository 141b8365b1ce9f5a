#pragma once

#include <stdexcept>

namespace orv::tool {

// A command line that cannot be understood; the program prints the message
// and the subcommand's help and exits with 2.
class UsageError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// Input that cannot be used (a file, an event, a configuration, a property
// value); the program prints the message and exits with 1.
class InputError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// A line of more than its limit of bytes. The reader has skipped it, so
// reading can go on with the next line.
class LineTooLongError : public InputError {
 public:
  using InputError::InputError;
};

}  // namespace orv::tool
