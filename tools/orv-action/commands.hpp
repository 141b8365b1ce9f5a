#pragma once

#include <iosfwd>

#include "command_line.hpp"

namespace orv::tool {

// One subcommand: its name, a one-line summary, its full help text, and what
// it runs. Run returns the exit code; it throws UsageError or InputError for
// the program to report.
struct Command {
  char const* name;
  char const* summary;
  char const* help;
  int (*run)(Arguments const& arguments, std::ostream& out, std::ostream& err);
};

extern Command const kDataCommand;
extern Command const kRenderCommand;
extern Command const kTypesCommand;
extern Command const kTestCommand;
extern Command const kRunCommand;

}  // namespace orv::tool
