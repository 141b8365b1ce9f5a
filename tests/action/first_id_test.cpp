#include <gtest/gtest.h>

#include "orv/observable/observable.hpp"
#include "recording_action.hpp"

namespace orv::action {
namespace {

TEST(ActionId, TheFirstActionOfAProcessIsZeroAndTheNextOne) {
  auto const first = MakeShared<testing::RecordingAction>();
  auto const second =
      MakeShared<testing::RecordingAction>(Action::Observables{std::make_shared<observable::Observable const>(1)});
  EXPECT_EQ(first->GetId(), 0U);
  EXPECT_EQ(second->GetId(), 1U);
}

}  // namespace
}  // namespace orv::action
