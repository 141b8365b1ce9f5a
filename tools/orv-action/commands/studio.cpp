#include <pthread.h>

#include <CLI/CLI.hpp>
#include <csignal>
#include <cstdint>
#include <memory>
#include <ostream>
#include <string>
#include <thread>
#include <vector>

#include "../bundled.hpp"
#include "../commands.hpp"
#include "../errors.hpp"
#include "../event_file.hpp"
#include "../studio/studio_api.hpp"
#include "../studio/studio_server.hpp"
#include "orv/action/loader.hpp"

namespace orv::tool {
namespace {

struct StudioArguments {
  std::uint16_t port = 8087;
  std::vector<std::string> events;
};

std::vector<studio::ChoosableEvent> ChoosableEvents(std::vector<std::string> const& paths) {
  std::vector<studio::ChoosableEvent> events = {
      {"golden", "Entrance watch (bundled example)", "golden_event.json",
       ReadEvent(SourceText("<bundled event>", bundled::kEvent))},
      {"every_kind", "Every kind of record (bundled example)", "every_kind.json",
       ReadEvent(SourceText("<bundled every-kind event>", bundled::kEveryKindEvent))}};
  std::size_t number = 0;
  for (std::string const& path : paths) {
    auto event = ReadEventFile(path);
    std::string const name = event->GetName();
    events.push_back({"file" + std::to_string(++number), name + " (" + path + ")", path, std::move(event)});
  }
  return events;
}

// Stops `server` when the process is asked to end (Ctrl+C, kill), on a
// thread of its own, so that no signal handler has to do it.
class StopOnSignal {
 public:
  explicit StopOnSignal(studio::Server& server) {
    sigemptyset(&signals_);
    sigaddset(&signals_, SIGINT);
    sigaddset(&signals_, SIGTERM);
    // Blocked before the server starts its threads, which inherit the mask.
    pthread_sigmask(SIG_BLOCK, &signals_, &previous_);
    waiter_ = std::thread([this, &server] {
      int signal = 0;
      sigwait(&signals_, &signal);
      server.Stop();
    });
  }
  ~StopOnSignal() {
    // Wakes the waiter when the server ended for another reason.
    pthread_kill(waiter_.native_handle(), SIGTERM);
    waiter_.join();
    pthread_sigmask(SIG_SETMASK, &previous_, nullptr);
  }
  StopOnSignal(StopOnSignal const&) = delete;
  StopOnSignal& operator=(StopOnSignal const&) = delete;

 private:
  sigset_t signals_{};
  sigset_t previous_{};
  std::thread waiter_;
};

int RunStudio(StudioArguments const& arguments, std::ostream& out) {
  // The test button makes actions of every loaded type.
  action::plugin::Loader const loader(true);
  studio::Api const api(ChoosableEvents(arguments.events), bundled::kTemplate);
  std::string const token = studio::MakeToken();
  studio::Server server(api, token);
  std::uint16_t const port = server.Bind(arguments.port);
  StopOnSignal const stopper(server);
  out << "orv-action studio: serving http://127.0.0.1:" << port << "/?token=" << token << '\n'
      << "Open the address in a browser on this machine; Ctrl+C stops the studio." << std::endl;
  server.Serve();
  return 0;
}

}  // namespace

Command AddStudioCommand(CLI::App& program) {
  CLI::App* parser =
      AddSubcommand(program, "studio", "serve a web page to write, preview and check templates live",
                    "Serves a page on 127.0.0.1 where a template is rendered with an event's template data as\n"
                    "you type: the data as a tree, syntax errors and names the data lacks marked in the editor,\n"
                    "partials, each escaping, and a button that fires an action with the template. The events\n"
                    "offered are the bundled examples and the files EVENT. Prints the address to open, which\n"
                    "carries the token that every request of the page must present; runs until stopped\n"
                    "(Ctrl+C). docs/studio.md describes the page and its API.\n");
  auto const arguments = std::make_shared<StudioArguments>();
  parser->add_option("--port", arguments->port, "the port to listen on; 0 picks a free one (default: 8087)")
      ->option_text("N")
      ->check(CLI::Range(0, 65535));
  parser->add_option("EVENT", arguments->events, "event files to offer besides the bundled examples");
  return {parser, [arguments](std::ostream& out, std::ostream&) { return RunStudio(*arguments, out); }};
}

}  // namespace orv::tool
