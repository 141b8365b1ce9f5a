// orv-action: see the template data of events, render templates with it, list
// and fire action types, and run a device's actions on recorded events.

#include <array>
#include <exception>
#include <iostream>
#include <string>

#include "command_line.hpp"
#include "commands.hpp"

namespace {

using orv::tool::Command;

std::array<Command const*, 5> const kCommands = {&orv::tool::kDataCommand, &orv::tool::kRenderCommand,
                                                 &orv::tool::kTypesCommand, &orv::tool::kTestCommand,
                                                 &orv::tool::kRunCommand};

void PrintOverview(std::ostream& out) {
  out << "usage: orv-action <command> [arguments]\n\n"
         "See the template data an action receives, render templates with it, list and fire\n"
         "action types, and run a device's actions on recorded events.\n\n"
         "commands:\n";
  for (Command const* command : kCommands) {
    out << "  " << command->name << std::string(8 - std::string(command->name).size(), ' ') << command->summary << '\n';
  }
  out << "\n'orv-action <command> --help' describes a command.\n";
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 2) {
    PrintOverview(std::cerr);
    return 2;
  }
  std::string const name = argv[1];
  if (name == "-h" || name == "--help" || name == "help") {
    PrintOverview(std::cout);
    return 0;
  }
  for (Command const* command : kCommands) {
    if (name != command->name) {
      continue;
    }
    orv::tool::Arguments const arguments(argv + 2, argv + argc);
    if (orv::tool::WantsHelp(arguments)) {
      std::cout << command->help;
      return 0;
    }
    try {
      return command->run(arguments, std::cout, std::cerr);
    } catch (orv::tool::UsageError const& error) {
      std::cerr << "orv-action " << command->name << ": " << error.what() << "\n\n" << command->help;
      return 2;
    } catch (std::exception const& error) {
      std::cerr << "orv-action " << command->name << ": " << error.what() << '\n';
      return 1;
    }
  }
  std::cerr << "orv-action: unknown command '" << name << "'\n\n";
  PrintOverview(std::cerr);
  return 2;
}
