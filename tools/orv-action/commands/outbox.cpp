#include "orv/outbox/outbox.hpp"

#include <time.h>

#include <CLI/CLI.hpp>
#include <chrono>
#include <exception>
#include <filesystem>
#include <memory>
#include <ostream>
#include <string>
#include <vector>

#include "../commands.hpp"
#include "../errors.hpp"

namespace orv::tool {
namespace {

struct OutboxArguments {
  std::string path;
  std::vector<std::string> requeue;
  bool requeueAll = false;
};

// "2026-11-23T11:02:28Z": whole seconds, UTC.
std::string FormatTime(outbox::TimePoint time) {
  std::time_t const seconds = std::chrono::system_clock::to_time_t(time);
  std::tm parts{};
  gmtime_r(&seconds, &parts);
  char text[32];
  std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%SZ", &parts);
  return text;
}

void PrintMessage(std::ostream& out, outbox::Message const& message) {
  out << "  " << message.deliveryId << ' ' << message.actionKey << " event " << message.eventId << " accepted "
      << FormatTime(message.acceptedAt) << " attempts " << message.attempts;
  if (message.deadReason) {
    out << " died " << FormatTime(message.diedAt) << " (" << outbox::GetText(*message.deadReason) << ')';
  } else if (message.attempts != 0) {
    out << " next " << FormatTime(message.nextAttemptAt);
  }
  out << "\n    to " << message.destination << '\n';
  if (message.lastCode != 0 || !message.lastDetail.empty()) {
    out << "    last failure: code " << message.lastCode << ": " << message.lastDetail << '\n';
  }
}

int RunOutbox(OutboxArguments const& arguments, std::ostream& out) {
  std::error_code error;
  if (!std::filesystem::is_regular_file(arguments.path, error)) {
    throw InputError(arguments.path + ": no such outbox file");
  }
  std::unique_ptr<outbox::Outbox> box;
  try {
    // No sender is registered: nothing is sent from here.
    box = std::make_unique<outbox::Outbox>(outbox::Settings{.path = arguments.path});
  } catch (std::exception const& failure) {
    throw InputError(failure.what());
  }
  std::vector<std::string> requeue = arguments.requeue;
  if (arguments.requeueAll) {
    for (auto const& message : box->ListDead()) {
      requeue.push_back(message.deliveryId);
    }
  }
  std::vector<std::string> unknown;
  for (auto const& id : requeue) {
    if (box->Requeue(id)) {
      out << "requeued " << id << '\n';
    } else {
      unknown.push_back(id);
    }
  }
  box->Flush();
  auto const pending = box->ListPending();
  auto const dead = box->ListDead();
  box->Shutdown();
  out << "pending: " << pending.size() << '\n';
  for (auto const& message : pending) {
    PrintMessage(out, message);
  }
  out << "dead: " << dead.size() << '\n';
  for (auto const& message : dead) {
    PrintMessage(out, message);
  }
  if (!unknown.empty()) {
    std::string text = arguments.path + ": no dead message";
    for (auto const& id : unknown) {
      text += " " + id;
    }
    throw InputError(text);
  }
  return 0;
}

}  // namespace

Command AddOutboxCommand(CLI::App& program) {
  CLI::App* parser =
      AddSubcommand(program, "outbox", "list an outbox's pending and dead messages, re-queue dead ones",
                    "Opens the outbox file PATH that `run` delivers network actions' messages through (it must\n"
                    "not be in use by a run) and lists its pending messages, in the order they were accepted,\n"
                    "and its dead ones, in the order they died: delivery id, action, event id, times, attempts,\n"
                    "destination and last failure. --requeue moves a dead message back to its action's queue,\n"
                    "with a new series of attempts; the next run sends it. Exits with 1 when the file is not\n"
                    "an outbox or a delivery id is not on the dead list.\n");
  auto const arguments = std::make_shared<OutboxArguments>();
  parser->add_option("PATH", arguments->path, "the outbox file")->required();
  parser->add_option("--requeue", arguments->requeue, "re-queue the dead message with this delivery id")
      ->option_text("ID");
  parser->add_flag("--requeue-all", arguments->requeueAll, "re-queue every dead message");
  return {parser, [arguments](std::ostream& out, std::ostream&) { return RunOutbox(*arguments, out); }};
}

}  // namespace orv::tool
