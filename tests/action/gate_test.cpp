#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

#include "orv/arm/state.hpp"
#include "recording_action.hpp"

namespace {
int gStateCalls = 0;
std::uint8_t gState = 0;
}  // namespace

// This definition in the executable takes the place of the arm library's for
// every caller in the process, liborv_action included.
std::uint8_t orv::arm::GetState() noexcept {
  ++gStateCalls;
  return gState;
}

namespace orv::action {
namespace {

using testing::MakeEvent;
using testing::RecordingAction;

TEST(Gate, AlwaysTriggerDoesNotAskForTheArmedState) {
  auto const action = MakeShared<RecordingAction>();
  action->SetAlwaysTrigger(true);
  gState = 0;
  gStateCalls = 0;
  auto const result = action->Process(MakeEvent("e"));
  EXPECT_EQ(gStateCalls, 0);
  ASSERT_TRUE(result);
  EXPECT_EQ(*std::static_pointer_cast<std::string const>(result), "e");
}

TEST(Gate, WithoutAlwaysTriggerTheStateIsAskedOnEveryEvent) {
  auto const action = MakeShared<RecordingAction>();
  gStateCalls = 0;
  for (std::uint8_t const state : {0, 2, 255, 1}) {
    gState = state;
    static_cast<void>(action->Process(MakeEvent(std::to_string(state))));
  }
  EXPECT_EQ(gStateCalls, 4);
  EXPECT_EQ(action->GetExecuted(), std::vector<std::string>{"1"});
}

}  // namespace
}  // namespace orv::action
