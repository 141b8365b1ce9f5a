#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <memory>
#include <thread>
#include <vector>

#include "orv/observable/observable.hpp"
#include "test_events.hpp"

namespace orv::observable {
namespace {

using testing::MakeEvent;
using EventPtr = std::shared_ptr<meta::data::Event const>;

void WaitFor(std::atomic<bool> const& flag) {
  while (!flag.load()) {
    std::this_thread::yield();
  }
}

TEST(ObservableConcurrency, UnbindOnAnotherThreadWaitsForTheRunningDelivery) {
  Observable observable(1);
  std::atomic<bool> entered{false};
  std::atomic<bool> release{false};
  std::atomic<bool> finished{false};
  std::atomic<int> calls{0};
  auto binding = observable.Bind([&](EventPtr) {
    ++calls;
    entered = true;
    WaitFor(release);
    finished = true;
  });
  std::thread publisher([&] { observable.Publish(MakeEvent()); });
  WaitFor(entered);
  std::atomic<bool> unbound{false};
  std::thread unbinder([&] {
    binding.Unbind();
    // The delivery that was running has finished by now.
    EXPECT_TRUE(finished.load());
    unbound = true;
  });
  std::this_thread::sleep_for(std::chrono::milliseconds(50));
  EXPECT_FALSE(unbound.load());
  release = true;
  unbinder.join();
  publisher.join();
  EXPECT_TRUE(unbound.load());
  observable.Publish(MakeEvent());
  EXPECT_EQ(calls.load(), 1);
}

TEST(ObservableConcurrency, UnbindFromInsideTheCallbackWhileAnotherThreadDeliversToo) {
  Observable observable(1);
  std::atomic<int> inside{0};
  std::atomic<bool> release{false};
  std::atomic<int> calls{0};
  type::Binding binding;
  std::atomic<bool> unbound{false};
  binding = observable.Bind([&](EventPtr event) {
    ++calls;
    ++inside;
    if (event->GetName() == "unbinder") {
      while (inside.load() < 2) {
        std::this_thread::yield();
      }
      release = true;
      binding.Unbind();  // waits for the other thread's delivery, not for its own
      unbound = true;
    } else {
      WaitFor(release);
      std::this_thread::sleep_for(std::chrono::milliseconds(20));
      EXPECT_FALSE(unbound.load());
    }
  });
  std::thread other([&] { observable.Publish(MakeEvent("other")); });
  observable.Publish(MakeEvent("unbinder"));
  other.join();
  EXPECT_TRUE(unbound.load());
  observable.Publish(MakeEvent());
  EXPECT_EQ(calls.load(), 2);
}

TEST(ObservableConcurrency, PublishingWhileSubscribingAndUnbindingOnOtherThreads) {
  auto observable = std::make_shared<Observable>(1);
  std::atomic<bool> stop{false};
  std::atomic<long> delivered{0};
  std::vector<std::thread> publishers;
  for (int i = 0; i < 2; ++i) {
    publishers.emplace_back([&] {
      while (!stop.load()) {
        observable->Publish(MakeEvent());
      }
    });
  }
  for (int round = 0; round < 2000; ++round) {
    // A callback that touches state owned by this round only: after Unbind
    // returns, it must never run again.
    auto alive = std::make_unique<std::atomic<int>>(1);
    auto binding = observable->Bind([&delivered, state = alive.get()](EventPtr) {
      EXPECT_EQ(state->load(), 1);
      ++delivered;
    });
    if (round % 2 == 0) {
      std::this_thread::yield();
    }
    binding.Unbind();
    alive->store(0);
  }
  stop = true;
  for (auto& publisher : publishers) {
    publisher.join();
  }
  EXPECT_EQ(observable->GetSubscriptionCount(), 0U);
}

}  // namespace
}  // namespace orv::observable
