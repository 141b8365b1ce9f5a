// orv-action: see the template data of events, render templates with it, list
// and fire action types, and run a device's actions on recorded events.

#include <CLI/CLI.hpp>
#include <cstring>
#include <exception>
#include <iostream>
#include <string>
#include <vector>

#include "command_line.hpp"
#include "commands.hpp"
#include "errors.hpp"
#include "standard_output.hpp"

namespace {

using orv::tool::Command;

constexpr int kInputFailure = 1;
constexpr int kUsageFailure = 2;

// Exits with 1 when what the program printed did not reach standard output.
int Finish(orv::tool::StandardOutput& output, std::string const& prefix, int exitCode) {
  if (int const error = output.Finish(); error != 0) {
    std::cerr << prefix << ": cannot write to standard output: " << std::strerror(error) << '\n';
    return kInputFailure;
  }
  return exitCode;
}

// The help of `app` itself; App::help() would describe the subcommand that
// the command line chose instead.
std::string HelpOf(CLI::App const& app) {
  return app.get_formatter()->make_help(&app, app.get_name(), CLI::AppFormatMode::Normal);
}

CLI::App const* FindCommand(CLI::App const& program, std::string const& name) {
  for (CLI::App const* command : program.get_subcommands({})) {
    if (command->get_name() == name) {
      return command;
    }
  }
  return nullptr;
}

int UnknownCommand(CLI::App const& program, std::string const& prefix, std::string const& name) {
  std::cerr << prefix << ": unknown command '" << name << "'\n\n" << HelpOf(program);
  return kUsageFailure;
}

}  // namespace

int main(int argc, char** argv) {
  orv::tool::StandardOutput output;
  CLI::App program(
      "See the template data an action receives, render templates with it, list and fire\n"
      "action types, and run a device's actions on recorded events.",
      "orv-action");
  program.formatter(orv::tool::MakeHelpFormatter());
  // One command per run; after it, every word is that command's argument
  // (`orv-action help data`, `orv-action data run` for a file named "run").
  program.require_subcommand(0, 1);
  std::vector<Command> const commands = {orv::tool::AddDataCommand(program),  orv::tool::AddRenderCommand(program),
                                         orv::tool::AddTypesCommand(program), orv::tool::AddTestCommand(program),
                                         orv::tool::AddRunCommand(program),   orv::tool::AddStudioCommand(program),
                                         orv::tool::AddOutboxCommand(program)};
  CLI::App* help = orv::tool::AddSubcommand(program, "help", "describe the program or one of its commands",
                                            "Describes the command COMMAND, or without it the program.\n");
  std::string topic;
  help->add_option("COMMAND", topic, "the command to describe");

  if (argc < 2) {
    std::cerr << HelpOf(program);
    return kUsageFailure;
  }
  if (argv[1][0] != '-' && FindCommand(program, argv[1]) == nullptr) {
    return UnknownCommand(program, "orv-action", argv[1]);
  }
  try {
    program.parse(argc, argv);
  } catch (CLI::CallForHelp const&) {
    std::vector<CLI::App*> const chosen = program.get_subcommands();
    std::cout << HelpOf(chosen.empty() ? program : *chosen.front());
    return Finish(output, chosen.empty() ? "orv-action" : "orv-action " + chosen.front()->get_name(), 0);
  } catch (CLI::ParseError const& error) {
    std::vector<CLI::App*> const chosen = program.get_subcommands();
    std::string const prefix = chosen.empty() ? "orv-action" : "orv-action " + chosen.front()->get_name();
    std::cerr << prefix << ": " << error.what() << "\n\n" << HelpOf(chosen.empty() ? program : *chosen.front());
    return kUsageFailure;
  }

  if (help->parsed()) {
    CLI::App const* described = topic.empty() ? &program : FindCommand(program, topic);
    if (described == nullptr) {
      return UnknownCommand(program, "orv-action help", topic);
    }
    std::cout << HelpOf(*described);
    return Finish(output, "orv-action help", 0);
  }
  for (Command const& command : commands) {
    if (!command.parser->parsed()) {
      continue;
    }
    std::string const prefix = "orv-action " + command.parser->get_name();
    try {
      return Finish(output, prefix, command.run(std::cout, std::cerr));
    } catch (orv::tool::UsageError const& error) {
      std::cerr << prefix << ": " << error.what() << "\n\n" << HelpOf(*command.parser);
      return kUsageFailure;
    } catch (std::exception const& error) {
      Finish(output, prefix, 0);
      std::cerr << prefix << ": " << error.what() << '\n';
      return kInputFailure;
    }
  }
  return UnknownCommand(program, "orv-action", argv[1]);
}
