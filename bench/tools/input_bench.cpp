// What the program's careful JSON reading costs: ParseJson (no recursion,
// depth limit, duplicate keys refused) against nlohmann::json::parse, the
// whole event on top, and finding a value's place, which only an error needs.

#include <benchmark/benchmark.h>

#include <fstream>
#include <sstream>
#include <string>

#include "event_file.hpp"
#include "json_input.hpp"
#include "source_text.hpp"

namespace {

std::string Slurp(std::string const& path) {
  std::ifstream file(path, std::ios::binary);
  std::ostringstream content;
  content << file.rdbuf();
  return content.str();
}

// The every-kind example event with its objects repeated `times` times.
std::string EveryKind(std::size_t times) {
  nlohmann::json event = nlohmann::json::parse(Slurp(std::string(ORV_EXAMPLES_DIR) + "/events/every_kind.json"));
  nlohmann::json const objects = event["objects"];
  event["objects"] = nlohmann::json::array();
  for (std::size_t i = 0; i < times; ++i) {
    for (auto const& object : objects) {
      event["objects"].push_back(object);
    }
  }
  return event.dump(1);
}

void BM_NlohmannParse(benchmark::State& state) {
  std::string const text = EveryKind(static_cast<std::size_t>(state.range(0)));
  for (auto _ : state) {
    benchmark::DoNotOptimize(nlohmann::json::parse(text));
  }
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * text.size()));
}
BENCHMARK(BM_NlohmannParse)->Arg(1)->Arg(100);

void BM_ParseJson(benchmark::State& state) {
  orv::tool::SourceText const source("bench.json", EveryKind(static_cast<std::size_t>(state.range(0))));
  for (auto _ : state) {
    benchmark::DoNotOptimize(orv::tool::ParseJson(source));
  }
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * source.Text().size()));
}
BENCHMARK(BM_ParseJson)->Arg(1)->Arg(100);

void BM_ReadEvent(benchmark::State& state) {
  orv::tool::SourceText const source("bench.json", EveryKind(static_cast<std::size_t>(state.range(0))));
  for (auto _ : state) {
    benchmark::DoNotOptimize(orv::tool::ReadEvent(source));
  }
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * source.Text().size()));
}
BENCHMARK(BM_ReadEvent)->Arg(1)->Arg(100);

// The place of the last object's last field: the whole text is read again.
void BM_FindValue(benchmark::State& state) {
  std::size_t const times = static_cast<std::size_t>(state.range(0));
  orv::tool::SourceText const source("bench.json", EveryKind(times));
  orv::tool::JsonPath const path{"objects", times * 24 - 1, "mask"};
  for (auto _ : state) {
    benchmark::DoNotOptimize(orv::tool::FindValue(source, path));
  }
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * source.Text().size()));
}
BENCHMARK(BM_FindValue)->Arg(1)->Arg(100);

}  // namespace
