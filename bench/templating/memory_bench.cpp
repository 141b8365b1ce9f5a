// Where the memory of a notification goes: the records of an event, the
// template data that SerializeEvent builds from them (for every kind of
// record), and rendering. Every heap block is counted as glibc's malloc holds
// it (its usable size and an 8-byte header) through a replaced operator new;
// the figures are counters of each benchmark, in bytes.
//
//   Records/Speed: record_bytes (the event's record), data_bytes (its part
//   of the template data), data_blocks (heap blocks of that part),
//   build_peak_bytes (the most SerializeEvent held beyond the finished tree,
//   for the whole event), and the time of SerializeEvent and freeing.
//   Render/100000: output_bytes, text_block_bytes (the block of the text
//   returned), render_peak_bytes (the most rendering held beyond that) and
//   check_peak_bytes (the most FindMissingNames held).
//   GoldenEvent: the template data of the golden event, against the same
//   tree built by hand.

#include <benchmark/benchmark.h>
#include <malloc.h>

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <functional>
#include <limits>
#include <new>
#include <string>
#include <vector>

#include "golden_event.hpp"
#include "hand_built.hpp"
#include "orv/action/serialize.hpp"
#include "orv/meta/data/armed.hpp"
#include "orv/meta/data/channel.hpp"
#include "orv/meta/data/classification/confidence.hpp"
#include "orv/meta/data/classification/name.hpp"
#include "orv/meta/data/colour_signature.hpp"
#include "orv/meta/data/count/line.hpp"
#include "orv/meta/data/count/value.hpp"
#include "orv/meta/data/gpu_stats.hpp"
#include "orv/meta/data/object/area.hpp"
#include "orv/meta/data/object/calibrated_position.hpp"
#include "orv/meta/data/object/gone.hpp"
#include "orv/meta/data/object/ground_point.hpp"
#include "orv/meta/data/object/height.hpp"
#include "orv/meta/data/object/history.hpp"
#include "orv/meta/data/object/merged.hpp"
#include "orv/meta/data/object/pixel_count.hpp"
#include "orv/meta/data/object/speed.hpp"
#include "orv/meta/data/object/split.hpp"
#include "orv/meta/data/observable.hpp"
#include "orv/meta/data/segmented_colour_signature.hpp"
#include "orv/meta/data/tampered.hpp"
#include "orv/meta/data/text.hpp"
#include "orv/meta/data/tracked_object.hpp"
#include "orv/meta/data/zone.hpp"
#include "orv/templating/template.hpp"

namespace {

std::atomic<long> gLive{0};
std::atomic<long> gPeak{0};
std::atomic<long> gBlocks{0};

long Held(void* block) { return static_cast<long>(malloc_usable_size(block)) + 8; }

void* Allocate(std::size_t size) {
  void* const block = std::malloc(size == 0 ? 1 : size);
  if (block == nullptr) {
    throw std::bad_alloc();
  }
  long const live = gLive += Held(block);
  ++gBlocks;
  long peak = gPeak.load();
  while (live > peak && !gPeak.compare_exchange_weak(peak, live)) {
  }
  return block;
}

void Free(void* block) noexcept {
  if (block != nullptr) {
    gLive -= Held(block);
    --gBlocks;
    std::free(block);
  }
}

}  // namespace

void* operator new(std::size_t size) { return Allocate(size); }
void* operator new[](std::size_t size) { return Allocate(size); }
void* operator new(std::size_t size, std::nothrow_t const&) noexcept {
  try {
    return Allocate(size);
  } catch (...) {
    return nullptr;
  }
}
void* operator new[](std::size_t size, std::nothrow_t const&) noexcept { return operator new(size, std::nothrow); }
void operator delete(void* block) noexcept { Free(block); }
void operator delete[](void* block) noexcept { Free(block); }
void operator delete(void* block, std::size_t) noexcept { Free(block); }
void operator delete[](void* block, std::size_t) noexcept { Free(block); }
void operator delete(void* block, std::nothrow_t const&) noexcept { Free(block); }
void operator delete[](void* block, std::nothrow_t const&) noexcept { Free(block); }

