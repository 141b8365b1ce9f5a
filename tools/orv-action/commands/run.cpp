#include <exception>
#include <istream>
#include <map>
#include <memory>
#include <ostream>
#include <sstream>

#include "../action_setup.hpp"
#include "../commands.hpp"
#include "../event_file.hpp"
#include "../property_values.hpp"
#include "orv/action/exception.hpp"
#include "orv/action/loader.hpp"
#include "orv/arm/state.hpp"
#include "orv/meta/data/observable.hpp"
#include "orv/observable/observable.hpp"

namespace orv::tool {
namespace {

using Json = nlohmann::json;

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

[[noreturn]] void Fail(std::string const& where, std::string const& message) {
  throw InputError(where + ": " + message);
}

Json const& Member(Json const& object, char const* name, std::string const& where) {
  auto const found = object.find(name);
  if (found == object.end()) {
    Fail(where, std::string("missing field '") + name + "'");
  }
  return *found;
}

void OnlyFields(Json const& object, std::initializer_list<char const*> known, std::string const& where) {
  for (auto const& [key, value] : object.items()) {
    if (std::none_of(known.begin(), known.end(), [&](char const* name) { return key == name; })) {
      std::string list;
      for (char const* name : known) {
        list += (list.empty() ? "" : ", ") + std::string(name);
      }
      Fail(where + "." + key, "unknown field '" + key + "'; expected one of " + list);
    }
  }
}

// Builds the device of the configuration file: every action configured
// through its properties, subscribed to one observable per rule id.
Device ReadDevice(std::string const& path) {
  std::string const source = path == "-" ? "<stdin>" : path;
  Json const config = ParseJson(ReadFile(path), source);
  std::string const root = source + ": $";
  if (!config.is_object()) {
    Fail(root, "expected an object with \"armed\" and \"actions\", found " + config.dump());
  }
  OnlyFields(config, {"armed", "actions"}, root);
  Device device;
  Json const& armed = Member(config, "armed", root);
  if (!armed.is_boolean()) {
    Fail(root + ".armed", "expected true or false, found " + armed.dump());
  }
  device.armed = armed.get<bool>();
  Json const& actions = Member(config, "actions", root);
  if (!actions.is_array()) {
    Fail(root + ".actions", "expected an array, found " + actions.dump());
  }
  for (std::size_t i = 0; i < actions.size(); ++i) {
    std::string const where = root + ".actions[" + std::to_string(i) + "]";
    Json const& entry = actions[i];
    if (!entry.is_object()) {
      Fail(where, "expected an object, found " + entry.dump());
    }
    OnlyFields(entry, {"type", "name", "always_trigger", "rules", "properties"}, where);
    Json const& type = Member(entry, "type", where);
    if (!type.is_string()) {
      Fail(where + ".type", "expected a type name, found " + type.dump());
    }
    ConfigurableAction configurable;
    try {
      configurable = MakeConfigurableAction(type.get<std::string>());
    } catch (InputError const& error) {
      Fail(where + ".type", error.what());
    }
    auto const set = [&](std::string const& name, Json const& value, std::string const& at) {
      try {
        SetFromJson(configurable.Get(name), value, at);
      } catch (InputError const& error) {
        std::string const message = error.what();
        // SetFromJson names the place itself; Get does not.
        throw InputError(message.starts_with(at) ? message : at + ": " + message);
      }
    };
    set("name", Member(entry, "name", where), where + ".name");
    if (entry.contains("always_trigger")) {
      set("always_trigger", entry["always_trigger"], where + ".always_trigger");
    }
    if (entry.contains("properties")) {
      Json const& properties = entry["properties"];
      if (!properties.is_object()) {
        Fail(where + ".properties", "expected an object, found " + properties.dump());
      }
      for (auto const& [name, value] : properties.items()) {
        if (name == "name" || name == "always_trigger" || name == "observables") {
          Fail(where + ".properties." + name, "'" + name + "' is set by the action's own field, not here");
        }
        set(name, value, where + ".properties." + name);
      }
    }
    Json const& rules = Member(entry, "rules", where);
    if (!rules.is_array()) {
      Fail(where + ".rules", "expected an array of rule ids, found " + rules.dump());
    }
    property::Property::Observables observables;
    for (std::size_t r = 0; r < rules.size(); ++r) {
      if (!rules[r].is_number_unsigned() || rules[r].get<std::uint64_t>() > UINT32_MAX) {
        Fail(where + ".rules[" + std::to_string(r) + "]",
             "expected a rule id (unsigned 32-bit), found " + rules[r].dump());
      }
      auto const id = static_cast<std::uint32_t>(rules[r].get<std::uint64_t>());
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

std::uint32_t const* FindRule(meta::data::Event const& event) {
  for (auto const& object : event.GetObjects()) {
    if (object->GetTypeNameId() == object::TypeIdOf<meta::data::Observable>) {
      return &object->As<meta::data::Observable const>().GetId();
    }
  }
  return nullptr;
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
  // The failure of the action that ran last, for its audit subscription.
  std::exception_ptr lastFailure;
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
              lastFailure = nullptr;
            }
            out << '\n';
          }));
    }
  }
  arm::SetState(device.armed ? 1 : 0);
  for (auto const& event : events) {
    ++summary.events;
    std::uint32_t const* rule = FindRule(*event);
    auto const found = rule != nullptr ? device.rules.find(*rule) : device.rules.end();
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
                          "fired, then a summary: events read, actions fired and failures by key. Exits with 1\n"
                          "when an action failed.\n",
                          RunRun};

}  // namespace orv::tool
