#include "command_line.hpp"

#include <CLI/CLI.hpp>
#include <sstream>
#include <string>
#include <vector>

namespace orv::tool {
namespace {

constexpr std::size_t kNameColumn = 24;

// "  <name>  <description>", descriptions lined up; a long name gets a line
// of its own.
void AddRow(std::ostream& out, std::string const& name, std::string const& description) {
  out << "  " << name;
  if (name.size() + 2 >= kNameColumn) {
    out << '\n' << std::string(kNameColumn, ' ');
  } else {
    out << std::string(kNameColumn - 2 - name.size(), ' ');
  }
  out << description << '\n';
}

// "-h, --help" and the value it takes, as its help row and usage write it.
std::string OptionText(CLI::Option const& option) {
  std::string names;
  for (std::string const& name : option.get_snames()) {
    names.append(names.empty() ? "" : ", ").append("-" + name);
  }
  for (std::string const& name : option.get_lnames()) {
    names.append(names.empty() ? "" : ", ").append("--" + name);
  }
  if (!option.get_option_text().empty()) {
    names.append(" ").append(option.get_option_text());
  }
  return names;
}

bool Repeats(CLI::Option const& option) { return option.get_expected_max() >= CLI::detail::expected_max_vector_size; }

class HelpFormatter : public CLI::FormatterBase {
 public:
  std::string make_help(CLI::App const* app, std::string, CLI::AppFormatMode) const override {
    return app->get_parent() == nullptr ? Overview(*app) : Subcommand(*app);
  }

 private:
  static std::string Overview(CLI::App const& program) {
    std::ostringstream out;
    out << "usage: orv-action <command> [arguments]\n\n" << program.get_description() << "\n\ncommands:\n";
    for (CLI::App const* command : program.get_subcommands({})) {
      out << "  " << command->get_name() << std::string(8 - std::min<std::size_t>(command->get_name().size(), 7), ' ')
          << command->get_description() << '\n';
    }
    out << "\n'orv-action help <command>' or 'orv-action <command> --help' describes a command.\n";
    return out.str();
  }

  static std::string Subcommand(CLI::App const& command) {
    std::vector<CLI::Option const*> const positionals =
        command.get_options([](CLI::Option const* option) { return option->get_positional(); });
    std::vector<CLI::Option const*> const options =
        command.get_options([](CLI::Option const* option) { return option->nonpositional(); });
    std::ostringstream out;
    out << "usage: orv-action " << command.get_name();
    for (CLI::Option const* positional : positionals) {
      std::string const name = positional->get_name();
      out << ' ' << (positional->get_required() ? name : "[" + name + "]") << (Repeats(*positional) ? "..." : "");
    }
    for (CLI::Option const* option : options) {
      if (option != command.get_help_ptr()) {
        out << " [" << OptionText(*option) << "]" << (Repeats(*option) ? "..." : "");
      }
    }
    out << "\n\n" << command.get_footer() << '\n';
    if (!positionals.empty()) {
      out << "arguments:\n";
      for (CLI::Option const* positional : positionals) {
        AddRow(out, positional->get_name(), positional->get_description());
      }
      out << '\n';
    }
    out << "options:\n";
    for (CLI::Option const* option : options) {
      AddRow(out, OptionText(*option), option->get_description());
    }
    return out.str();
  }
};

}  // namespace

CLI::App* AddSubcommand(CLI::App& program, char const* name, char const* summary, char const* description) {
  CLI::App* command = program.add_subcommand(name, summary);
  command->footer(description);
  command->set_help_flag("-h,--help", "print this help and exit");
  return command;
}

std::shared_ptr<CLI::FormatterBase> MakeHelpFormatter() { return std::make_shared<HelpFormatter>(); }

}  // namespace orv::tool
