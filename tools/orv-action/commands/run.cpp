#include <CLI/CLI.hpp>
#include <exception>
#include <map>
#include <memory>
#include <ostream>
#include <string>

#include "../commands.hpp"
#include "../device_config.hpp"
#include "../errors.hpp"
#include "../event_file.hpp"
#include "../input_file.hpp"
#include "../limits.hpp"
#include "orv/action/exception.hpp"
#include "orv/action/loader.hpp"
#include "orv/arm/state.hpp"
#include "orv/log/sink.hpp"
#include "orv/meta/data/observable.hpp"
#include "orv/observable/observable.hpp"

namespace orv::tool {
namespace {

// Every event of the file (one per line; blank lines are skipped), each
// read and checked before any is published: a bad line stops the run before
// anything happened.
std::vector<std::shared_ptr<meta::data::Event>> ReadEvents(std::string const& path) {
  InputFile file(path);
  std::vector<std::shared_ptr<meta::data::Event>> events;
  std::string line;
  while (file.ReadLine(line, limits::kJsonTextBytes, "an event line")) {
    if (line.find_first_not_of(" \t\r") != std::string::npos) {
      events.push_back(ReadEvent(SourceText(file.Name(), std::move(line), file.LineNumber())));
    }
  }
  return events;
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

struct RunArguments {
  std::string config;
  std::string events = "-";
};

int RunRun(RunArguments const& arguments, std::ostream& out) {
  if (arguments.config == "-" && arguments.events == "-") {
    throw UsageError("CONFIG and EVENTS cannot both read standard input (EVENTS does when it is not given)");
  }
  action::plugin::Loader const loader(true);
  Device device = ReadDeviceFile(arguments.config);
  std::vector<std::shared_ptr<meta::data::Event>> const events = ReadEvents(arguments.events);

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

Command AddRunCommand(CLI::App& program) {
  CLI::App* parser =
      AddSubcommand(program, "run", "run a device's actions on recorded events",
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
                    "the file EVENTS (docs/event-format.md), and publishes each on the observable of its\n"
                    "rule (its Observable object). Prints an audit line for every action fired (a failed\n"
                    "one followed by its code and the detail it logged), then a summary: events read,\n"
                    "actions fired and failures by key. Exits with 1 when an action failed.\n");
  auto const arguments = std::make_shared<RunArguments>();
  parser->add_option("CONFIG", arguments->config, "the device configuration file; \"-\" reads standard input")
      ->required();
  parser->add_option("EVENTS", arguments->events, "the events file; \"-\" reads standard input (the default)");
  return {parser, [arguments](std::ostream& out, std::ostream&) { return RunRun(*arguments, out); }};
}

}  // namespace orv::tool
