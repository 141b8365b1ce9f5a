// orv.action.Request's Execute against a bare libcurl loop: both send the same
// POST to the same local server on a kept-alive connection, so the difference
// is what the action adds (rendering the event, checking the address, the
// handle pool, setting the options again for each call).

#include <benchmark/benchmark.h>
#include <curl/curl.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "fixed_response_server.hpp"
#include "orv/action/action.hpp"
#include "orv/action/exception.hpp"
#include "orv/action/loader.hpp"
#include "orv/action/registry.hpp"
#include "orv/action/serialize.hpp"
#include "orv/meta/data/event.hpp"
#include "orv/object/primitive.hpp"

namespace {

using Clock = std::chrono::steady_clock;
using orv::meta::data::Event;

constexpr char const* kPath = "/hook/";
constexpr char const* kBodyTemplate = R"({"event":"{{the_event.name}}","type":"{{the_event.type.string}}"})";

void LoadPluginsOnce() { static orv::action::plugin::Loader const loader(true); }

void Set(std::shared_ptr<orv::action::Action> const& action, std::string const& name, std::string const& text) {
  auto const map = orv::action::registry::Get().GetMap();
  for (auto const& schema : map->at(action->GetTypeNameId()).GetSchemas()) {
    if (schema.GetProperty()->GetName() == name) {
      schema.Instantiate(action, orv::property::context::Direction::FromOwner)
          ->Set(orv::object::Primitive<std::string>(text));
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

std::size_t Discard(char*, std::size_t size, std::size_t count, void*) { return size * count; }

// One orv.action.Request that posts a JSON body rendered from the event to
// `server`.
class RequestClient {
 public:
  explicit RequestClient(orv::bench::FixedResponseServer const& server) {
    LoadPluginsOnce();
    action_ = orv::action::Action::Make(orv::hash::MurmurThree32("orv.action.Request"));
    if (!action_) {
      throw std::runtime_error("the orv.action.Request plug-in did not load");
    }
    Set(action_, "uri", "http://127.0.0.1:" + std::to_string(server.Port()) + kPath + "{{the_event.name}}?source=orv");
    Set(action_, "body", kBodyTemplate);
  }
  void Send() const { static_cast<orv::action::Action const&>(*action_).Execute(event_); }

 private:
  std::shared_ptr<orv::action::Action> action_;
  std::shared_ptr<Event const> event_ = MakeEvent();
};

// One easy handle, its options set once, sending the request that
// RequestClient renders.
class BareClient {
 public:
  explicit BareClient(orv::bench::FixedResponseServer const& server)
      : uri_("http://127.0.0.1:" + std::to_string(server.Port()) + kPath + "door%201?source=orv"),
        body_(R"({"event":"door 1","type":"motion"})") {
    curl_global_init(CURL_GLOBAL_DEFAULT);
    handle_ = curl_easy_init();
    headers_ = curl_slist_append(headers_, "Content-Type: application/json");
    headers_ = curl_slist_append(headers_, "Expect:");
    curl_easy_setopt(handle_, CURLOPT_NOSIGNAL, 1L);
    curl_easy_setopt(handle_, CURLOPT_URL, uri_.c_str());
    curl_easy_setopt(handle_, CURLOPT_HTTPHEADER, headers_);
    curl_easy_setopt(handle_, CURLOPT_POSTFIELDS, body_.data());
    curl_easy_setopt(handle_, CURLOPT_POSTFIELDSIZE_LARGE, static_cast<curl_off_t>(body_.size()));
    curl_easy_setopt(handle_, CURLOPT_WRITEFUNCTION, &Discard);
  }
  BareClient(BareClient const&) = delete;
  BareClient& operator=(BareClient const&) = delete;
  ~BareClient() {
    curl_easy_cleanup(handle_);
    curl_slist_free_all(headers_);
  }
  void Send() const {
    long status = 0;
    if (curl_easy_perform(handle_) != CURLE_OK || curl_easy_getinfo(handle_, CURLINFO_RESPONSE_CODE, &status) ||
        status != 200) {
      throw std::runtime_error("the bare request failed");
    }
  }

 private:
  std::string uri_;
  std::string body_;
  CURL* handle_ = nullptr;
  curl_slist* headers_ = nullptr;
};

// What the server received from one call of `send`.
template <class Client>
std::string RequestOf(orv::bench::FixedResponseServer& server, Client const& client) {
  server.CaptureNextRequest();
  client.Send();
  return server.CapturedRequest();
}

// Both clients, with a first request each sent (the connection made), after
// checking that they send the same bytes.
struct Setup {
  orv::bench::FixedResponseServer server;
  RequestClient action{server};
  BareClient bare{server};

  explicit Setup(benchmark::State& state) {
    try {
      if (RequestOf(server, action) != RequestOf(server, bare)) {
        state.SkipWithError("the action and the bare loop send different requests");
      }
    } catch (std::exception const& error) {
      state.SkipWithError(error.what());
    } catch (orv::action::Exception const& failure) {
      state.SkipWithError(
          ("the action failed with code " + std::to_string(static_cast<int>(failure.GetCode()))).c_str());
    }
  }
};

// The server's CPU time per request over a run, in microseconds: it shows
// that the server is not what limits the rate.
class ServerCost {
 public:
  explicit ServerCost(orv::bench::FixedResponseServer const& server)
      : server_(server), cpu_(server.CpuTime()), requests_(server.Requests()) {}
  void Report(benchmark::State& state) const {
    auto const requests = server_.Requests() - requests_;
    auto const cpu = std::chrono::duration<double, std::micro>(server_.CpuTime() - cpu_).count();
    state.counters["server_us"] = requests == 0 ? 0.0 : cpu / static_cast<double>(requests);
  }

 private:
  orv::bench::FixedResponseServer const& server_;
  std::chrono::nanoseconds cpu_;
  std::uint64_t requests_;
};

template <class Pick>
void Throughput(benchmark::State& state, Pick pick) {
  Setup setup(state);
  auto const& client = pick(setup);
  ServerCost const cost(setup.server);
  for (auto _ : state) {
    client.Send();
  }
  state.SetItemsProcessed(state.iterations());
  cost.Report(state);
}

// Notifications per second through Execute.
void BM_RequestExecute(benchmark::State& state) {
  Throughput(state, [](Setup const& s) -> RequestClient const& { return s.action; });
}
BENCHMARK(BM_RequestExecute)->UseRealTime();

// Requests per second from the bare loop.
void BM_BareCurl(benchmark::State& state) {
  Throughput(state, [](Setup const& s) -> BareClient const& { return s.bare; });
}
BENCHMARK(BM_BareCurl)->UseRealTime();

double Seconds(Clock::duration duration) { return std::chrono::duration<double>(duration).count(); }

// Both in one loop, one call of each per iteration, each timed on its own:
// whatever else the machine does at the time slows both alike, so their
// ratio holds under load. The third call, SerializeEvent of the same event,
// is the part of Execute that every action sending text pays: it shows how
// much of the difference is the plug-in's own.
void BM_ExecuteAgainstBare(benchmark::State& state) {
  Setup setup(state);
  auto const event = MakeEvent();
  Clock::duration execute{};
  Clock::duration bare{};
  Clock::duration serialize{};
  for (auto _ : state) {
    auto const start = Clock::now();
    setup.action.Send();
    auto const afterExecute = Clock::now();
    setup.bare.Send();
    auto const afterBare = Clock::now();
    benchmark::DoNotOptimize(orv::action::SerializeEvent(event));
    auto const end = Clock::now();
    execute += afterExecute - start;
    bare += afterBare - afterExecute;
    serialize += end - afterBare;
  }
  auto const calls = static_cast<double>(state.iterations());
  state.counters["execute_per_s"] = calls / Seconds(execute);
  state.counters["bare_per_s"] = calls / Seconds(bare);
  state.counters["ratio"] = Seconds(bare) / Seconds(execute);
  state.counters["serialize_us"] = Seconds(serialize) / calls * 1e6;
}
BENCHMARK(BM_ExecuteAgainstBare)->UseRealTime();

// The median and 99th percentile of one call, in microseconds.
template <class Pick>
void Latency(benchmark::State& state, Pick pick) {
  Setup setup(state);
  auto const& client = pick(setup);
  std::vector<Clock::duration> samples;
  samples.reserve(1 << 20);
  for (auto _ : state) {
    auto const start = Clock::now();
    client.Send();
    samples.push_back(Clock::now() - start);
  }
  if (samples.empty()) {
    return;
  }
  auto const percentile = [&](double fraction) {
    auto const at = samples.begin() + static_cast<std::ptrdiff_t>(fraction * static_cast<double>(samples.size() - 1));
    std::nth_element(samples.begin(), at, samples.end());
    return std::chrono::duration<double, std::micro>(*at).count();
  };
  state.counters["p50_us"] = percentile(0.50);
  state.counters["p99_us"] = percentile(0.99);
}

void BM_RequestExecuteLatency(benchmark::State& state) {
  Latency(state, [](Setup const& s) -> RequestClient const& { return s.action; });
}
BENCHMARK(BM_RequestExecuteLatency)->UseRealTime();

void BM_BareCurlLatency(benchmark::State& state) {
  Latency(state, [](Setup const& s) -> BareClient const& { return s.bare; });
}
BENCHMARK(BM_BareCurlLatency)->UseRealTime();

}  // namespace
