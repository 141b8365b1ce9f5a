// orv.action.Request through the process's outbox: what Execute costs the
// publishing thread while the receiver takes 2 s per answer, against the cost
// of rendering the request alone; and notifications per second through the
// persistent outbox to the local server, to compare with BM_BareCurl of
// request_bench.cpp in the same run.

#include <benchmark/benchmark.h>
#include <netinet/in.h>
#include <stdlib.h>
#include <sys/socket.h>
#include <unistd.h>

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <variant>

#include "fixed_response_server.hpp"
#include "orv/action/action.hpp"
#include "orv/action/loader.hpp"
#include "orv/action/registry.hpp"
#include "orv/action/serialize.hpp"
#include "orv/meta/data/event.hpp"
#include "orv/object/primitive.hpp"
#include "orv/outbox/outbox.hpp"
#include "orv/outbox/process.hpp"
#include "request/request_template.hpp"

namespace {

using orv::meta::data::Event;

constexpr char const* kBodyTemplate = R"({"event":"{{the_event.name}}","type":"{{the_event.type.string}}"})";

void LoadPlugins() { static orv::action::plugin::Loader const loader(true); }

void SetText(std::shared_ptr<orv::action::Action> const& action, std::string const& name,
             orv::object::Object const& value) {
  auto const map = orv::action::registry::Get().GetMap();
  for (auto const& schema : map->at(action->GetTypeNameId()).GetSchemas()) {
    if (schema.GetProperty()->GetName() == name) {
      schema.Instantiate(action, orv::property::context::Direction::FromOwner)->Set(value);
      return;
    }
  }
  throw std::invalid_argument("no property " + name);
}

std::shared_ptr<Event const> MakeEvent() {
  return std::make_shared<Event const>("door 1", "motion", "category",
                                       orv::meta::data::TimePoint(std::chrono::seconds(1700000000)),
                                       orv::meta::data::Objects{});
}

std::string UriTemplate(int port) { return "http://127.0.0.1:" + std::to_string(port) + "/hook/{{the_event.name}}"; }

// A listener whose connections are made and never answered: with the
// action's 2 s time-out, every answer takes 2 s.
class SlowReceiver {
 public:
  SlowReceiver() {
    socket_ = ::socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t length = sizeof address;
    if (::bind(socket_, reinterpret_cast<sockaddr*>(&address), length) != 0 || ::listen(socket_, 64) != 0 ||
        ::getsockname(socket_, reinterpret_cast<sockaddr*>(&address), &length) != 0) {
      throw std::runtime_error("cannot listen");
    }
    port_ = ntohs(address.sin_port);
  }
  SlowReceiver(SlowReceiver const&) = delete;
  SlowReceiver& operator=(SlowReceiver const&) = delete;
  ~SlowReceiver() { ::close(socket_); }
  int Port() const { return port_; }

 private:
  int socket_ = -1;
  int port_ = 0;
};

// An outbox in a fresh directory, installed while this exists.
class InstalledOutbox {
 public:
  InstalledOutbox() {
    std::string pattern = (std::filesystem::temp_directory_path() / "orv-outbox-bench-XXXXXX").string();
    directory_ = ::mkdtemp(pattern.data());
    outbox_ = std::make_shared<orv::outbox::Outbox>(orv::outbox::Settings{.path = directory_ / "outbox.db"});
    orv::outbox::Install(outbox_);
  }
  InstalledOutbox(InstalledOutbox const&) = delete;
  InstalledOutbox& operator=(InstalledOutbox const&) = delete;
  ~InstalledOutbox() {
    orv::outbox::Install(nullptr);
    outbox_->Shutdown();
    std::filesystem::remove_all(directory_);
  }
  orv::outbox::Outbox& Get() const { return *outbox_; }

 private:
  std::filesystem::path directory_;
  std::shared_ptr<orv::outbox::Outbox> outbox_;
};

std::shared_ptr<orv::action::Action> MakeRequestAction(std::string const& name, int port) {
  LoadPlugins();
  auto action = orv::action::Action::Make(orv::hash::MurmurThree32("orv.action.Request"));
  if (!action) {
    throw std::runtime_error("the orv.action.Request plug-in did not load");
  }
  SetText(action, "name", orv::object::Primitive<std::string>(name));
  SetText(action, "uri", orv::object::Primitive<std::string>(UriTemplate(port)));
  SetText(action, "body", orv::object::Primitive<std::string>(kBodyTemplate));
  SetText(action, "timeout_ms", orv::object::Primitive<std::int64_t>(2000));
  return action;
}

// What Execute does on the publishing thread before the hand-over: the
// event's template data and the request rendered from it.
void BM_RenderRequestOnly(benchmark::State& state) {
  using namespace orv::plugins::request;
  RequestTemplate request;
  request.uri = orv::templating::Template(UriTemplate(8080), orv::templating::Escape::Url);
  request.body = orv::templating::Template(kBodyTemplate, BodyEscapeFor("auto", request.contentType));
  auto const event = MakeEvent();
  for (auto _ : state) {
    auto rendered = Render(request, orv::action::SerializeEvent(event));
    benchmark::DoNotOptimize(rendered);
  }
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_RenderRequestOnly);

// Execute with the outbox installed, the receiver taking 2 s per answer: the
// action's queue only grows (and, once full, pushes its oldest message out).
// Bursts of 1000, with the database brought up to date between them outside
// the timing, as a device's writer would between bursts of events; the time
// per Execute is the time per iteration divided by 1000.
void BM_PublishThroughOutboxSlowReceiver(benchmark::State& state) {
  SlowReceiver const receiver;
  InstalledOutbox const outbox;
  auto const action = MakeRequestAction("slow", receiver.Port());
  auto const event = MakeEvent();
  auto const& executing = static_cast<orv::action::Action const&>(*action);
  constexpr int kBurst = 1000;
  for (auto _ : state) {
    for (int i = 0; i < kBurst; ++i) {
      benchmark::DoNotOptimize(executing.Execute(event));
    }
    state.PauseTiming();
    outbox.Get().Flush();
    state.ResumeTiming();
  }
  state.SetItemsProcessed(state.iterations() * kBurst);
  state.counters["pending"] = static_cast<double>(outbox.Get().GetCounters("orv.action.Request/slow").pending);
}
BENCHMARK(BM_PublishThroughOutboxSlowReceiver);

// Notifications per second from Execute to the local server's answer through
// the persistent outbox (power-loss durability, the default): bursts of
// 1000, each timed until the server has answered them all.
void BM_ThroughOutboxToServer(benchmark::State& state) {
  orv::bench::FixedResponseServer server;
  InstalledOutbox const outbox;
  auto const action = MakeRequestAction("rate", server.Port());
  auto const event = MakeEvent();
  auto const& executing = static_cast<orv::action::Action const&>(*action);
  constexpr int kBurst = 1000;
  for (auto _ : state) {
    auto const target = server.Requests() + kBurst;
    for (int i = 0; i < kBurst; ++i) {
      executing.Execute(event);
    }
    while (server.Requests() < target) {
      std::this_thread::sleep_for(std::chrono::microseconds(50));
    }
  }
  state.SetItemsProcessed(state.iterations() * kBurst);
  auto const counters = outbox.Get().GetCounters("orv.action.Request/rate");
  if (counters.dead != 0) {
    state.SkipWithError("messages died");
  }
}
BENCHMARK(BM_ThroughOutboxToServer)->Unit(benchmark::kMillisecond)->UseRealTime();

}  // namespace
