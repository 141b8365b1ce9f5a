#include "orv/arm/state.hpp"

#include <gtest/gtest.h>

#include <thread>

namespace orv::arm {
namespace {

TEST(ArmState, StartsDisarmed) { EXPECT_EQ(GetState(), 0); }

TEST(ArmState, KeepsTheLastValueSet) {
  SetState(1);
  EXPECT_EQ(GetState(), 1);
  SetState(2);
  EXPECT_EQ(GetState(), 2);
  SetState(0);
  EXPECT_EQ(GetState(), 0);
}

TEST(ArmState, IsSharedAcrossThreads) {
  std::thread([] { SetState(1); }).join();
  EXPECT_EQ(GetState(), 1);
  SetState(0);
}

}  // namespace
}  // namespace orv::arm
