#include <gtest/gtest.h>

#include <chrono>
#include <sstream>
#include <stdexcept>
#include <string>
#include <thread>
#include <typeinfo>

#include "orv/action/action.hpp"
#include "orv/action/registry.hpp"
#include "orv/arm/state.hpp"
#include "orv/meta/data/channel.hpp"
#include "orv/meta/data/observable.hpp"
#include "probe.hpp"

namespace orv::action {
namespace {

using test::Probe;

// A type registered for these tests; Probe's own type name is not registered.
constexpr char const* kRegistered = "orv.test.diagnostics.Registered";

std::vector<property::Schema> NoSchemas() { return {}; }

class Diagnostics : public testing::Test {
 protected:
  static void SetUpTestSuite() {
    registry::Get().Add(registry::Info(
        hash::MurmurThree32(kRegistered), kRegistered,
        [] { return MakeShared<Probe>(hash::MurmurThree32(kRegistered)); }, &NoSchemas));
  }
  void SetUp() override { arm::SetState(0); }
  void TearDown() override { arm::SetState(0); }

  static std::shared_ptr<meta::data::Event> MakeEvent(meta::data::Objects objects) {
    return std::make_shared<meta::data::Event>("rule fired", "type", "category", meta::data::TimePoint{},
                                               std::move(objects));
  }

  std::shared_ptr<Probe> registered_ = MakeShared<Probe>(hash::MurmurThree32(kRegistered));
  std::shared_ptr<Probe> unregistered_ = MakeShared<Probe>();
};

TEST_F(Diagnostics, TestRunsExecuteOnADisarmedDeviceWithASyntheticEvent) {
  ASSERT_FALSE(registered_->GetAlwaysTrigger());
  auto const before = std::chrono::system_clock::now();
  auto const result = registered_->Test("x");
  auto const after = std::chrono::system_clock::now();

  auto const events = registered_->GetEvents();
  ASSERT_EQ(events.size(), 1U);
  EXPECT_EQ(result, registered_->GetResults().at(0));
  auto const& event = *events[0];
  EXPECT_EQ(event.GetTypeNameId(), object::TypeIdOf<meta::data::Event>);
  EXPECT_EQ(event.GetName(), "x");
  EXPECT_EQ(event.GetType(), "test");
  EXPECT_EQ(event.GetCategory(), "test_category");
  EXPECT_TRUE(event.GetObjects().empty());
  EXPECT_GE(event.GetStart(), before);
  EXPECT_LE(event.GetStart(), after);
  // Made by std::make_shared: the event is shareable from itself.
  EXPECT_EQ(event.shared_from_this().get(), &event);
}

TEST_F(Diagnostics, TestBypassesTheGateWhateverTheFlag) {
  registered_->SetAlwaysTrigger(true);
  registered_->Test("one");
  arm::SetState(2);
  registered_->SetAlwaysTrigger(false);
  registered_->Test("two");
  auto const events = registered_->GetEvents();
  ASSERT_EQ(events.size(), 2U);
  EXPECT_EQ(events[1]->GetName(), "two");
}

// Records whether each Execute ran inside Test; throws for events named "throw".
class TestWatcher : public Action {
 public:
  static constexpr char const* kTypeName = "orv.test.diagnostics.TestWatcher";
  TestWatcher() : Action(hash::MurmurThree32(kTypeName), {}) {}
  Result Execute(std::shared_ptr<meta::data::Event const> event) const override {
    seen_.push_back(IsTesting());
    if (event->GetName() == "throw") {
      throw std::runtime_error("thrown inside Test");
    }
    if (event->GetName() == "nested") {
      // Not a test: the thread is inside one all the same.
      Execute(std::make_shared<meta::data::Event>("inner", "type", "category", meta::data::TimePoint{},
                                                  meta::data::Objects{}));
    }
    if (event->GetName() == "other thread") {
      // Another thread is not inside the test that runs on this one.
      bool other = true;
      std::thread([&other] { other = IsTesting(); }).join();
      seen_.push_back(other);
    }
    return {};
  }
  std::vector<bool> const& Seen() const { return seen_; }

