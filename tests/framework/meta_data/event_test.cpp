#include "orv/meta/data/event.hpp"

#include <gtest/gtest.h>

#include <chrono>
#include <memory>

#include "orv/meta/data/channel.hpp"
#include "orv/meta/data/observable.hpp"

namespace orv::meta::data {
namespace {

TEST(Event, ANewEventHasIdZeroAndEndsWhenItStarts) {
  TimePoint const start(std::chrono::seconds(5));
  Event const event("name", "motion", "video", start, {});
  EXPECT_EQ(event.GetId(), 0U);
  EXPECT_EQ(event.GetName(), "name");
  EXPECT_EQ(event.GetType(), "motion");
  EXPECT_EQ(event.GetCategory(), "video");
  EXPECT_EQ(event.GetStart(), start);
  EXPECT_EQ(event.GetEnd(), start);
}

TEST(FindFirst, GivesTheFirstObjectOfExactlyThatKind) {
  auto const first = std::make_shared<Channel const>(1, "a");
  auto const second = std::make_shared<Channel const>(2, "b");
  Objects const objects{std::make_shared<Observable const>(7), first, second};
  EXPECT_EQ(FindFirst<Channel>(objects), first.get());
  EXPECT_EQ(FindFirst<Observable>(objects)->GetId(), 7U);
  EXPECT_EQ(FindFirst<Channel>(Objects{std::make_shared<Observable const>(7)}), nullptr);
  EXPECT_EQ(FindFirst<Channel>(Objects{}), nullptr);
}

}  // namespace
}  // namespace orv::meta::data
