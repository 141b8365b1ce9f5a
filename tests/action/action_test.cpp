#include "orv/action/action.hpp"

#include <gtest/gtest.h>

#include <memory>
#include <set>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "orv/arm/state.hpp"
#include "recording_action.hpp"

namespace orv::action {
namespace {

using testing::MakeEvent;
using testing::RecordingAction;

class ArmedStateGuard {
 public:
  explicit ArmedStateGuard(std::uint8_t state) { arm::SetState(state); }
  ~ArmedStateGuard() { arm::SetState(0); }
};

TEST(Action, ANewActionHasAnEmptyNameAndAlwaysTriggerOff) {
  auto const action = MakeShared<RecordingAction>();
  EXPECT_EQ(action->GetName(), "");
  EXPECT_FALSE(action->GetAlwaysTrigger());
  EXPECT_TRUE(action->GetObservables().empty());
  EXPECT_EQ(action->GetTypeNameId(), hash::MurmurThree32("orv.test.RecordingAction"));
}

TEST(Action, IdsIncreaseByOne) {
  auto const first = MakeShared<RecordingAction>();
  auto const second = MakeShared<RecordingAction>();
  EXPECT_EQ(second->GetId(), first->GetId() + 1);
}

TEST(Action, IdsAreUniqueWhenBuiltOnManyThreads) {
  std::vector<std::uint32_t> ids[2];
  std::thread threads[2];
  for (int t = 0; t < 2; ++t) {
    threads[t] = std::thread([&ids, t] {
      for (int i = 0; i < 500; ++i) {
        ids[t].push_back(MakeShared<RecordingAction>()->GetId());
      }
    });
  }
  for (auto& thread : threads) {
    thread.join();
  }
  std::set<std::uint32_t> unique(ids[0].begin(), ids[0].end());
  unique.insert(ids[1].begin(), ids[1].end());
  EXPECT_EQ(unique.size(), 1000U);
}

TEST(Action, NameAndFlagAreKept) {
  auto const action = MakeShared<RecordingAction>();
  action->SetName("Mail the guard");
  action->SetAlwaysTrigger(true);
  EXPECT_EQ(action->GetName(), "Mail the guard");
  EXPECT_TRUE(action->GetAlwaysTrigger());
  action->SetAlwaysTrigger(false);
  EXPECT_FALSE(action->GetAlwaysTrigger());
}

TEST(Action, DisarmedWithoutAlwaysTriggerProcessReturnsNothingAndDoesNotExecute) {
  ArmedStateGuard const disarmed(0);
  auto const action = MakeShared<RecordingAction>();
  EXPECT_EQ(action->Process(MakeEvent("e")), nullptr);
  EXPECT_TRUE(action->GetExecuted().empty());
}

TEST(Action, AnyStateOtherThanOneCountsAsNotArmed) {
  auto const action = MakeShared<RecordingAction>();
  for (std::uint8_t const state : {0, 2, 3, 255}) {
    ArmedStateGuard const guard(state);
    EXPECT_EQ(action->Process(MakeEvent("e")), nullptr) << int(state);
  }
  EXPECT_TRUE(action->GetExecuted().empty());
}

TEST(Action, ArmedProcessReturnsTheResultOfExecute) {
  ArmedStateGuard const armed(1);
  auto const action = MakeShared<RecordingAction>();
  auto const result = action->Process(MakeEvent("armed"));
  ASSERT_NE(result, nullptr);
  EXPECT_EQ(*std::static_pointer_cast<std::string const>(result), "armed");
  EXPECT_EQ(action->GetExecuted(), std::vector<std::string>{"armed"});
}

TEST(Action, AlwaysTriggerExecutesWhileDisarmed) {
  ArmedStateGuard const disarmed(0);
  auto const action = MakeShared<RecordingAction>();
  action->SetAlwaysTrigger(true);
  EXPECT_NE(action->Process(MakeEvent("always")), nullptr);
  EXPECT_EQ(action->GetExecuted(), std::vector<std::string>{"always"});
}

TEST(Action, ExecuteFailuresReachTheCaller) {
  class Failing : public Action {
   public:
    Failing() : Action(hash::MurmurThree32("orv.test.Failing"), {}) {}
    Result Execute(std::shared_ptr<meta::data::Event const>) const override {
      throw std::runtime_error("could not send");
    }
  };
  auto const action = MakeShared<Failing>();
  action->SetAlwaysTrigger(true);
  EXPECT_THROW(static_cast<void>(action->Process(MakeEvent("e"))), std::runtime_error);
}

TEST(Action, GetPtrSharesOwnership) {
  auto const action = MakeShared<RecordingAction>();
  std::shared_ptr<Action> const ptr = action->GetPtr();
  EXPECT_EQ(ptr.get(), action.get());
  std::shared_ptr<Action const> const constPtr = std::as_const(*action).GetPtr();
  EXPECT_EQ(constPtr.get(), action.get());
  EXPECT_EQ(action.use_count(), 3);
}

TEST(Action, GetPtrOnAnActionOnTheStackThrowsBadWeakPtr) {
  RecordingAction onTheStack;
  EXPECT_THROW(static_cast<void>(onTheStack.GetPtr()), std::bad_weak_ptr);
  EXPECT_THROW(static_cast<void>(std::as_const(onTheStack).GetPtr()), std::bad_weak_ptr);
}

TEST(Action, MakeSharedGivesTheConcreteType) {
  std::shared_ptr<RecordingAction> const action = MakeShared<RecordingAction>();
  std::shared_ptr<Action> const base = action;
  EXPECT_EQ(base->GetTypeNameId(), hash::MurmurThree32(RecordingAction::kTypeName));
}

}  // namespace
}  // namespace orv::action
