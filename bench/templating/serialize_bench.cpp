// Where the time of a notification goes: serialising an event into template
// data (against a hand-built tree of the same content, the floor for this
// data structure), the network look-ups on their own, scaling with the
// number of objects, and rendering the golden template.

#include <benchmark/benchmark.h>
#include <ifaddrs.h>

#include <chrono>
#include <fstream>
#include <sstream>

#include "golden_event.hpp"
#include "hand_built.hpp"
#include "orv/action/serialize.hpp"
#include "orv/meta/data/classification/confidence.hpp"
#include "orv/meta/data/classification/name.hpp"
#include "orv/meta/data/object/area.hpp"
#include "orv/meta/data/object/speed.hpp"
#include "orv/meta/data/tracked_object.hpp"
#include "orv/network/address.hpp"

namespace {

using namespace orv;
namespace data = meta::data;

void SerializeGoldenEvent(benchmark::State& state) {
  auto const event = examples::MakeGoldenEvent();
  for (auto _ : state) {
    benchmark::DoNotOptimize(action::SerializeEvent(event));
  }
}
BENCHMARK(SerializeGoldenEvent);

void HandBuiltGoldenEvent(benchmark::State& state) {
  auto const event = examples::MakeGoldenEvent();
  for (auto _ : state) {
    benchmark::DoNotOptimize(bench::HandBuiltTemplateData(*event));
  }
}
BENCHMARK(HandBuiltGoldenEvent);

void NetworkLookups(benchmark::State& state) {
  for (auto _ : state) {
    benchmark::DoNotOptimize(network::GetLocalIPAddress().to_string());
    benchmark::DoNotOptimize(network::GetHostname());
  }
}
BENCHMARK(NetworkLookups);

// What the address look-up cost when it listed every interface with
// getifaddrs (a netlink dump of all addresses and links), for comparison.
void GetifaddrsReference(benchmark::State& state) {
  for (auto _ : state) {
    ifaddrs* list = nullptr;
    if (::getifaddrs(&list) != 0) {
      state.SkipWithError("getifaddrs failed");
      break;
    }
    for (ifaddrs const* entry = list; entry != nullptr; entry = entry->ifa_next) {
      benchmark::DoNotOptimize(entry->ifa_addr);
    }
    ::freeifaddrs(list);
    benchmark::DoNotOptimize(network::GetHostname());
  }
}
BENCHMARK(GetifaddrsReference);

// An event of `count` tracked objects, each with an eight-point outline and
// four records.
std::shared_ptr<data::Event const> EventOf(std::size_t count) {
  using Normalized = geometry::normalized::Value<unsigned short>;
  using NPoint = geometry::Point<Normalized, 2>;
  data::Objects objects;
  for (std::size_t i = 0; i < count; ++i) {
    auto const id = static_cast<std::uint32_t>(i);
    auto const x = static_cast<unsigned short>(1000 + i % 60000);
    std::vector<NPoint> outline;
    for (unsigned short k = 0; k < 8; ++k) {
      outline.push_back(NPoint{Normalized{static_cast<unsigned short>(x + 10 * k)},
                               Normalized{static_cast<unsigned short>(2000 + 7 * k)}});
    }
    objects.push_back(std::make_shared<data::TrackedObject>(
        id, geometry::NormalizedPolygon(std::move(outline)), Normalized{300}, Normalized{900},
        data::Objects{std::make_shared<data::object::Speed>(1.5F + static_cast<float>(i % 7)),
                      std::make_shared<data::object::Area>(0.01F),
                      std::make_shared<data::classification::Confidence>("person", 0.9F, id),
                      std::make_shared<data::classification::Name>("person")}));
  }
  return std::make_shared<data::Event>("Scaling", "motion", "video", data::TimePoint{}, std::move(objects));
}

void SerializeObjects(benchmark::State& state) {
  auto const event = EventOf(static_cast<std::size_t>(state.range(0)));
  for (auto _ : state) {
    benchmark::DoNotOptimize(action::SerializeEvent(event));
  }
  state.SetItemsProcessed(state.iterations() * state.range(0));
  // Seconds of serialisation per object.
  state.counters["per_object"] = benchmark::Counter(
      static_cast<double>(state.range(0)), benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
}
BENCHMARK(SerializeObjects)->Arg(1)->Arg(10)->Arg(100)->Arg(1000)->Arg(10000);

// SerializeEvent alone, without destroying the tree it returns (which the
// caller does): splits the cost of writing from the cost of freeing.
void SerializeObjectsWithoutFreeing(benchmark::State& state) {
  auto const event = EventOf(static_cast<std::size_t>(state.range(0)));
  for (auto _ : state) {
    auto const start = std::chrono::steady_clock::now();
    mstch::map result = action::SerializeEvent(event);
    auto const stop = std::chrono::steady_clock::now();
    benchmark::DoNotOptimize(result);
    state.SetIterationTime(std::chrono::duration<double>(stop - start).count());
  }
  state.SetItemsProcessed(state.iterations() * state.range(0));
  state.counters["per_object"] = benchmark::Counter(
      static_cast<double>(state.range(0)), benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
}
BENCHMARK(SerializeObjectsWithoutFreeing)->Arg(1)->Arg(10)->Arg(100)->Arg(1000)->Arg(10000)->UseManualTime();

// The floor at the same sizes: how much of the growth per object belongs to
// the tree itself (its memory outgrowing the caches) rather than to the way
// it is written.
void HandBuiltObjects(benchmark::State& state) {
  auto const event = EventOf(static_cast<std::size_t>(state.range(0)));
  for (auto _ : state) {
    benchmark::DoNotOptimize(bench::HandBuiltTemplateData(*event));
  }
  state.SetItemsProcessed(state.iterations() * state.range(0));
  state.counters["per_object"] = benchmark::Counter(
      static_cast<double>(state.range(0)), benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
}
BENCHMARK(HandBuiltObjects)->Arg(1)->Arg(10)->Arg(100)->Arg(1000)->Arg(10000);

std::string ReadGoldenTemplate() {
  std::ifstream file(ORV_GOLDEN_DIR "/notification.mustache");
  std::ostringstream text;
  text << file.rdbuf();
  return text.str();
}

void RenderGoldenTemplate(benchmark::State& state) {
  std::string const tmplt = ReadGoldenTemplate();
  mstch::node const root(action::SerializeEvent(examples::MakeGoldenEvent()));
  for (auto _ : state) {
    benchmark::DoNotOptimize(mstch::render(tmplt, root));
  }
}
BENCHMARK(RenderGoldenTemplate);

}  // namespace
