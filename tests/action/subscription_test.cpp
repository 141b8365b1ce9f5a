#include <gtest/gtest.h>

#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "orv/action/action.hpp"
#include "orv/arm/state.hpp"
#include "recording_action.hpp"

namespace orv::action {
namespace {

using testing::MakeEvent;
using testing::RecordingAction;
using Names = std::vector<std::string>;

std::shared_ptr<observable::Observable> MakeObservable(std::uint32_t id) {
  return std::make_shared<observable::Observable>(id);
}

// Every test here triggers always, so the armed state plays no part.
std::shared_ptr<RecordingAction> MakeAction(Action::Observables observables = {}) {
  auto action = MakeShared<RecordingAction>(std::move(observables));
  action->SetAlwaysTrigger(true);
  return action;
}

TEST(ActionSubscriptions, ConstructionSubscribesEachObservableOnceInOrder) {
  auto const a = MakeObservable(1);
  auto const b = MakeObservable(2);
  auto const action = MakeAction({a, b});
  EXPECT_EQ(action->GetObservables(), (Action::Observables{a, b}));
  EXPECT_EQ(a->GetSubscriptionCount(), 1U);
  EXPECT_EQ(b->GetSubscriptionCount(), 1U);
  a->Publish(MakeEvent("from a"));
  b->Publish(MakeEvent("from b"));
  EXPECT_EQ(action->GetExecuted(), (Names{"from a", "from b"}));
}

TEST(ActionSubscriptions, EventsArriveThroughTheGate) {
  auto const a = MakeObservable(1);
  auto const action = MakeShared<RecordingAction>(Action::Observables{a});
  arm::SetState(0);
  a->Publish(MakeEvent("disarmed"));
  arm::SetState(1);
  a->Publish(MakeEvent("armed"));
  arm::SetState(0);
  EXPECT_EQ(action->GetExecuted(), (Names{"armed"}));
}

TEST(ActionSubscriptions, AddingTheSameObservableTwiceProcessesEachEventTwice) {
  auto const a = MakeObservable(1);
  auto const action = MakeAction();
  action->AddObservable(a);
  action->AddObservable(a);
  EXPECT_EQ(action->GetObservables(), (Action::Observables{a, a}));
  EXPECT_EQ(a->GetSubscriptionCount(), 2U);
  a->Publish(MakeEvent("e"));
  EXPECT_EQ(action->GetExecuted(), (Names{"e", "e"}));
}

TEST(ActionSubscriptions, EraseRemovesOnlyTheFirstOfTwo) {
  auto const a = MakeObservable(1);
  auto const b = MakeObservable(2);
  auto const action = MakeAction({a, b, a});
  EXPECT_TRUE(action->EraseObservable(a));
  EXPECT_EQ(action->GetObservables(), (Action::Observables{b, a}));
  EXPECT_EQ(a->GetSubscriptionCount(), 1U);
  a->Publish(MakeEvent("once"));
  EXPECT_EQ(action->GetExecuted(), (Names{"once"}));
}

TEST(ActionSubscriptions, ErasingAnAbsentObservableChangesNothing) {
  auto const a = MakeObservable(1);
  auto const b = MakeObservable(2);
  auto const action = MakeAction({a});
  EXPECT_FALSE(action->EraseObservable(b));
  EXPECT_EQ(action->GetObservables(), (Action::Observables{a}));
  EXPECT_EQ(a->GetSubscriptionCount(), 1U);
}

TEST(ActionSubscriptions, EraseMatchesByIdNotByAddress) {
  auto const a = MakeObservable(1);
  auto const sameId = MakeObservable(1);
  auto const action = MakeAction({a});
  EXPECT_TRUE(action->EraseObservable(sameId));
  EXPECT_TRUE(action->GetObservables().empty());
  EXPECT_EQ(a->GetSubscriptionCount(), 0U);
  a->Publish(MakeEvent("gone"));
  EXPECT_TRUE(action->GetExecuted().empty());
}

TEST(ActionSubscriptions, SetAtTheSameObservableKeepsItsSubscription) {
  auto const a = MakeObservable(1);
  auto const action = MakeAction({a});
  action->SetAtObservable(0, a);
  EXPECT_EQ(a->GetSubscriptionCount(), 1U);
  a->Publish(MakeEvent("e"));
  EXPECT_EQ(action->GetExecuted(), (Names{"e"}));
}

TEST(ActionSubscriptions, SetAtReplacesTheObservableAndItsSubscription) {
  auto const a = MakeObservable(1);
  auto const b = MakeObservable(2);
  auto const c = MakeObservable(3);
  auto const action = MakeAction({a, b});
  action->SetAtObservable(0, c);
  EXPECT_EQ(action->GetObservables(), (Action::Observables{c, b}));
  EXPECT_EQ(a->GetSubscriptionCount(), 0U);
  EXPECT_EQ(c->GetSubscriptionCount(), 1U);
  a->Publish(MakeEvent("old"));
  c->Publish(MakeEvent("new"));
  EXPECT_EQ(action->GetExecuted(), (Names{"new"}));
}

TEST(ActionSubscriptions, SetAtPastTheEndThrowsAndChangesNothing) {
  auto const a = MakeObservable(1);
  auto const b = MakeObservable(2);
  auto const x = MakeObservable(9);
  auto const action = MakeAction({a, b});
  try {
    action->SetAtObservable(2, x);
    FAIL() << "no out_of_range";
  } catch (std::out_of_range const& failure) {
    EXPECT_STREQ(failure.what(), "vector::_M_range_check: __n (which is 2) >= this->size() (which is 2)");
  }
  EXPECT_EQ(action->GetObservables(), (Action::Observables{a, b}));
  EXPECT_EQ(x->GetSubscriptionCount(), 0U);
}

TEST(ActionSubscriptions, SetObservablesReplacesEverySubscription) {
  auto const a = MakeObservable(1);
  auto const b = MakeObservable(2);
  auto const action = MakeAction({a});
  action->SetObservables({b, b});
  EXPECT_EQ(action->GetObservables(), (Action::Observables{b, b}));
  EXPECT_EQ(a->GetSubscriptionCount(), 0U);
  EXPECT_EQ(b->GetSubscriptionCount(), 2U);
}

TEST(ActionSubscriptions, SetObservablesToNothingUnbindsAndClears) {
  auto const a = MakeObservable(1);
  auto const b = MakeObservable(2);
  auto const action = MakeAction({a, b});
  action->SetObservables({});
  EXPECT_TRUE(action->GetObservables().empty());
  EXPECT_EQ(a->GetSubscriptionCount(), 0U);
  EXPECT_EQ(b->GetSubscriptionCount(), 0U);
  a->Publish(MakeEvent("e"));
  EXPECT_TRUE(action->GetExecuted().empty());
}

TEST(ActionSubscriptions, TheActionSharesItsObservables) {
  auto a = MakeObservable(1);
  std::weak_ptr<observable::Observable> const watch = a;
  auto const action = MakeAction({a});
  a.reset();
  EXPECT_FALSE(watch.expired());
  action->SetObservables({});
  EXPECT_TRUE(watch.expired());
}

TEST(ActionSubscriptions, DestroyingTheActionEndsItsSubscriptions) {
  auto const a = MakeObservable(1);
  {
    auto const action = MakeAction({a, a});
    EXPECT_EQ(a->GetSubscriptionCount(), 2U);
  }
  EXPECT_EQ(a->GetSubscriptionCount(), 0U);
  a->Publish(MakeEvent("after"));
}

class OtherEvent : public meta::data::Event {
 public:
  static constexpr char const* kTypeName = "orv.test.OtherEvent";
  OtherEvent() : Event(object::TypeIdOf<OtherEvent>, "other", "t", "c", meta::data::TimePoint(), {}) {}
};

TEST(ActionSubscriptions, ActionsOfOtherEventTypesAreNotCalled) {
  auto const a = MakeObservable(1);
  auto const action = MakeAction({a});
  a->Publish(std::make_shared<OtherEvent>());
  EXPECT_TRUE(action->GetExecuted().empty());
}

}  // namespace
}  // namespace orv::action
