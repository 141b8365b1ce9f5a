#include "orv/observable/callback.hpp"

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <stdexcept>
#include <vector>

#include "test_events.hpp"

namespace orv::observable {
namespace {

using testing::MakeEvent;
using testing::OtherEvent;

TEST(MakeCallback, PassesEventsOnAsTheSameObject) {
  std::vector<meta::data::Event const*> seen;
  Callback const callback =
      function::MakeCallback([&](std::shared_ptr<meta::data::Event const> event) { seen.push_back(event.get()); });
  auto const event = MakeEvent();
  callback(event);
  ASSERT_EQ(seen.size(), 1U);
  EXPECT_EQ(seen[0], event.get());
}

TEST(MakeCallback, DropsOtherObjectTypesSilently) {
  int calls = 0;
  Callback const callback = function::MakeCallback([&](std::shared_ptr<meta::data::Event const>) { ++calls; });
  EXPECT_NO_THROW(callback(std::make_shared<OtherEvent>()));
  EXPECT_EQ(calls, 0);
}

TEST(MakeCallback, KeepsSharedOwnership) {
  std::shared_ptr<meta::data::Event const> kept;
  Callback const callback =
      function::MakeCallback([&](std::shared_ptr<meta::data::Event const> event) { kept = std::move(event); });
  std::weak_ptr<meta::data::Event> watch;
  {
    auto event = MakeEvent();
    watch = event;
    callback(std::move(event));
  }
  EXPECT_FALSE(watch.expired());
  kept.reset();
  EXPECT_TRUE(watch.expired());
}

TEST(MakeCallback, EmptyWrappedFunctionThrowsAtDeliveryNotBefore) {
  std::function<void(std::shared_ptr<meta::data::Event const>)> empty;
  Callback const callback = function::MakeCallback(empty);
  EXPECT_THROW(callback(MakeEvent()), std::bad_function_call);
  EXPECT_NO_THROW(callback(std::make_shared<OtherEvent>()));
}

TEST(MakeCallback, ExceptionsOfTheWrappedFunctionPassThrough) {
  Callback const callback = function::MakeCallback(
      [](std::shared_ptr<meta::data::Event const>) { throw std::runtime_error("from the callback"); });
  EXPECT_THROW(callback(MakeEvent()), std::runtime_error);
}

}  // namespace
}  // namespace orv::observable
