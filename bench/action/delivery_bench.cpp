#include <benchmark/benchmark.h>

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <vector>

#include "orv/action/action.hpp"
#include "orv/arm/state.hpp"

namespace {

using orv::meta::data::Event;

// The work both paths do per call: read the event and count it.
struct Work {
  void operator()(Event const& event) const { sum += event.GetId() + 1; }
  std::uint64_t& sum;
};

class CountingAction : public orv::action::Action {
 public:
  explicit CountingAction(std::uint64_t& sum)
      : Action(orv::hash::MurmurThree32("orv.bench.Counting"), {}), work_{sum} {}
  Result Execute(std::shared_ptr<Event const> event) const override {
    work_(*event);
    return {};
  }

 private:
  Work work_;
};

std::shared_ptr<Event> MakeEvent() {
  return std::make_shared<Event>("bench", "motion", "category",
                                 orv::meta::data::TimePoint(std::chrono::seconds(1700000000)),
                                 orv::meta::data::Objects{});
}

// One event through Publish, the event adaptor, the armed-state gate and
// Execute, to every one of `range(0)` armed actions.
void BM_PublishToArmedActions(benchmark::State& state) {
  orv::arm::SetState(1);
  std::uint64_t sum = 0;
  auto const source = std::make_shared<orv::observable::Observable>(1);
  std::vector<std::shared_ptr<CountingAction>> actions;
  for (int i = 0; i < state.range(0); ++i) {
    actions.push_back(orv::action::MakeShared<CountingAction>(sum));
    actions.back()->AddObservable(source);
  }
  auto const event = MakeEvent();
  for (auto _ : state) {
    source->Publish(event);
  }
  benchmark::DoNotOptimize(sum);
  state.SetItemsProcessed(state.iterations() * state.range(0));
  orv::arm::SetState(0);
}
BENCHMARK(BM_PublishToArmedActions)->Arg(1)->Arg(10);

// The same work called directly through a std::function, once per
// subscriber, with the event passed as `Parameter`.
template <class Parameter>
void CallDirectly(benchmark::State& state) {
  std::uint64_t sum = 0;
  std::vector<std::function<void(Parameter)>> calls(static_cast<std::size_t>(state.range(0)),
                                                    [work = Work{sum}](Parameter event) { work(*event); });
  std::shared_ptr<Event const> const event = MakeEvent();
  for (auto _ : state) {
    for (auto const& call : calls) {
      call(event);
    }
  }
  benchmark::DoNotOptimize(sum);
  state.SetItemsProcessed(state.iterations() * state.range(0));
}

// The floor: the action side's event-callback type, which takes the event
// pointer by value, as every subscriber receives it.
void BM_DirectFunctionCall(benchmark::State& state) { CallDirectly<std::shared_ptr<Event const>>(state); }
BENCHMARK(BM_DirectFunctionCall)->Arg(1)->Arg(10);

// For reference: the event by reference, which no subscriber that may keep
// the event can be given.
void BM_DirectFunctionCallByReference(benchmark::State& state) {
  CallDirectly<std::shared_ptr<Event const> const&>(state);
}
BENCHMARK(BM_DirectFunctionCallByReference)->Arg(1)->Arg(10);

// Setting up a device: `range(0)` actions subscribing to one rule, then torn
// down. Linear in the number of actions, like subscribing them to separate
// rules.
void BM_SubscribeActionsToOneRule(benchmark::State& state) {
  std::uint64_t sum = 0;
  for (auto _ : state) {
    auto const source = std::make_shared<orv::observable::Observable>(1);
    std::vector<std::shared_ptr<CountingAction>> actions;
    actions.reserve(static_cast<std::size_t>(state.range(0)));
    for (int i = 0; i < state.range(0); ++i) {
      actions.push_back(orv::action::MakeShared<CountingAction>(sum));
      actions.back()->AddObservable(source);
    }
  }
  state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(BM_SubscribeActionsToOneRule)->Arg(1000)->Arg(20000)->Unit(benchmark::kMillisecond);

}  // namespace
