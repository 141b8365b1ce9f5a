#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstdint>
#include <memory>
#include <thread>

#include "orv/action/action.hpp"
#include "recording_action.hpp"

namespace orv::action {
namespace {

using Clock = std::chrono::steady_clock;

// Spins until `flag` is set or `limit` has passed; true when it was set.
bool AwaitFlag(std::atomic<bool> const& flag, Clock::duration limit) {
  auto const deadline = Clock::now() + limit;
  while (!flag.load()) {
    if (Clock::now() > deadline) {
      return false;
    }
    std::this_thread::yield();
  }
  return true;
}

// Shared by the test thread and the action it is destroying.
struct Round {
  std::atomic<bool> executing{false};   // a delivery to the action has begun
  std::atomic<bool> destroying{false};  // the test thread is about to destroy the action
  std::atomic<long> overlaps{0};        // deliveries still running when destruction began
  std::atomic<long> callsOnDeadActions{0};
};

// Its members are torn down before the base's. Each delivery announces itself,
// waits until the test thread has begun destroying the action, lingers a
// little, and then checks that the action is still whole.
class CanaryAction : public Action {
 public:
  static constexpr std::uint64_t kAlive = 0xA11FE0A11FE0A11FULL;
  static constexpr std::uint64_t kDead = 0xDEADDEADDEADDEADULL;

  explicit CanaryAction(Round& round) : Action(hash::MurmurThree32("orv.test.CanaryAction"), {}), round_(round) {
    SetAlwaysTrigger(true);
  }
  CanaryAction(CanaryAction const&) = delete;
  CanaryAction& operator=(CanaryAction const&) = delete;
  ~CanaryAction() override { canary_.store(kDead); }

  Result Execute(std::shared_ptr<meta::data::Event const>) const override {
    round_.executing = true;
    if (AwaitFlag(round_.destroying, std::chrono::seconds(5))) {
      ++round_.overlaps;
      // Long enough for a destructor that does not wait for this delivery to
      // have destroyed the members.
      std::this_thread::sleep_for(std::chrono::microseconds(50));
    }
    if (canary_.load() != kAlive) {
      ++round_.callsOnDeadActions;
    }
    return {};
  }

 private:
  Round& round_;
  std::atomic<std::uint64_t> canary_{kAlive};
};

// Every round destroys an action while one of its deliveries runs on the
// publisher's thread, so the window between the start of destruction and the
// end of the subscription is exercised each time, not only by chance.
TEST(ActionStress, NoEventReachesAnActionBeingDestroyed) {
  constexpr int kRounds = 500;
  auto const source = std::make_shared<observable::Observable>(1);
  std::atomic<bool> stop{false};
  std::thread publisher([&] {
    auto const event = testing::MakeEvent("stress");
    while (!stop.load()) {
      source->Publish(event);
    }
  });
  Round round;
  long rounds = 0;
  for (; rounds < kRounds; ++rounds) {
    round.executing = false;
    round.destroying = false;
    auto action = MakeShared<CanaryAction>(round);
    action->AddObservable(source);
    if (!AwaitFlag(round.executing, std::chrono::seconds(5))) {
      break;
    }
    round.destroying = true;
    action.reset();
  }
  stop = true;
  publisher.join();
  EXPECT_EQ(rounds, kRounds) << "the publisher stopped delivering";
  // At least one delivery per round overlapped the destruction. More may: a
  // delivery can begin after the first ends and before the subscription is
  // gone, while the action is still whole (the canary checks that).
  EXPECT_GE(round.overlaps.load(), kRounds);
  EXPECT_EQ(round.callsOnDeadActions.load(), 0);
  EXPECT_EQ(source->GetSubscriptionCount(), 0U);
}

}  // namespace
}  // namespace orv::action
