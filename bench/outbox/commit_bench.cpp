// What the durability policy costs the writer thread: one message committed
// alone (the latency of a group commit of one, fsync included under
// power-loss durability), and bursts of 1000 committed together.

#include <benchmark/benchmark.h>

#include "bench_support.hpp"

namespace {

using namespace orv::outbox;
using orv::outbox::bench::ScratchDirectory;
using orv::outbox::bench::WebhookRenderer;

// range(0): 0 = power-loss durability (synchronous=FULL), 1 = process-crash (NORMAL).
// range(1): messages accepted before each Flush.
void AcceptAndCommit(benchmark::State& state) {
  WebhookRenderer const renderer;
  ScratchDirectory const directory;
  Settings settings;
  settings.path = directory.Database();
  settings.durability = state.range(0) == 0 ? Durability::kPowerLoss : Durability::kProcessCrash;
  settings.maxPendingMessages = 100'000'000;
  settings.maxPendingBytes = 1ULL << 40;
  Outbox outbox(settings);  // no sender: every message stays, and is written
  auto const burst = state.range(1);
  for (auto _ : state) {
    for (std::int64_t i = 0; i < burst; ++i) {
      outbox.Accept(renderer.Submit("webhook"));
    }
    outbox.Flush();
  }
  state.SetItemsProcessed(state.iterations() * burst);
}
BENCHMARK(AcceptAndCommit)
    ->ArgNames({"durability", "burst"})
    ->Args({0, 1})
    ->Args({1, 1})
    ->Args({0, 1000})
    ->Args({1, 1000})
    ->UseRealTime();

}  // namespace
