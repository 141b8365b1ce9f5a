#pragma once

#include <functional>
#include <iosfwd>
#include <memory>

namespace CLI {
class App;
class FormatterBase;
}  // namespace CLI

namespace orv::tool {

// One subcommand of the program: the parser that holds its arguments and
// options, and what runs it once the command line has been parsed. Run
// returns the exit code; it throws UsageError or InputError for the program
// to report.
struct Command {
  CLI::App* parser;
  std::function<int(std::ostream& out, std::ostream& err)> run;
};

// Adds the subcommand `name` to `program`. `summary` is its line in the
// program's overview; `description` is the text its help shows below the
// usage line, before the lines of its arguments and options.
CLI::App* AddSubcommand(CLI::App& program, char const* name, char const* summary, char const* description);

// The help of the program: for the program itself the overview of its
// subcommands, for a subcommand "usage: orv-action <name> <arguments and
// options>", its description and one line per argument and option. Set on
// the program before its subcommands are added, which take it over.
std::shared_ptr<CLI::FormatterBase> MakeHelpFormatter();

}  // namespace orv::tool
