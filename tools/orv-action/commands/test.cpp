#include <CLI/CLI.hpp>
#include <memory>
#include <optional>
#include <ostream>
#include <string>
#include <vector>

#include "../action_setup.hpp"
#include "../action_test.hpp"
#include "../commands.hpp"
#include "../message_text.hpp"
#include "../property_values.hpp"
#include "../source_text.hpp"
#include "../template_rendering.hpp"
#include "orv/action/loader.hpp"
#include "orv/action/serialize.hpp"
#include "orv/templating/syntax_error.hpp"

namespace orv::tool {
namespace {

struct TestArguments {
  std::string type;
  std::vector<std::string> settings;  // NAME=VALUE
  std::string text = "test";
};

// Warns, as render does, about names that a template typed with --set uses
// and the test event's data lacks. Which properties an action renders is its
// own business, so every string value with a tag in it is checked; a value
// that does not compile is left for the action to report, and partials are
// the action's own, so only data names are warned about.
void WarnAboutMissingNames(property::Property const& property, std::string const& name, std::string const& value,
                           mstch::map const& data, std::ostream& err) {
  if (property.IsSecret() || ValueTypeOf(property) != "string" || value.find("{{") == std::string::npos) {
    return;
  }
  std::optional<Rendering> rendering;
  try {
    rendering.emplace(RenderTemplate(value, templating::Escape::None, {}, data));
  } catch (templating::SyntaxError const&) {
    return;
  }
  SourceText const source("--set " + name, value);
  for (auto const& missing : rendering->missingNames) {
    if (!missing.isPartial) {
      err << DescribeMissingName(missing, source) << '\n';
    }
  }
}

int RunTest(TestArguments const& arguments, std::ostream& out, std::ostream& err) {
  action::plugin::Loader const loader(true);
  ConfigurableAction const configurable = MakeConfigurableAction(arguments.type);
  mstch::map const data = action::SerializeEvent(MakeTestEvent(arguments.text));
  for (std::string const& setting : arguments.settings) {
    auto const equals = setting.find('=');
    std::string const name = setting.substr(0, equals);
    std::string const value = setting.substr(equals + 1);
    property::Property& property = configurable.Get(name);
    SetFromText(property, value);
    WarnAboutMissingNames(property, name, value, data, err);
  }
  out << "audit: " << AuditOfTest(*configurable.action, arguments.text) << '\n';
  TestOutcome const outcome = FireTest(*configurable.action, arguments.text);
  switch (outcome.kind) {
    case TestOutcome::Kind::Executed:
      out << "outcome: executed" << (outcome.hasResult ? "" : " (no result)") << '\n';
      return 0;
    case TestOutcome::Kind::ActionFailure:
      err << "outcome: failed with code " << outcome.code << " (" << outcome.key << ")"
          << (outcome.detail.empty() ? "" : ": " + outcome.detail) << '\n';
      break;
    case TestOutcome::Kind::OtherFailure:
      err << "outcome: failed: " << outcome.failure << (outcome.detail.empty() ? "" : "; " + outcome.detail) << '\n';
      break;
    case TestOutcome::Kind::UnknownFailure:
      err << "outcome: failed with an exception that is neither a std::exception nor an orv::action::Exception\n";
      break;
  }
  return 1;
}

}  // namespace

Command AddTestCommand(CLI::App& program) {
  CLI::App* parser =
      AddSubcommand(program, "test", "make an action, set its properties and fire it once",
                    "Loads the action plug-ins, makes an action of the registered type TYPE (a dotted type\n"
                    "name), sets its properties through their schemas (bool properties take true or false),\n"
                    "and fires it once with a test event named TEXT, whatever the armed state. Prints the\n"
                    "audit message and the outcome. An action that fails prints its failure (the code and\n"
                    "localised-string key of an action failure, and the detail the action logged) and exits\n"
                    "with 1. Secret properties (passwords, tokens) are never printed. A value set with --set\n"
                    "that is a template is checked against the test event's data, and names that data lacks\n"
                    "are warned about, as render does.\n");
  auto const arguments = std::make_shared<TestArguments>();
  parser->add_option("TYPE", arguments->type, "the action's type name, as `orv-action types` lists it")->required();
  parser->add_option("--set", arguments->settings, "sets the property NAME; may be given for several properties")
      ->type_name("NAME=VALUE")
      ->option_text("NAME=VALUE")
      ->allow_extra_args(false)
      ->check(CLI::Validator(
          [](std::string const& setting) -> std::string {
            auto const equals = setting.find('=');
            return equals == std::string::npos || equals == 0 ? "expected NAME=VALUE, found '" + Shorten(setting) + "'"
                                                              : "";
          },
          ""));
  parser->add_option("--text", arguments->text, "the name of the test event (default: test)")->option_text("TEXT");
  return {parser, [arguments](std::ostream& out, std::ostream& err) { return RunTest(*arguments, out, err); }};
}

}  // namespace orv::tool
