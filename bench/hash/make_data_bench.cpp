#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstring>
#include <iterator>

#include "orv/hash/murmur_three_32.hpp"
#include "orv/object/type_names.hpp"

namespace {

char const* LongestTypeName() {
  return *std::max_element(std::begin(orv::object::type_name::kAll), std::end(orv::object::type_name::kAll),
                           [](char const* a, char const* b) { return std::strlen(a) < std::strlen(b); });
}

// The hash computed at run time, as for a name only known then.
void BM_MakeDataLongestTypeName(benchmark::State& state) {
  char const* name = LongestTypeName();
  for (auto _ : state) {
    benchmark::DoNotOptimize(name);
    benchmark::DoNotOptimize(orv::hash::MurmurThree32::MakeData(name));
  }
  state.SetLabel(name);
}
BENCHMARK(BM_MakeDataLongestTypeName);

}  // namespace
