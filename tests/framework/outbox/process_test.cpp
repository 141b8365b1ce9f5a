// The process's outbox: installing it registers the network actions' senders,
// and Attach keeps each action's registration up to date.

#include "orv/outbox/process.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "fixture.hpp"

namespace orv::outbox::test {
namespace {

// One network action as the process sees it: a name and a sender that tags
// what it sends with the sender's generation, so that a test sees which
// registration sent a message.
class FakeAction {
 public:
  explicit FakeAction(std::string name, std::optional<Gate> gate = std::nullopt)
      : name_(std::move(name)), gate_(std::move(gate)) {}

  std::string Key() const { return MakeActionKey("orv.test.Fake", name_); }
  void Rename(std::string name) { name_ = std::move(name); }
  void ChangeSettings() {
    ++generation_;
    endpoint_.Changed();
  }
  std::shared_ptr<Outbox> Attach() { return endpoint_.Attach(Key()); }
  Endpoint& GetEndpoint() { return endpoint_; }
  int CountTerms() const { return terms_; }
  struct Log {
    std::mutex mutex;
    std::vector<std::string> sent;
  };
  static std::vector<std::string> SentIn(Log& log) {
    std::lock_guard const lock(log.mutex);
    return log.sent;
  }
  std::vector<std::string> Sent() const { return SentIn(*log_); }
  std::shared_ptr<Log> GetLog() const { return log_; }

 private:
  Endpoint::Terms MakeTerms() {
    ++terms_;
    return {[log = log_, generation = generation_.load(), gate = gate_](Message const& message) {
              if (gate) {
                gate->Wait();
              }
              std::lock_guard const lock(log->mutex);
              log->sent.push_back(message.payload + "@" + std::to_string(generation));
              return Outcome::Sent();
            },
            RetryPolicy{}};
  }

  std::string name_;
  std::optional<Gate> gate_;
  std::atomic<int> generation_{1};
  int terms_ = 0;
  std::shared_ptr<Log> log_ = std::make_shared<Log>();
  Endpoint endpoint_{[this] { return Key(); }, [this] { return MakeTerms(); }};
};

class ProcessOutbox : public OutboxTest {
 protected:
  void TearDown() override { Install(nullptr); }

