#pragma once

#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace orv::tool {

// A command line that cannot be understood; the program prints the message
// and the subcommand's usage and exits with 2.
class UsageError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// Input that cannot be used (a file, an event, a configuration); the program
// prints the message and exits with 1.
class InputError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// The arguments of one subcommand, after its name.
using Arguments = std::vector<std::string>;

// The names separated by ", "; "(none)" for no names.
std::string Join(std::vector<std::string_view> const& names);
std::string Join(std::vector<std::string> const& names);

// True when `arguments` asks for help (-h or --help anywhere).
bool WantsHelp(Arguments const& arguments);

// The whole content of the file at `path`; "-" reads standard input. Throws
// InputError naming the file when it cannot be read.
std::string ReadFile(std::string const& path);

}  // namespace orv::tool
