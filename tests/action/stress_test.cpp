#include <gtest/gtest.h>

#include <atomic>
#include <cstdint>
#include <iostream>
#include <memory>
#include <thread>

#include "orv/action/action.hpp"
#include "recording_action.hpp"

namespace orv::action {
namespace {

std::atomic<long> gCallsOnDeadActions{0};
std::atomic<long> gExecuted{0};

// Its members are torn down before the base's: an event reaching it after its
// destructor has begun is counted.
class CanaryAction : public Action {
 public:
  static constexpr std::uint64_t kAlive = 0xA11FE0A11FE0A11FULL;
  static constexpr std::uint64_t kDead = 0xDEADDEADDEADDEADULL;

  CanaryAction() : Action(hash::MurmurThree32("orv.test.CanaryAction"), {}) { SetAlwaysTrigger(true); }
  CanaryAction(CanaryAction const&) = delete;
  CanaryAction& operator=(CanaryAction const&) = delete;
  ~CanaryAction() override { canary_.store(kDead); }

  Result Execute(std::shared_ptr<meta::data::Event const>) const override {
    if (canary_.load() != kAlive) {
      ++gCallsOnDeadActions;
    }
    ++gExecuted;
    return {};
  }

 private:
  std::atomic<std::uint64_t> canary_{kAlive};
};

TEST(ActionStress, NoEventReachesAnActionBeingDestroyed) {
  auto const source = std::make_shared<observable::Observable>(1);
  std::atomic<bool> stop{false};
  std::thread publisher([&] {
    auto const event = testing::MakeEvent("stress");
    while (!stop.load(std::memory_order_relaxed)) {
      source->Publish(event);
    }
  });
  for (int round = 0; round < 10000; ++round) {
    auto action = MakeShared<CanaryAction>();
    action->AddObservable(source);
    if (round % 4 == 0) {
      std::this_thread::yield();
    }
    action.reset();
  }
  stop = true;
  publisher.join();
  EXPECT_EQ(gCallsOnDeadActions.load(), 0);
  EXPECT_EQ(source->GetSubscriptionCount(), 0U);
  std::cout << "events executed during the stress run: " << gExecuted.load() << '\n';
}

}  // namespace
}  // namespace orv::action
