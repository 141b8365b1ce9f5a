// Sustained messages per second: a bare loop that renders and sends each
// message on one thread, against the same messages rendered on the
// publishing thread and sent through the persistent outbox. Each iteration
// is a burst of 1000 messages, timed until the receiver has them all.

#include <benchmark/benchmark.h>

#include <chrono>
#include <cstdint>

#include "bench_support.hpp"

namespace {

using namespace orv::outbox;
using orv::outbox::bench::ScratchDirectory;
using orv::outbox::bench::SlowReceiver;
using orv::outbox::bench::WebhookRenderer;

constexpr int kBurst = 1000;

// range(0): the receiver's answer time in microseconds.
void BareSendingLoop(benchmark::State& state) {
  WebhookRenderer const renderer;
  SlowReceiver const receiver(std::chrono::microseconds(state.range(0)));
  for (auto _ : state) {
    for (int i = 0; i < kBurst; ++i) {
      Message message;
      message.payload = renderer.Render();
      benchmark::DoNotOptimize(receiver.Receive());
    }
  }
  state.SetItemsProcessed(state.iterations() * kBurst);
}
BENCHMARK(BareSendingLoop)->ArgName("answer_us")->Arg(0)->Arg(100)->Arg(1000)->UseRealTime();

// range(0): the receiver's answer time in microseconds; range(1): 0 = power-loss
// durability, 1 = process-crash.
void ThroughOutbox(benchmark::State& state) {
  WebhookRenderer const renderer;
  ScratchDirectory const directory;
  Settings settings;
  settings.path = directory.Database();
  settings.durability = state.range(1) == 0 ? Durability::kPowerLoss : Durability::kProcessCrash;
  SlowReceiver const receiver(std::chrono::microseconds(state.range(0)));
  Outbox outbox(settings);
  outbox.Register("webhook", receiver.AsSender());
  std::uint64_t total = 0;
  for (auto _ : state) {
    auto const start = std::chrono::steady_clock::now();
    for (int i = 0; i < kBurst; ++i) {
      outbox.Accept(renderer.Submit("webhook"));
    }
    total += kBurst;
    receiver.AwaitCount(total);
    state.SetIterationTime(std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count());
  }
  state.SetItemsProcessed(state.iterations() * kBurst);
  outbox.Flush();
}
BENCHMARK(ThroughOutbox)
    ->ArgNames({"answer_us", "durability"})
    ->Args({0, 0})
    ->Args({0, 1})
    ->Args({100, 0})
    ->Args({100, 1})
    ->Args({1000, 0})
    ->UseManualTime();

}  // namespace
