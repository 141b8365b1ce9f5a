// The command line of every subcommand: help, usage errors (exit 2), and
// output that cannot be written (exit 1).

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "program.hpp"

namespace orv::tool {
namespace {

using testing::kExamples;
using testing::Outcome;
using testing::Program;

constexpr char kDataHelp[] =
    "usage: orv-action data [EVENT]\n"
    "\n"
    "Prints the template data that an action receives for the event in the file EVENT, as\n"
    "indented JSON with keys in ascending order. The event file format is described in\n"
    "docs/event-format.md; the template data in docs/template-data.md.\n"
    "\n"
    "arguments:\n"
    "  EVENT                 the event file; \"-\" reads standard input (default: a bundled example)\n"
    "\n"
    "options:\n"
    "  -h, --help            print this help and exit\n";

constexpr char kTestHelpEnd[] =
    "arguments:\n"
    "  TYPE                  the action's type name, as `orv-action types` lists it\n"
    "\n"
    "options:\n"
    "  -h, --help            print this help and exit\n"
    "  --set NAME=VALUE      sets the property NAME; may be given for several properties\n"
    "  --text TEXT           the name of the test event (default: test)\n";

std::string Overview() {
  return "usage: orv-action <command> [arguments]\n"
         "\n"
         "See the template data an action receives, render templates with it, list and fire\n"
         "action types, and run a device's actions on recorded events.\n"
         "\n"
         "commands:\n"
         "  data    print the template data an action receives for an event\n"
         "  render  render a mustache template with an event's template data\n"
         "  types   list the action types of the plug-ins and their properties\n"
         "  test    make an action, set its properties and fire it once\n"
         "  run     run a device's actions on recorded events\n"
         "  studio  serve a web page to write, preview and check templates live\n"
         "  outbox  list an outbox's pending and dead messages, re-queue dead ones\n"
         "  help    describe the program or one of its commands\n"
         "\n"
         "'orv-action help <command>' or 'orv-action <command> --help' describes a command.\n";
}

TEST_F(Program, HelpDescribesTheProgramAndEachCommand) {
  for (std::vector<std::string> const& arguments :
       {std::vector<std::string>{"help"}, {"--help"}, {"-h"}, {"help", "--help"}}) {
    Outcome const outcome = Run(arguments);
    EXPECT_EQ(outcome.exit, 0) << arguments.back();
    EXPECT_EQ(outcome.err, "");
    if (arguments.size() == 1) {
      EXPECT_EQ(outcome.out, Overview());
    } else {
      EXPECT_EQ(outcome.out.rfind("usage: orv-action help [COMMAND]\n\nDescribes the command COMMAND", 0), 0U)
          << outcome.out;
    }
  }
  for (std::vector<std::string> const& arguments : {std::vector<std::string>{"help", "data"},
                                                    {"data", "--help"},
                                                    {"data", "-h"},
                                                    {"data", "file.json", "--help"},
                                                    {"data", "--bogus", "--help"}}) {
    Outcome const outcome = Run(arguments);
    EXPECT_EQ(outcome.exit, 0);
    EXPECT_EQ(outcome.out, kDataHelp);
    EXPECT_EQ(outcome.err, "");
  }
  Outcome const test = Run({"help", "test"});
  EXPECT_EQ(test.out.rfind("usage: orv-action test TYPE [--set NAME=VALUE]... [--text TEXT]\n\n", 0), 0U);
  EXPECT_EQ(test.out.substr(test.out.size() - std::string(kTestHelpEnd).size()), kTestHelpEnd);
}

TEST_F(Program, HelpOfAnUnknownCommandFails) {
  Outcome const outcome = Run({"help", "frobnicate"});
  EXPECT_EQ(outcome.exit, 2);
  EXPECT_EQ(outcome.out, "");
  EXPECT_EQ(outcome.err, "orv-action help: unknown command 'frobnicate'\n\n" + Overview());
}

TEST_F(Program, WithoutACommandTheOverviewGoesToStandardError) {
  Outcome const outcome = Run({});
  EXPECT_EQ(outcome.exit, 2);
  EXPECT_EQ(outcome.out, "");
  EXPECT_EQ(outcome.err, Overview());
}

TEST_F(Program, UnknownOptionsAndExtraArgumentsAreUsageErrors) {
  struct Case {
    std::vector<std::string> arguments;
    std::string message;
  };
  Write("device.json", R"({"armed": true, "actions": []})");
  std::vector<Case> const cases = {
      {{"data", "--bogus"}, "orv-action data: The following argument was not expected: --bogus"},
      {{"data", "a.json", "b.json"}, "orv-action data: The following argument was not expected: b.json"},
      {{"render", "--bogus"}, "orv-action render: The following argument was not expected: --bogus"},
      {{"render", "a", "b", "c"}, "orv-action render: The following argument was not expected: c"},
      {{"types", "extra"}, "orv-action types: The following argument was not expected: extra"},
      {{"types", "-v"}, "orv-action types: The following argument was not expected: -v"},
      {{"test", "orv.action.File", "--verbose"}, "orv-action test: The following argument was not expected: --verbose"},
      {{"test", "orv.action.File", "orv.action.File"},
       "orv-action test: The following argument was not expected: orv.action.File"},
      {{"run", "device.json", "--verbose"}, "orv-action run: The following argument was not expected: --verbose"},
      {{"run", "device.json", "-", "more"}, "orv-action run: The following argument was not expected: more"},
      {{"run"}, "orv-action run: CONFIG is required"},
      {{"test"}, "orv-action test: TYPE is required"},
      {{"test", "orv.action.File", "--set"}, "orv-action test: --set: 1 required NAME=VALUE missing"},
      {{"test", "orv.action.File", "--set", "path"}, "orv-action test: --set: expected NAME=VALUE, found 'path'"},
      {{"test", "orv.action.File", "--set", "=x"}, "orv-action test: --set: expected NAME=VALUE, found '=x'"},
      {{"render", "--escape", "xml"}, "orv-action render: --escape: xml not in {none,html,url,json}"},
      {{"--bogus"}, "orv-action: The following argument was not expected: --bogus"},
  };
  for (Case const& bad : cases) {
    Outcome const outcome = Run(bad.arguments);
    EXPECT_EQ(outcome.exit, 2) << bad.message;
    EXPECT_EQ(outcome.out, "");
    std::string const command = bad.arguments.front() == "--bogus" ? "<command> [arguments]" : bad.arguments.front();
    EXPECT_EQ(outcome.err.rfind(bad.message + "\n\nusage: orv-action " + command, 0), 0U) << outcome.err;
  }
}

TEST_F(Program, OnlyOneInputMayBeStandardInput) {
  Write("device.json", R"({"armed": true, "actions": []})");
  for (std::vector<std::string> const& arguments :
       {std::vector<std::string>{"run", "-", "-"}, std::vector<std::string>{"run", "-"}}) {
    Outcome const outcome = Run(arguments, R"({"armed": true, "actions": []})");
    EXPECT_EQ(outcome.exit, 2);
    EXPECT_EQ(outcome.out, "");
    EXPECT_EQ(
        outcome.err.rfind(
            "orv-action run: CONFIG and EVENTS cannot both read standard input (EVENTS does when "
            "it is not given)\n\nusage: orv-action run CONFIG [EVENTS] [--outbox PATH] [--check] [--wait SECONDS]\n",
            0),
        0U)
        << outcome.err;
  }
  Outcome const render = Run({"render", "-", "-"});
  EXPECT_EQ(render.exit, 2);
  EXPECT_EQ(render.err.rfind("orv-action render: EVENT and TEMPLATE cannot both read standard input\n\nusage:", 0), 0U);

  // The configuration from standard input, the events from a file.
  Write("events.jsonl", "");
  Outcome const outcome = Run({"run", "-", "events.jsonl"}, R"({"armed": true, "actions": []})");
  EXPECT_EQ(outcome.exit, 0) << outcome.err;
  EXPECT_EQ(outcome.out, "events read: 0\nevents of rules without actions: 0\nactions fired: 0\nfailures: none\n");
}

TEST_F(Program, ArgumentsAfterADoubleDashAreFileNames) {
  Write("-event.json", testing::Slurp(kExamples + "/golden/golden_event.json"));
  Outcome const outcome = Run({"data", "--", "-event.json"});
  EXPECT_EQ(outcome.exit, 0) << outcome.err;
  EXPECT_EQ(outcome.out, Run({"data"}).out);
  // A command's name is a file name once the command is chosen.
  EXPECT_EQ(Run({"data", "run"}).err, "orv-action data: run: cannot open: No such file or directory\n");
}

TEST_F(Program, OptionsTakeTheirValueWithAnEqualsSign) {
  Write("event.json",
        R"({"name": "<a>", "type": "motion", "category": "c", "start": "2024-05-06T07:08:09.000000000Z"})");
  Write("name.mustache", "{{the_event.name}}");
  EXPECT_EQ(Run({"render", "--escape=html", "event.json", "name.mustache"}).out, "&lt;a&gt;");
  Outcome const outcome = Run({"test", "orv.action.File", "--set=path=out.log", "--text=-dash"});
  EXPECT_EQ(outcome.exit, 0) << outcome.err;
  EXPECT_NE(testing::Slurp(dir_ / "out.log").find(" -dash: test event 0 on "), std::string::npos)
      << testing::Slurp(dir_ / "out.log");
}

TEST_F(Program, OutputThatCannotBeWrittenIsAnError) {
  Write("device.json",
        R"({"armed": true, "actions": [{"type": "orv.test.plugin.Echo", "name": "echo", "rules": [17]}]})");
  Write("events.jsonl", R"({"name": "x", "type": "motion", "category": "c", "start": "2024-05-06T07:08:09.000000000Z",)"
                        R"( "objects": [{"kind": "Observable", "id": 17}]})"
                        "\n");
  for (std::vector<std::string> const& arguments : {std::vector<std::string>{"data"},
                                                    {"render"},
                                                    {"types"},
                                                    {"run", "device.json", "events.jsonl"},
                                                    {"help"},
                                                    {"data", "--help"},
                                                    {"test", "orv.test.plugin.Echo"}}) {
    Outcome const outcome = RunWithOutputTo("/dev/full", arguments);
    EXPECT_EQ(outcome.exit, 1) << arguments.front();
    EXPECT_EQ(outcome.err,
              "orv-action " + arguments.front() + ": cannot write to standard output: No space left on device\n");
  }
}

TEST_F(Program, UsageErrorsExitWithTwoAndInputErrorsWithOne) {
  EXPECT_EQ(Run({"data", "--bogus"}).exit, 2);
  EXPECT_EQ(Run({"data", "absent.json"}).exit, 1);
  EXPECT_EQ(Run({"frobnicate"}).exit, 2);
  EXPECT_EQ(Run({"test", "orv.action.Nope"}).exit, 1);
}

}  // namespace
}  // namespace orv::tool