 private:
  mutable std::vector<bool> seen_;
};

TEST_F(Diagnostics, IsTestingHoldsOnlyWhileTestRunsExecute) {
  auto const watcher = MakeShared<TestWatcher>();
  EXPECT_FALSE(Action::IsTesting());
  static_cast<Action const&>(*watcher).Execute(MakeEvent({}));
  watcher->Test("fine");
  EXPECT_FALSE(Action::IsTesting());
  EXPECT_THROW(watcher->Test("throw"), std::runtime_error);
  EXPECT_FALSE(Action::IsTesting());
  watcher->Test("nested");
  watcher->Test("other thread");
  arm::SetState(1);
  watcher->Process(MakeEvent({}));
  EXPECT_EQ(watcher->Seen(), (std::vector<bool>{false, true, true, true, true, true, false, false}));
}

TEST_F(Diagnostics, AuditMessageWithAChannelAndARule) {
  auto const event =
      MakeEvent({std::make_shared<meta::data::Channel>(2, "front"), std::make_shared<meta::data::Observable>(7)});
  EXPECT_EQ(registered_->GetAuditMessage(event),
            "channel_id:2:action_id:" + std::to_string(registered_->GetId()) + ":rule_id:7");
}

TEST_F(Diagnostics, AuditMessageWithoutAChannel) {
  auto const event = MakeEvent({std::make_shared<meta::data::Observable>(7)});
  EXPECT_EQ(registered_->GetAuditMessage(event), "action_id:" + std::to_string(registered_->GetId()) + ":rule_id:7");
}

TEST_F(Diagnostics, AuditMessageWithoutARuleHasTheAllOnesRuleId) {
  EXPECT_EQ(registered_->GetAuditMessage(MakeEvent({})),
            "action_id:" + std::to_string(registered_->GetId()) + ":rule_id:4294967295");
  auto const withChannel = MakeEvent({std::make_shared<meta::data::Channel>(4294967295U, "last")});
  EXPECT_EQ(registered_->GetAuditMessage(withChannel),
            "channel_id:4294967295:action_id:" + std::to_string(registered_->GetId()) + ":rule_id:4294967295");
}

TEST_F(Diagnostics, AuditMessageTakesTheFirstChannelAndTheFirstRule) {
  auto const event =
      MakeEvent({std::make_shared<meta::data::Observable>(11), std::make_shared<meta::data::Channel>(3, "first"),
                 std::make_shared<meta::data::Observable>(12), std::make_shared<meta::data::Channel>(4, "second")});
  EXPECT_EQ(unregistered_->GetAuditMessage(event),
            "channel_id:3:action_id:" + std::to_string(unregistered_->GetId()) + ":rule_id:11");
}

TEST_F(Diagnostics, AuditMessageIgnoresOtherObjects) {
  auto const event = MakeEvent({MakeEvent({}), std::make_shared<meta::data::Observable>(5)});
  EXPECT_EQ(registered_->GetAuditMessage(event), "action_id:" + std::to_string(registered_->GetId()) + ":rule_id:5");
}

TEST_F(Diagnostics, GetTypeNameIsTheRegisteredTextOrNull) {
  EXPECT_EQ(registered_->GetTypeName(), kRegistered);
  EXPECT_EQ(unregistered_->GetTypeName(), nullptr);
}

TEST_F(Diagnostics, BadCastErrorNamesBothTypes) {
  type::BadCast const error = registered_->BadCastError("acme.action.Mail");
  EXPECT_STREQ(error.what(),
               "Failed to cast the action from 'orv.test.diagnostics.Registered' to a 'acme.action.Mail'");
  std::bad_cast const& standard = error;
  EXPECT_STREQ(standard.what(), error.what());
}

TEST_F(Diagnostics, BadCastErrorStopsAtAMissingTypeName) {
  EXPECT_STREQ(unregistered_->BadCastError("acme.action.Mail").what(), "Failed to cast the action from '");
}

TEST_F(Diagnostics, BadCastErrorStopsAtAMissingTarget) {
  EXPECT_STREQ(registered_->BadCastError(nullptr).what(),
               "Failed to cast the action from 'orv.test.diagnostics.Registered' to a '");
}

TEST_F(Diagnostics, StreamsTheTypeNameUnquotedAndTheId) {
  std::ostringstream stream;
  stream << *registered_;
  EXPECT_TRUE(stream.good());
  EXPECT_EQ(stream.str(),
            "{\"typename\":orv.test.diagnostics.Registered,\"id\":" + std::to_string(registered_->GetId()) + "}");
}

TEST_F(Diagnostics, StreamingAnUnregisteredActionFailsTheStreamAfterTheKey) {
  std::ostringstream stream;
  stream << *unregistered_ << "ignored";
  EXPECT_EQ(stream.rdstate(), std::ios_base::badbit | std::ios_base::failbit);
  EXPECT_EQ(stream.str(), "{\"typename\":");
}

}  // namespace
}  // namespace orv::action
