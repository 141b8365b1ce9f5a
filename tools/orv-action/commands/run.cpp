#include <CLI/CLI.hpp>
#include <chrono>
#include <cstdint>
#include <exception>
#include <filesystem>
#include <map>
#include <memory>
#include <mutex>
#include <ostream>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "../commands.hpp"
#include "../device_config.hpp"
#include "../errors.hpp"
#include "../event_file.hpp"
#include "../input_file.hpp"
#include "../limits.hpp"
#include "../stop_signals.hpp"
#include "orv/action/exception.hpp"
#include "orv/action/loader.hpp"
#include "orv/arm/state.hpp"
#include "orv/log/sink.hpp"
#include "orv/meta/data/observable.hpp"
#include "orv/observable/observable.hpp"
#include "orv/outbox/outbox.hpp"
#include "orv/outbox/process.hpp"

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
  std::size_t badLines = 0;
  std::size_t withoutRule = 0;
  std::size_t fired = 0;
  std::size_t cooledDown = 0;
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
  std::string outbox;  // empty: beside the configuration
  bool check = false;
  std::int64_t waitS = 10;
};

// Sends during Shutdown may finish for this long; the rest stays in the outbox.
constexpr std::chrono::seconds kShutdownGrace{2};

// The outbox beside the configuration file: "device.json" gives
// "device.outbox.db"; standard input gives "orv-action.outbox.db" in the
// current directory.
std::filesystem::path DefaultOutboxPath(std::string const& config) {
  if (config == "-") {
    return "orv-action.outbox.db";
  }
  return std::filesystem::path(config).replace_extension(".outbox.db");
}

// The process's outbox while the run lasts, when the device has network
// actions: opened and installed, and at the end (or on an exception) shut
// down with its pending messages kept in the file.
class RunOutbox {
 public:
  RunOutbox(RunArguments const& arguments, std::string const& configName) {
    if (outbox::GetActionKeys().empty()) {
      return;
    }
    outbox::Settings settings;
    settings.path =
        arguments.outbox.empty() ? DefaultOutboxPath(arguments.config) : std::filesystem::path(arguments.outbox);
    settings.shutdownGrace = kShutdownGrace;
    settings.report = [](outbox::Report const& report) { log::Write("outbox", report.text); };
    path_ = settings.path.string();
    try {
      outbox_ = std::make_shared<outbox::Outbox>(std::move(settings));
    } catch (std::exception const& error) {
      throw InputError(error.what());
    }
    try {
      outbox::Install(outbox_);
    } catch (std::invalid_argument const& error) {
      outbox_->Shutdown();
      throw InputError(configName + ": " + error.what());
    }
  }
  RunOutbox(RunOutbox const&) = delete;
  RunOutbox& operator=(RunOutbox const&) = delete;
  ~RunOutbox() { Close(); }

  bool IsOpen() const noexcept { return outbox_ != nullptr; }
  std::string const& GetPath() const noexcept { return path_; }

