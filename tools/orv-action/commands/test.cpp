#include <chrono>
#include <ostream>

#include "../action_setup.hpp"
#include "../commands.hpp"
#include "../property_values.hpp"
#include "orv/action/exception.hpp"
#include "orv/action/loader.hpp"
#include "orv/log/sink.hpp"

namespace orv::tool {
namespace {

struct TestArguments {
  std::string type;
  std::vector<std::pair<std::string, std::string>> settings;
  std::string text = "test";
};

TestArguments Parse(Arguments const& arguments) {
  TestArguments parsed;
  for (std::size_t i = 0; i < arguments.size(); ++i) {
    std::string const& argument = arguments[i];
    if (argument == "--set" || argument == "--text") {
      if (i + 1 == arguments.size()) {
        throw UsageError(argument + " needs a value");
      }
      std::string const& value = arguments[++i];
      if (argument == "--text") {
        parsed.text = value;
        continue;
      }
      auto const equals = value.find('=');
      if (equals == std::string::npos || equals == 0) {
        throw UsageError("--set takes NAME=VALUE, not '" + value + "'");
      }
      parsed.settings.emplace_back(value.substr(0, equals), value.substr(equals + 1));
    } else if (argument.starts_with("--")) {
      throw UsageError("unknown option '" + argument + "'");
    } else if (parsed.type.empty()) {
      parsed.type = argument;
    } else {
      throw UsageError("unexpected argument '" + argument + "'");
    }
  }
  if (parsed.type.empty()) {
    throw UsageError("the action type is missing");
  }
  return parsed;
}

int RunTest(Arguments const& arguments, std::ostream& out, std::ostream& err) {
  TestArguments const parsed = Parse(arguments);
  action::plugin::Loader const loader(true);
  ConfigurableAction const configurable = MakeConfigurableAction(parsed.type);
  for (auto const& [name, value] : parsed.settings) {
    SetFromText(configurable.Get(name), value);
  }
  // The audit text of the event Test makes: it carries no objects.
  auto const event = std::make_shared<meta::data::Event const>(parsed.text, "test", "test_category",
                                                               std::chrono::system_clock::now(), meta::data::Objects{});
  out << "audit: " << configurable.action->GetAuditMessage(event) << '\n';
  // What the action logs about a failure is printed beside its code.
  std::string details;
  log::Sink const previous = log::SetSink(
      [&details](log::Record const& record) { details.append(details.empty() ? "" : "; ").append(record.text); });
  struct RestoreSink {
    log::Sink const& sink;
    ~RestoreSink() { log::SetSink(sink); }
  } const restore{previous};
  try {
    action::Action::Result const result = configurable.action->Test(parsed.text);
    out << "outcome: executed" << (result ? "" : " (no result)") << '\n';
    return 0;
  } catch (action::Exception const& failure) {
    auto const code = static_cast<std::uint32_t>(failure.GetCode());
    err << "outcome: failed with code " << code << " (" << failure.GetLocalizedString() << ")"
        << (details.empty() ? "" : ": " + details) << '\n';
    return 1;
  }
}

}  // namespace

Command const kTestCommand{"test", "make an action, set its properties and fire it once",
                           "usage: orv-action test TYPE [--set NAME=VALUE]... [--text TEXT]\n\n"
                           "Loads the action plug-ins, makes an action of the registered type TYPE (a dotted type\n"
                           "name), sets its properties through their schemas (bool properties take true or false),\n"
                           "and fires it once with a test event named TEXT (default \"test\"), whatever the armed\n"
                           "state. Prints the audit message and the outcome. An action failure prints its code,\n"
                           "localised-string key and the detail the action logged, and exits with 1. Secret\n"
                           "properties (passwords, tokens) are never printed.\n",
                           RunTest};

}  // namespace orv::tool
