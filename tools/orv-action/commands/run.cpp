#include <exception>
#include <istream>
#include <map>
#include <memory>
#include <ostream>
#include <sstream>

#include "../action_setup.hpp"
#include "../commands.hpp"
#include "../event_file.hpp"
#include "../json_field.hpp"
#include "../property_values.hpp"
#include "orv/action/exception.hpp"
#include "orv/action/loader.hpp"
#include "orv/arm/state.hpp"
#include "orv/log/sink.hpp"
#include "orv/meta/data/observable.hpp"
#include "orv/observable/observable.hpp"

namespace orv::tool {
namespace {

// A configured action, the rules it listens to, and what the host watches of it.
struct DeviceAction {
  ConfigurableAction configurable;
  property::Property::Observables rules;
  std::vector<type::Binding> audits;  // one per rule, subscribed right after the action
};

struct Device {
  std::map<std::uint32_t, std::shared_ptr<observable::Observable>> rules;
  std::vector<std::unique_ptr<DeviceAction>> actions;
  bool armed = false;
};

// Builds the device of the configuration file: every action configured
// through its properties; the rules it listens to are kept for later.
Device ReadDevice(std::string const& path) {
  std::string const source = path == "-" ? "<stdin>" : path;
  nlohmann::json const json = ParseJson(ReadFile(path), source);
  JsonField const config(json, "$", source);
  config.OnlyFields({"armed", "actions"});
  Device device;
  device.armed = config["armed"].Bool();
  for (JsonField const& entry : config["actions"].Elements()) {
    entry.OnlyFields({"type", "name", "always_trigger", "rules", "properties"});
    JsonField const type = entry["type"];
    ConfigurableAction configurable;
    try {
      configurable = MakeConfigurableAction(type.String());
    } catch (InputError const& error) {
      type.Fail(error.what());
    }
    auto const set = [&configurable](JsonField const& field, std::string const& name) {
      try {
        SetFromJson(configurable.Get(name), field.Value(), field.Source() + ": " + field.Path());
      } catch (InputError const& error) {
        std::string const message = error.what();
        // SetFromJson names the place itself; Get does not.
        if (message.starts_with(field.Source() + ": ")) {
          throw;
        }
        field.Fail(message);
      }
    };
    set(entry["name"], "name");
    if (entry.Has("always_trigger")) {
      set(entry["always_trigger"], "always_trigger");
    }
    if (entry.Has("properties")) {
      for (auto const& [name, value] : entry["properties"].Members()) {
        if (name == "name" || name == "always_trigger" || name == "observables") {
          value.Fail("'" + name + "' is set by the action's own field, not here");
        }
        set(value, name);
      }
    }
    property::Property::Observables observables;
    for (std::uint32_t const id : entry["rules"].Ids()) {
      auto& rule = device.rules[id];
      if (!rule) {
        rule = std::make_shared<observable::Observable>(id);
      }
      observables.push_back(rule);
    }
    configurable.Get("observables");  // every action has it; checked before anything runs
    device.actions.push_back(
        std::make_unique<DeviceAction>(DeviceAction{std::move(configurable), std::move(observables), {}}));
  }
  return device;
}

struct Summary {
  std::size_t events = 0;
  std::size_t withoutRule = 0;
  std::size_t fired = 0;
  std::map<std::string, std::size_t> failures;
};

// The key of a failure: the localised-string key of an action failure, the
// message of any other.
std::string FailureKey(std::exception_ptr const& failure) {
  try {
    std::rethrow_exception(failure);
  } catch (action::Exception const& error) {
    return std::string(error.GetLocalizedString());
  } catch (std::exception const& error) {
    return error.what();
  } catch (...) {
    return "unknown failure";
  }
}

// The code of an action failure, or "-" for any other failure.
std::string FailureCode(std::exception_ptr const& failure) {
  try {
    std::rethrow_exception(failure);
  } catch (action::Exception const& error) {
    return std::to_string(static_cast<std::uint32_t>(error.GetCode()));
  } catch (...) {
    return "-";
  }
}

int RunRun(Arguments const& arguments, std::ostream& out, std::ostream&) {
  if (arguments.empty()) {
    throw UsageError("the configuration file is missing");
  }
  if (arguments.size() > 2) {
    throw UsageError("unexpected argument '" + arguments[2] + "'");
  }
  action::plugin::Loader const loader(true);
  Device device = ReadDevice(arguments[0]);

  // Every event is read and checked before the first is published: a bad
  // line stops the run before anything happened.
  std::string const eventsPath = arguments.size() == 2 ? arguments[1] : "-";
  std::string const source = eventsPath == "-" ? "<stdin>" : eventsPath;
  std::istringstream lines(ReadFile(eventsPath));
  std::vector<std::shared_ptr<meta::data::Event>> events;
  std::string line;
  for (std::size_t number = 1; std::getline(lines, line); ++number) {
    if (line.find_first_not_of(" \t\r") == std::string::npos) {
      continue;
    }
    std::string const where = source + ":" + std::to_string(number);
    events.push_back(ToEvent(ParseJson(line, where), where));
  }

  Summary summary;
  // The failure of the action that ran last, and what it logged, for its
  // audit subscription.
  std::exception_ptr lastFailure;
  std::string lastDetails;
  log::Sink const previousSink = log::SetSink([&lastDetails](log::Record const& record) {
    lastDetails.append(lastDetails.empty() ? "" : "; ").append(record.text);
  });
  struct RestoreSink {
    log::Sink const& sink;
    ~RestoreSink() { log::SetSink(sink); }
  } const restore{previousSink};
  for (auto const& deviceAction : device.actions) {
    // Through the property, as a host configures an action.
    deviceAction->configurable.Get("observables") = deviceAction->rules;
    action::Action const& action = *deviceAction->configurable.action;
    for (auto const& observable : deviceAction->rules) {
      // Subscribed right after the action, so it runs right after the
      // action's own delivery; it prints the audit line when the action
      // passed the gate.
      deviceAction->audits.push_back(
          observable->Bind([&, &action = action](std::shared_ptr<meta::data::Event const> event) {
            if (!action.GetAlwaysTrigger() && arm::GetState() != 1) {
              return;
            }
            ++summary.fired;
            out << "audit: " << action.GetAuditMessage(event) << " name:" << action.GetName();
            if (lastFailure) {
              std::string const key = FailureKey(lastFailure);
              ++summary.failures[key];
              out << " failed:" << key;
              if (!lastDetails.empty()) {
                out << "\n  code " << FailureCode(lastFailure) << ": " << lastDetails;
              }
              lastFailure = nullptr;
            }
            lastDetails.clear();
            out << '\n';
          }));
    }
  }
  arm::SetState(device.armed ? 1 : 0);
  for (auto const& event : events) {
    ++summary.events;
    auto const* rule = meta::data::FindFirst<meta::data::Observable>(event->GetObjects());
    auto const found = rule != nullptr ? device.rules.find(rule->GetId()) : device.rules.end();
    if (found == device.rules.end()) {
      ++summary.withoutRule;
      continue;
    }
    found->second->Publish(event, [&](std::exception_ptr failure) { lastFailure = std::move(failure); });
  }
  out << "events read: " << summary.events << '\n'
      << "events of rules without actions: " << summary.withoutRule << '\n'
      << "actions fired: " << summary.fired << '\n'
      << "failures:";
  if (summary.failures.empty()) {
    out << " none";
  }
  out << '\n';
  for (auto const& [key, count] : summary.failures) {
    out << "  " << key << ": " << count << '\n';
  }
  return summary.failures.empty() ? 0 : 1;
}

}  // namespace

Command const kRunCommand{"run", "run a device's actions on recorded events",
                          "usage: orv-action run CONFIG [EVENTS]\n\n"
                          "Loads the action plug-ins and builds the device of the configuration file CONFIG: one\n"
                          "observable per rule id and the configured actions, set up through their properties:\n\n"
                          "  {\n"
                          "    \"armed\": false,\n"
                          "    \"actions\": [\n"
                          "      { \"type\": \"orv.action.File\", \"name\": \"log\", \"always_trigger\": true,\n"
                          "        \"rules\": [17], \"properties\": { \"path\": \"-\" } }\n"
                          "    ]\n"
                          "  }\n\n"
                          "Sets the armed state from \"armed\", then reads events, one JSON event per line, from\n"
                          "the file EVENTS or standard input (docs/event-format.md), and publishes each on the\n"
                          "observable of its rule (its Observable object). Prints an audit line for every action\n"
                          "fired (a failed one followed by its code and the detail it logged), then a summary: events "
                          "read, actions fired and failures by key. Exits with 1\n"
                          "when an action failed.\n",
                          RunRun};

}  // namespace orv::tool