  // Waits until no message that this run can send is pending, for at most
  // `limit`, or until `stop` is readable. Messages of actions that the
  // configuration no longer has wait in the file for a run that has them.
  void Drain(std::chrono::seconds limit, int stop) const {
    auto const deadline = std::chrono::steady_clock::now() + limit;
    while (IsOpen() && std::chrono::steady_clock::now() < deadline && !IsReadable(stop)) {
      bool pending = false;
      for (auto const& [key, counters] : outbox_->GetAllCounters()) {
        pending = pending || (counters.pending != 0 && counters.hasSender);
      }
      if (!pending) {
        return;
      }
      std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
  }

  // Stops sending: running sends get the grace time, the rest is kept.
  void Close() {
    if (outbox_) {
      outbox::Install(nullptr);
      outbox_->Shutdown();
    }
  }

  // The counters of each action key (read after Close too).
  std::map<std::string, outbox::Counters> GetCounters() const {
    return outbox_ ? outbox_->GetAllCounters() : std::map<std::string, outbox::Counters>{};
  }

 private:
  std::string path_;
  std::shared_ptr<outbox::Outbox> outbox_;
};

int RunRun(RunArguments const& arguments, std::ostream& out, std::ostream& err) {
  if (arguments.config == "-" && arguments.events == "-") {
    throw UsageError("CONFIG and EVENTS cannot both read standard input (EVENTS does when it is not given)");
  }
  if (arguments.waitS < 0) {
    throw UsageError("--wait " + std::to_string(arguments.waitS) + " is negative");
  }
  action::plugin::Loader const loader(true);
  Device device = ReadDeviceFile(arguments.config);
  std::vector<std::shared_ptr<meta::data::Event>> checked;
  if (arguments.check) {
    checked = ReadEvents(arguments.events);
  }
  StopSignals const signals;

  Summary summary;
  // The failure of the action that ran last, and what it logged, for its
  // audit subscription. What the outbox's threads log goes to standard error.
  std::exception_ptr lastFailure;
  std::string lastDetails;
  std::mutex errMutex;
  auto const publishing = std::this_thread::get_id();
  log::Sink const previousSink = log::SetSink([&](log::Record const& record) {
    if (std::this_thread::get_id() == publishing) {
      lastDetails.append(lastDetails.empty() ? "" : "; ").append(record.text);
      return;
    }
    std::lock_guard const lock(errMutex);
    err << "orv-action run: " << record.source << ": " << record.text << '\n' << std::flush;
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
      deviceAction->audits.push_back(observable->Bind(
          [&, &action = action, &entry = *deviceAction](std::shared_ptr<meta::data::Event const> event) {
            if (!action.GetAlwaysTrigger() && arm::GetState() != 1) {
              return;
            }
            out << "audit: " << action.GetAuditMessage(event) << " name:" << action.GetName();
            auto const counters = outbox::GetActionCounters();
            auto const found = counters.find(entry.key);
            if (found != counters.end() && found->second.cooledDown > entry.cooledDown) {
              entry.cooledDown = found->second.cooledDown;
              ++summary.cooledDown;
              out << " skipped (cool-down)\n";
              lastFailure = nullptr;
              lastDetails.clear();
              return;
            }
            ++summary.fired;
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
  RunOutbox runOutbox(arguments, arguments.config == "-" ? "<stdin>" : arguments.config);
  arm::SetState(device.armed ? 1 : 0);
  auto const publish = [&](std::shared_ptr<meta::data::Event> const& event) {
    ++summary.events;
    auto const* rule = meta::data::FindFirst<meta::data::Observable>(event->GetObjects());
    auto const found = rule != nullptr ? device.rules.find(rule->GetId()) : device.rules.end();
    if (found == device.rules.end()) {
      ++summary.withoutRule;
      return;
    }
    found->second->Publish(event, [&](std::exception_ptr failure) { lastFailure = std::move(failure); });
  };
  if (arguments.check) {
    for (auto const& event : checked) {
      if (signals.Received() != 0) {
        break;
      }
      publish(event);
    }
  } else {
    // Each line as it arrives: a device host pipes live events in.
    InputFile file(arguments.events);
    file.StopWhenReadable(signals.GetDescriptor());
    auto const reportBadLine = [&](InputError const& error) {
      ++summary.badLines;
      std::lock_guard const lock(errMutex);
      err << "orv-action run: " << error.what() << '\n' << std::flush;
    };
    std::string line;
    for (;;) {
      try {
        if (!file.ReadLine(line, limits::kJsonTextBytes, "an event line")) {
          break;
        }
      } catch (LineTooLongError const& error) {
        reportBadLine(error);
        continue;
      }
      if (line.find_first_not_of(" \t\r") == std::string::npos) {
        continue;
      }
      std::shared_ptr<meta::data::Event> event;
      try {
        event = ReadEvent(SourceText(file.Name(), std::move(line), file.LineNumber()));
      } catch (InputError const& error) {
        reportBadLine(error);
        continue;
      }
      publish(event);
      out << std::flush;
    }
  }
  if (signals.Received() == 0) {
    runOutbox.Drain(std::chrono::seconds(arguments.waitS), signals.GetDescriptor());
  }
  runOutbox.Close();

  if (signals.Received() != 0) {
    out << "stopped by " << StopSignals::Name(signals.Received()) << '\n';
  }
  out << "events read: " << summary.events << '\n';
  if (summary.badLines != 0) {
    out << "bad lines: " << summary.badLines << '\n';
  }
  out << "events of rules without actions: " << summary.withoutRule << '\n'
      << "actions fired: " << summary.fired << '\n';
  if (summary.cooledDown != 0) {
    out << "skipped (cool-down): " << summary.cooledDown << '\n';
  }
  out << "failures:";
  if (summary.failures.empty()) {
    out << " none";
  }
  out << '\n';
  for (auto const& [key, count] : summary.failures) {
    out << "  " << key << ": " << count << '\n';
  }
  if (runOutbox.IsOpen()) {
    out << "outbox " << runOutbox.GetPath() << ":\n";
    for (auto const& [key, counters] : runOutbox.GetCounters()) {
      out << "  " << key << ": accepted " << counters.accepted << ", sent " << counters.sent << ", retried "
          << counters.retried << ", dead " << counters.dead << ", pending " << counters.pending << '\n';
    }
  }
  if (signals.Received() != 0) {
    return 0;
  }
  return summary.failures.empty() && summary.badLines == 0 ? 0 : 1;
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
                    "rule (its Observable object) as soon as its line arrives. A bad line is reported,\n"
                    "naming the file and line, counted, and skipped; with --check every line is read and\n"
                    "checked before anything is published. Prints an audit line for every action fired (a\n"
                    "failed one followed by its code and the detail it logged; one its cool-down held back\n"
                    "says \"skipped (cool-down)\"), then a summary: events read, actions fired, failures by\n"
                    "key, and the outbox's counters by action. Exits with 1 when an action failed or a line\n"
                    "was bad.\n\n"
                    "Network actions hand their messages to the outbox file (--outbox), which keeps what\n"
                    "is not yet sent for the next run. At the end of the events the run waits up to --wait\n"
                    "seconds for the outbox to empty. SIGINT or SIGTERM stops reading at once, lets sends\n"
                    "that are running finish for up to 2 seconds, keeps the rest in the outbox, prints the\n"
                    "summary and exits with 0.\n");
  auto const arguments = std::make_shared<RunArguments>();
  parser->add_option("CONFIG", arguments->config, "the device configuration file; \"-\" reads standard input")
      ->required();
  parser->add_option("EVENTS", arguments->events, "the events file; \"-\" reads standard input (the default)");
  parser
      ->add_option("--outbox", arguments->outbox,
                   "the outbox file of the network actions; by default CONFIG's name with the extension "
                   "\".outbox.db\" (\"orv-action.outbox.db\" for standard input)")
      ->option_text("PATH");
  parser->add_flag("--check", arguments->check, "read and check every event before publishing any");
  parser
      ->add_option("--wait", arguments->waitS,
                   "at the end of the events, wait up to this many seconds for the outbox to empty (10)")
      ->option_text("SECONDS");
  return {parser, [arguments](std::ostream& out, std::ostream& err) { return RunRun(*arguments, out, err); }};
}

}  // namespace orv::tool
