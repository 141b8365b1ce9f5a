// What an action's Execute costs on the publishing thread: rendering alone,
// and rendering plus handing the message to the outbox, while the receiver
// takes 2 s per answer (so every message waits, and once the outbox is full
// each one pushes the oldest out).

#include <benchmark/benchmark.h>

#include <chrono>
#include <string>

#include "bench_support.hpp"

namespace {

using namespace orv::outbox;
using orv::outbox::bench::ScratchDirectory;
using orv::outbox::bench::SlowReceiver;
using orv::outbox::bench::WebhookRenderer;

void Render(benchmark::State& state) {
  WebhookRenderer const renderer;
  for (auto _ : state) {
    auto request = renderer.Render();
    benchmark::DoNotOptimize(request);
  }
  state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(renderer.Render().size()));
}
BENCHMARK(Render);

// range(0): 0 = power-loss durability (synchronous=FULL), 1 = process-crash (NORMAL).
// range(1): the pending limit; 10 000 is the default.
void RenderAndAccept(benchmark::State& state) {
  WebhookRenderer const renderer;
  ScratchDirectory const directory;
  Settings settings;
  settings.path = directory.Database();
  settings.durability = state.range(0) == 0 ? Durability::kPowerLoss : Durability::kProcessCrash;
  settings.maxPendingMessages = static_cast<std::size_t>(state.range(1));
  SlowReceiver const receiver(std::chrono::seconds(2));
  Outbox outbox(settings);
  outbox.Register("webhook", receiver.AsSender());
  std::int64_t accepted = 0;
  for (auto _ : state) {
    auto id = outbox.Accept(renderer.Submit("webhook"));
    benchmark::DoNotOptimize(id);
    // A device publishes in bursts, not without end: let the writer catch up
    // between bursts of 1000, outside the measured time.
    if (++accepted % 1000 == 0) {
      state.PauseTiming();
      outbox.Flush();
      state.ResumeTiming();
    }
  }
  receiver.Stop();
  state.counters["dead"] = static_cast<double>(outbox.GetCounters("webhook").dead);
}
BENCHMARK(RenderAndAccept)
    ->ArgNames({"durability", "limit"})
    ->Args({0, 10'000})
    ->Args({1, 10'000})
    ->Args({0, 1'000'000});

}  // namespace
