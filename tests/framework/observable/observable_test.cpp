#include "orv/observable/observable.hpp"

#include <gtest/gtest.h>

#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "test_events.hpp"

namespace orv::observable {
namespace {

using testing::MakeEvent;
using testing::OtherEvent;
using EventPtr = std::shared_ptr<meta::data::Event const>;

TEST(Observable, HasItsId) { EXPECT_EQ(Observable(42).GetId(), 42U); }

TEST(Observable, DeliversToEverySubscriptionInSubscriptionOrderOnTheCallersThread) {
  Observable observable(1);
  std::vector<std::string> calls;
  auto const caller = std::this_thread::get_id();
  auto first = observable.Bind([&](EventPtr event) {
    EXPECT_EQ(std::this_thread::get_id(), caller);
    calls.push_back("first:" + event->GetName());
  });
  auto second = observable.Bind([&](EventPtr event) { calls.push_back("second:" + event->GetName()); });
  observable.Publish(MakeEvent("a"));
  observable.Publish(MakeEvent("b"));
  EXPECT_EQ(calls, (std::vector<std::string>{"first:a", "second:a", "first:b", "second:b"}));
}

TEST(Observable, TheAdaptedBindSeesEventsOnlyAndThePlainBindSeesAll) {
  Observable observable(1);
  int adapted = 0;
  int plain = 0;
  auto a = observable.Bind([&](EventPtr) { ++adapted; });
  auto p = observable.Bind(Callback([&](std::shared_ptr<meta::data::Event>) { ++plain; }));
  observable.Publish(std::make_shared<OtherEvent>());
  EXPECT_EQ(adapted, 0);
  EXPECT_EQ(plain, 1);
  observable.Publish(MakeEvent());
  EXPECT_EQ(adapted, 1);
  EXPECT_EQ(plain, 2);
}

TEST(Observable, NoCallAfterTheBindingIsDestroyed) {
  Observable observable(1);
  int calls = 0;
  {
    auto binding = observable.Bind([&](EventPtr) { ++calls; });
    observable.Publish(MakeEvent());
  }
  observable.Publish(MakeEvent());
  EXPECT_EQ(calls, 1);
  EXPECT_EQ(observable.GetSubscriptionCount(), 0U);
}

TEST(Observable, NoCallAfterTheBindingIsUnbound) {
  Observable observable(1);
  int calls = 0;
  auto binding = observable.Bind([&](EventPtr) { ++calls; });
  binding.Unbind();
  observable.Publish(MakeEvent());
  EXPECT_EQ(calls, 0);
}

TEST(Observable, NoCallAfterTheBindingIsAssignedOver) {
  Observable observable(1);
  Observable other(2);
  int calls = 0;
  auto binding = observable.Bind([&](EventPtr) { ++calls; });
  binding = other.Bind([](EventPtr) {});
  observable.Publish(MakeEvent());
  EXPECT_EQ(calls, 0);
  EXPECT_EQ(observable.GetSubscriptionCount(), 0U);
  EXPECT_EQ(other.GetSubscriptionCount(), 1U);
}

TEST(Observable, UnbindingFromInsideTheCallbackReturnsAtOnce) {
  Observable observable(1);
  int calls = 0;
  type::Binding binding;
  binding = observable.Bind([&](EventPtr) {
    ++calls;
    binding.Unbind();
  });
  observable.Publish(MakeEvent());
  observable.Publish(MakeEvent());
  EXPECT_EQ(calls, 1);
}

TEST(Observable, ALaterSubscriptionUnboundDuringADeliveryIsSkipped) {
  Observable observable(1);
  int laterCalls = 0;
  type::Binding later;
  auto first = observable.Bind([&](EventPtr) { later.Unbind(); });
  later = observable.Bind([&](EventPtr) { ++laterCalls; });
  observable.Publish(MakeEvent());
  EXPECT_EQ(laterCalls, 0);
}

TEST(Observable, SubscribingDuringADeliveryTakesEffectWithTheNextEvent) {
  Observable observable(1);
  int lateCalls = 0;
  std::optional<type::Binding> late;
  auto first = observable.Bind([&](EventPtr) {
    if (!late) {
      late = observable.Bind([&](EventPtr) { ++lateCalls; });
    }
  });
  observable.Publish(MakeEvent());
  EXPECT_EQ(lateCalls, 0);
  observable.Publish(MakeEvent());
  EXPECT_EQ(lateCalls, 1);
}

TEST(Observable, ABindingMayOutliveItsObservable) {
  type::Binding binding;
  {
    Observable observable(1);
    binding = observable.Bind([](EventPtr) {});
  }
  binding.Unbind();
  EXPECT_FALSE(binding);
}

TEST(Observable, PublishingAnEmptyEventIsRefused) {
  Observable observable(7);
  try {
    observable.Publish(nullptr);
    FAIL() << "no invalid_argument";
  } catch (std::invalid_argument const& failure) {
    EXPECT_STREQ(failure.what(), "Cannot publish an empty event on observable 7");
  }
}

TEST(Observable, ACallbacksExceptionReachesThePublisherAfterEveryCallbackRan) {
  Observable observable(1);
  std::vector<std::string> calls;
  auto first = observable.Bind([&](EventPtr) {
    calls.push_back("first");
    throw std::runtime_error("first failed");
  });
  auto second = observable.Bind([&](EventPtr) {
    calls.push_back("second");
    throw std::logic_error("second failed");
  });
  auto third = observable.Bind([&](EventPtr) { calls.push_back("third"); });
  try {
    observable.Publish(MakeEvent());
    FAIL() << "no exception";
  } catch (std::runtime_error const& failure) {
    EXPECT_STREQ(failure.what(), "first failed");
  }
  EXPECT_EQ(calls, (std::vector<std::string>{"first", "second", "third"}));
  first.Unbind();  // must not wait for the delivery that threw
  second.Unbind();
  observable.Publish(MakeEvent());
  EXPECT_EQ(calls.back(), "third");
}

TEST(Observable, AFailureHandlerSeesEachExceptionRightAfterItsCallback) {
  Observable observable(1);
  std::vector<std::string> calls;
  auto first = observable.Bind([&](EventPtr) {
    calls.push_back("first");
    throw std::runtime_error("first failed");
  });
  auto second = observable.Bind([&](EventPtr) { calls.push_back("second"); });
  observable.Publish(MakeEvent(), [&](std::exception_ptr failure) {
    try {
      std::rethrow_exception(failure);
    } catch (std::runtime_error const& error) {
      calls.push_back(std::string("handled: ") + error.what());
    }
  });
  EXPECT_EQ(calls, (std::vector<std::string>{"first", "handled: first failed", "second"}));
}

TEST(Observable, CountsLiveSubscriptions) {
  Observable observable(1);
  auto a = observable.Bind([](EventPtr) {});
  auto b = observable.Bind([](EventPtr) {});
  EXPECT_EQ(observable.GetSubscriptionCount(), 2U);
  a.Unbind();
  EXPECT_EQ(observable.GetSubscriptionCount(), 1U);
}

}  // namespace
}  // namespace orv::observable