  std::shared_ptr<Outbox> OpenShared() { return std::make_shared<Outbox>(MakeSettings()); }
};

TEST(ActionKey, IsTheTypeNameASlashAndTheName) {
  EXPECT_EQ(MakeActionKey("orv.action.Request", "door"), "orv.action.Request/door");
  EXPECT_EQ(MakeActionKey("orv.action.Mail", ""), "orv.action.Mail/");
  EXPECT_EQ(MakeActionKey("orv.action.Mail", "a/b"), "orv.action.Mail/a/b");
}

TEST_F(ProcessOutbox, WithoutAnInstalledOutboxNothingIsAttached) {
  FakeAction action("door");
  EXPECT_EQ(GetInstalled(), nullptr);
  EXPECT_EQ(action.Attach(), nullptr);
  EXPECT_EQ(action.CountTerms(), 0);
}

TEST_F(ProcessOutbox, InstallingRegistersEveryActionSoThatOldMessagesGoOut) {
  // Messages of an earlier run, with no sender in that run.
  {
    auto const earlier = Open();
    earlier->Accept(MakeSubmission("orv.test.Fake/door", "left over"));
    earlier->Flush();
  }
  FakeAction door("door");
  FakeAction gate("gate");
  auto const outbox = OpenShared();
  EXPECT_EQ(Install(outbox), nullptr);
  EXPECT_EQ(GetInstalled(), outbox);
  EXPECT_EQ(door.CountTerms(), 1);
  EXPECT_EQ(gate.CountTerms(), 1);
  ASSERT_TRUE(Eventually([&] { return door.Sent().size() == 1; }));
  EXPECT_EQ(door.Sent(), std::vector<std::string>{"left over@1"});
  EXPECT_TRUE(gate.Sent().empty());
  EXPECT_TRUE(outbox->GetCounters("orv.test.Fake/gate").hasSender);
  // Already registered: attaching costs nothing more.
  EXPECT_EQ(door.Attach(), outbox);
  EXPECT_EQ(door.CountTerms(), 1);
}

TEST_F(ProcessOutbox, AttachRegistersAfreshWhenTheSettingsOrTheKeyChange) {
  FakeAction action("door");
  auto const outbox = OpenShared();
  Install(outbox);
  outbox->Accept(MakeSubmission(action.Key(), "first"));
  ASSERT_TRUE(Eventually([&] { return action.Sent().size() == 1; }));

  action.ChangeSettings();
  EXPECT_EQ(action.Attach(), outbox);
  EXPECT_EQ(action.CountTerms(), 2);
  outbox->Accept(MakeSubmission(action.Key(), "second"));
  ASSERT_TRUE(Eventually([&] { return action.Sent().size() == 2; }));
  EXPECT_EQ(action.Sent().back(), "second@2");

  action.Rename("front door");
  EXPECT_EQ(action.Attach(), outbox);
  EXPECT_EQ(action.CountTerms(), 3);
  EXPECT_TRUE(outbox->GetCounters("orv.test.Fake/front door").hasSender);
  // The old key keeps its sender: its messages still go out.
  EXPECT_TRUE(outbox->GetCounters("orv.test.Fake/door").hasSender);
}

TEST_F(ProcessOutbox, AnActionMadeAfterTheInstallationRegistersAtItsFirstAttach) {
  auto const outbox = OpenShared();
  Install(outbox);
  FakeAction late("late");
  EXPECT_FALSE(outbox->GetCounters(late.Key()).hasSender);
  EXPECT_EQ(late.Attach(), outbox);
  EXPECT_TRUE(outbox->GetCounters(late.Key()).hasSender);
}

TEST_F(ProcessOutbox, TwoActionsWithOneKeyAreRefusedAndNothingChanges) {
  FakeAction first("door");
  FakeAction second("door");
  auto const outbox = OpenShared();
  try {
    Install(outbox);
    FAIL() << "installed with a duplicate key";
  } catch (std::invalid_argument const& error) {
    EXPECT_STREQ(error.what(),
                 "two network actions have the key 'orv.test.Fake/door' (the same type and name): each needs a name "
                 "of its own, since its messages are kept under it");
  }
  EXPECT_EQ(GetInstalled(), nullptr);
  EXPECT_EQ(first.CountTerms() + second.CountTerms(), 0);
  auto keys = GetActionKeys();
  std::sort(keys.begin(), keys.end());
  EXPECT_EQ(keys, (std::vector<std::string>{"orv.test.Fake/door", "orv.test.Fake/door"}));

  second.Rename("gate");
  Install(outbox);
  // A rename into a key another action holds is refused at the event.
  second.Rename("door");
  EXPECT_THROW(second.Attach(), std::invalid_argument);
  EXPECT_EQ(first.Attach(), outbox);
}

TEST_F(ProcessOutbox, AWithdrawnActionsSenderStillDeliversWhatWasAccepted) {
  auto const outbox = OpenShared();
  Gate gate;
  std::function<std::vector<std::string>()> sent;
  {
    FakeAction action("door", gate);
    sent = [log = action.GetLog()] { return FakeAction::SentIn(*log); };
    Install(outbox);
    outbox->Accept(MakeSubmission(action.Key(), "one"));
    outbox->Accept(MakeSubmission(action.Key(), "two"));
    ASSERT_TRUE(Eventually([&] { return gate.CountArrived() == 1; }));
  }
  EXPECT_TRUE(GetActionKeys().empty());
  gate.Open();
  outbox->Accept(MakeSubmission("orv.test.Fake/door", "three"));
  ASSERT_TRUE(Eventually([&] { return outbox->GetCounters("orv.test.Fake/door").sent == 3; }));
  EXPECT_EQ(sent(), (std::vector<std::string>{"one@1", "two@1", "three@1"}));
}

TEST_F(ProcessOutbox, ReplacingTheOutboxRegistersWithTheNewOne) {
  FakeAction action("door");
  auto const first = OpenShared();
  Install(first);
  first->Shutdown();
  TemporaryDirectory other;
  auto settings = MakeSettings();
  settings.path = other / "second.db";
  auto const second = std::make_shared<Outbox>(settings);
  EXPECT_EQ(Install(second), first);
  EXPECT_EQ(action.CountTerms(), 2);
  EXPECT_EQ(action.Attach(), second);
  EXPECT_EQ(Install(nullptr), second);
  EXPECT_EQ(action.Attach(), nullptr);
}

TEST_F(ProcessOutbox, CountersAddEachActionsCoolDownToTheOutboxs) {
  FakeAction door("door");
  FakeAction gate("gate");
  door.GetEndpoint().CountCooledDown();
  door.GetEndpoint().CountCooledDown();
  EXPECT_EQ(door.GetEndpoint().GetCooledDown(), 2U);
  auto counters = GetActionCounters();
  ASSERT_EQ(counters.size(), 2U);
  EXPECT_EQ(counters["orv.test.Fake/door"].cooledDown, 2U);
  EXPECT_EQ(counters["orv.test.Fake/gate"].cooledDown, 0U);

  auto const outbox = OpenShared();
  Install(outbox);
  outbox->Accept(MakeSubmission(door.Key(), "one"));
  ASSERT_TRUE(Eventually([&] { return door.Sent().size() == 1; }));
  counters = GetActionCounters();
  EXPECT_EQ(counters["orv.test.Fake/door"].accepted, 1U);
  EXPECT_EQ(counters["orv.test.Fake/door"].sent, 1U);
  EXPECT_EQ(counters["orv.test.Fake/door"].cooledDown, 2U);
  EXPECT_TRUE(counters["orv.test.Fake/gate"].hasSender);
  EXPECT_EQ(outbox->GetCounters(door.Key()).cooledDown, 0U);
}

}  // namespace
}  // namespace orv::outbox::test