namespace {

using namespace orv;
namespace data = meta::data;
using Normalized = geometry::normalized::Value<unsigned short>;
using NPoint = geometry::Point<Normalized, 2>;

// The heap that `action` leaves behind and the most it held beyond that.
struct Use {
  long bytes;
  long blocks;
  long peakAbove;
};

Use Measure(std::function<void()> const& action) {
  long const before = gLive;
  long const blocksBefore = gBlocks;
  gPeak = before;
  action();
  return {gLive - before, gBlocks - blocksBefore, gPeak - gLive};
}

NPoint P(unsigned short x, unsigned short y) { return NPoint{Normalized{x}, Normalized{y}}; }

data::ColourSignature Signature() {
  using ColourData = data::ColourSignature::ColourData;
  return data::ColourSignature({ColourData("red", 255, 0, 0, 0.75F), ColourData("navy", 0, 0, 128, 0.25F)});
}

struct Kind {
  char const* name;
  std::function<data::Objects::value_type(std::uint32_t)> make;
};

// One small record of every kind, as an analytics rule might report it.
std::vector<Kind> const& Kinds() {
  using Segment = data::SegmentedColourSignature::Segment;
  static std::vector<Kind> const kinds = {
      {"Area", [](std::uint32_t) { return std::make_shared<data::object::Area>(0.125F); }},
      {"Channel", [](std::uint32_t i) { return std::make_shared<data::Channel>(i, "Yard"); }},
      {"Classification", [](std::uint32_t) { return std::make_shared<data::classification::Name>("person"); }},
      {"DLClassification",
       [](std::uint32_t i) { return std::make_shared<data::classification::Confidence>("person", 0.5F, i); }},
      {"ColourSignature", [](std::uint32_t) { return std::make_shared<data::ColourSignature>(Signature()); }},
      {"SegmentedColourSignature",
       [](std::uint32_t) {
         return std::make_shared<data::SegmentedColourSignature>(
             std::map<Segment, data::ColourSignature>{{Segment::Full, Signature()}});
       }},
      {"Counter", [](std::uint32_t i) { return std::make_shared<data::count::Value>(i, "In", 5, -1, P(3, 4)); }},
      {"Text", [](std::uint32_t) { return std::make_shared<data::Text>("hello", "note"); }},
      {"CountingLine",
       [](std::uint32_t i) {
         return std::make_shared<data::count::Line>(i, Normalized{10}, Normalized{20}, 30, data::line::Direction::Both,
                                                    3);
       }},
      {"Gone", [](std::uint32_t i) { return std::make_shared<data::object::Gone>(i); }},
      {"GpuStats", [](std::uint32_t) { return std::make_shared<data::GpuStats>(55, 8589934592ULL); }},
      {"GroundPoint", [](std::uint32_t) { return std::make_shared<data::object::GroundPoint>(P(500, 600)); }},
      {"Height", [](std::uint32_t) { return std::make_shared<data::object::Height>(1.8F); }},
      {"History",
       [](std::uint32_t i) {
         return std::make_shared<data::object::History>(i,
                                                        std::map<data::TimePoint, data::object::GroundPoint>{
                                                            {data::TimePoint{}, data::object::GroundPoint(P(7, 8))}});
       }},
      {"Merged",
       [](std::uint32_t i) {
         return std::make_shared<data::object::Merged>(std::vector{i, i + 1}, i + 2);
       }},
      {"Object",
       [](std::uint32_t i) {
         return std::make_shared<data::TrackedObject>(
             i, geometry::NormalizedPolygon({P(10, 20), P(30, 20), P(30, 40), P(10, 40)}), Normalized{20},
             Normalized{20}, data::Objects{});
       }},
      {"Speed", [](std::uint32_t) { return std::make_shared<data::object::Speed>(2.5F); }},
      {"Split",
       [](std::uint32_t i) {
         return std::make_shared<data::object::Split>(i, std::vector{i + 1, i + 2});
       }},
      {"Tamper", [](std::uint32_t) { return std::make_shared<data::Tampered>(); }},
      {"Zone",
       [](std::uint32_t i) {
         return std::make_shared<data::Zone>(i, "Yard", 2, std::array<std::uint8_t, 4>{255, 0, 128, 255},
                                             data::zone::Detection::Presence, data::zone::Type::Detection,
                                             geometry::NormalizedPolygon({P(1, 2), P(3, 4), P(5, 2)}), false);
       }},
      {"Observable", [](std::uint32_t i) { return std::make_shared<data::Observable>(i); }},
      {"Armed", [](std::uint32_t) { return std::make_shared<data::Armed>(true); }},
      {"Pixels", [](std::uint32_t i) { return std::make_shared<data::object::PixelCount>(i); }},
      {"CalibratedPosition",
       [](std::uint32_t) {
         return std::make_shared<data::object::CalibratedPosition>(geometry::Point<float, 2>{1.5F, -2.25F});
       }},
  };
  return kinds;
}

constexpr std::uint32_t kRecords = 1000;

std::shared_ptr<data::Event const> EventOf(Kind const& kind, std::uint32_t count) {
  data::Objects objects;
  objects.reserve(count);
  for (std::uint32_t i = 0; i < count; ++i) {
    objects.push_back(kind.make(i));
  }
  return std::make_shared<data::Event>("Memory", "motion", "video", data::TimePoint{}, std::move(objects));
}

// The template data of an event without records: its header, times, host
// and address, which belong to no record.
Use BareEvent() {
  mstch::map kept;
  return Measure([&] { kept = action::SerializeEvent(EventOf(Kinds().front(), 0)); });
}

void Records(benchmark::State& state, Kind const& kind) {
  std::shared_ptr<data::Event const> event;
  Use const records = Measure([&] { event = EventOf(kind, kRecords); });
  Use const bare = BareEvent();
  mstch::map tree;
  Use const build = Measure([&] { tree = action::SerializeEvent(event); });
  for (auto _ : state) {
    benchmark::DoNotOptimize(action::SerializeEvent(event));
  }
  Use const empty = Measure([] { benchmark::DoNotOptimize(EventOf(Kinds().front(), 0)); });
  double const per = kRecords;
  state.counters["record_bytes"] = static_cast<double>(records.bytes - empty.bytes) / per;
  state.counters["data_bytes"] = static_cast<double>(build.bytes - bare.bytes) / per;
  state.counters["data_blocks"] = static_cast<double>(build.blocks - bare.blocks) / per;
  state.counters["build_peak_bytes"] = static_cast<double>(build.peakAbove);
}

bool const gRecordsRegistered = [] {
  for (Kind const& kind : Kinds()) {
    benchmark::RegisterBenchmark((std::string("Records/") + kind.name).c_str(),
                                 [&kind](benchmark::State& state) { Records(state, kind); });
  }
  return true;
}();

// An event of `range(0)` speeds rendered as a list of numbers.
void Render(benchmark::State& state) {
  Kind const& speed =
      *std::find_if(Kinds().begin(), Kinds().end(), [](Kind const& kind) { return std::string(kind.name) == "Speed"; });
  mstch::map const tree = action::SerializeEvent(EventOf(speed, static_cast<std::uint32_t>(state.range(0))));
  templating::Template const compiled("{{#the_event.Speed}}{{value}} {{/the_event.Speed}}", templating::Escape::None);
  std::size_t const unlimited = std::numeric_limits<std::size_t>::max();
  std::string text;
  Use const render = Measure([&] { text = compiled.Render(tree, unlimited); });
  Use const check = Measure([&] { benchmark::DoNotOptimize(compiled.FindMissingNames(tree)); });
  for (auto _ : state) {
    benchmark::DoNotOptimize(compiled.Render(tree, unlimited));
  }
  state.counters["output_bytes"] = static_cast<double>(text.size());
  state.counters["text_block_bytes"] = static_cast<double>(render.bytes);
  state.counters["render_peak_bytes"] = static_cast<double>(render.peakAbove);
  state.counters["check_peak_bytes"] = static_cast<double>(check.peakAbove);
}
BENCHMARK(Render)->Arg(1000)->Arg(100000)->Unit(benchmark::kMillisecond);

// The golden event's template data built by SerializeEvent and built by hand
// straight into mstch maps: the archive adds no block of its own.
void GoldenEvent(benchmark::State& state) {
  auto const event = examples::MakeGoldenEvent();
  mstch::map serialized;
  mstch::map handBuilt;
  Use const archive = Measure([&] { serialized = action::SerializeEvent(event); });
  Use const floor = Measure([&] { handBuilt = bench::HandBuiltTemplateData(*event); });
  for (auto _ : state) {
    benchmark::DoNotOptimize(action::SerializeEvent(event));
  }
  state.counters["data_bytes"] = static_cast<double>(archive.bytes);
  state.counters["data_blocks"] = static_cast<double>(archive.blocks);
  state.counters["hand_built_bytes"] = static_cast<double>(floor.bytes);
  state.counters["hand_built_blocks"] = static_cast<double>(floor.blocks);
}
BENCHMARK(GoldenEvent);

}  // namespace
