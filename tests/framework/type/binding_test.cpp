#include "orv/type/binding.hpp"

#include <gtest/gtest.h>

#include <type_traits>
#include <utility>

namespace orv::type {
namespace {

static_assert(!std::is_copy_constructible_v<Binding>);
static_assert(std::is_nothrow_move_constructible_v<Binding>);

TEST(Binding, DestructionEndsTheSubscriptionOnce) {
  int ended = 0;
  {
    Binding binding([&] { ++ended; });
    EXPECT_TRUE(binding);
  }
  EXPECT_EQ(ended, 1);
}

TEST(Binding, UnbindEndsOnceAndLeavesTheHandleEmpty) {
  int ended = 0;
  {
    Binding binding([&] { ++ended; });
    binding.Unbind();
    EXPECT_EQ(ended, 1);
    EXPECT_FALSE(binding);
    binding.Unbind();
  }
  EXPECT_EQ(ended, 1);
}

TEST(Binding, MoveTakesTheSubscriptionOver) {
  int ended = 0;
  Binding first([&] { ++ended; });
  Binding second(std::move(first));
  EXPECT_FALSE(first);  // NOLINT(bugprone-use-after-move): moved-from is empty by contract
  EXPECT_TRUE(second);
  first.Unbind();
  EXPECT_EQ(ended, 0);
  second.Unbind();
  EXPECT_EQ(ended, 1);
}

TEST(Binding, AssignmentEndsThePreviousSubscription) {
  int endedOld = 0;
  int endedNew = 0;
  Binding binding([&] { ++endedOld; });
  binding = Binding([&] { ++endedNew; });
  EXPECT_EQ(endedOld, 1);
  EXPECT_EQ(endedNew, 0);
  binding = Binding();
  EXPECT_EQ(endedNew, 1);
  EXPECT_FALSE(binding);
}

TEST(Binding, EmptyHandleIsHarmless) {
  Binding binding;
  EXPECT_FALSE(binding);
  binding.Unbind();
}

}  // namespace
}  // namespace orv::type
