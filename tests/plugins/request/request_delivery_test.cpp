// orv.action.Request through the process's outbox, against the real local
// HTTP server: Execute hands over and returns, workers send with a stable
// Idempotency-Key, failures are classified and retried on a fake clock.

#include <gtest/gtest.h>

#include <chrono>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "orv/action/loader.hpp"
#include "orv/log/sink.hpp"
#include "orv/meta/data/event.hpp"
#include "orv/meta/data/observable.hpp"
#include "orv/object/primitive.hpp"
#include "orv/outbox/outbox.hpp"
#include "orv/outbox/process.hpp"
#include "outbox_test_support.hpp"
#include "servers.hpp"

namespace orv::test {
namespace {

using outbox::test::Eventually;
using outbox::test::FakeClock;
using std::chrono::milliseconds;
using std::chrono::seconds;

std::string const kCertificates = ORV_TEST_WORK_DIR "/request-delivery-certificates";

std::shared_ptr<meta::data::Event const> MakeEvent(std::string name, std::uint32_t rule = 1) {
  return std::make_shared<meta::data::Event const>(
      std::move(name), "t", "c", std::chrono::system_clock::now(),
      meta::data::Objects{std::make_shared<meta::data::Observable const>(rule)});
}

std::string HeaderOf(nlohmann::json const& request, std::string const& name) {
  for (auto const& header : request["headers"]) {
    if (header[0] == name) {
      return header[1];
    }
  }
  return "<none>";
}

class RequestDelivery : public ::testing::Test {
 protected:
  static void SetUpTestSuite() {
    loader_ = std::make_unique<action::plugin::Loader>(true);
    MakeCertificates(kCertificates);
    server_ = std::make_unique<ServerProcess>("http_server.py", kCertificates);
  }
  static void TearDownTestSuite() { server_.reset(); }

  void SetUp() override {
    orv::log::SetSink([this](orv::log::Record const& record) {
      std::lock_guard const lock(mutex_);
      logged_.push_back(std::string(record.source) + ": " + std::string(record.text));
    });
    while (server_->HasNext(milliseconds(0))) {
      server_->Next();
    }
  }
  void TearDown() override {
    outbox::Install(nullptr);
    if (outbox_) {
      outbox_->Shutdown();
    }
    actions_.clear();
    orv::log::SetSink(nullptr);
  }

  // A Request action named `name` posting to `uri`.
  std::shared_ptr<action::Action> AddAction(std::string const& name, std::string const& uri) {
    auto action = MakeAction("orv.action.Request");
    Set(action, "name", name.c_str());
    Set(action, "uri", uri.c_str());
    Set(action, "body", "{{the_event.name}}");
    actions_.push_back(action);
    return action;
  }

  // Opens the outbox on the fake clock, with jitter 1 (each wait its full
  // ceiling), and installs it.
  void OpenOutbox(std::size_t maxPending = 10'000) {
    outbox::Settings settings;
    settings.path = directory_ / "outbox.db";
    settings.clock = clock_.AsClock();
    settings.jitter = [] { return 1.0; };
    settings.maxPendingMessages = maxPending;
    settings.shutdownGrace = seconds(10);
    outbox_ = std::make_shared<outbox::Outbox>(settings);
    outbox::Install(outbox_);
  }

  void Execute(std::shared_ptr<action::Action> const& action, std::string const& name, std::uint32_t rule = 1) {
    static_cast<action::Action const&>(*action).Execute(MakeEvent(name, rule));
  }

  outbox::Counters CountersOf(std::string const& name) const {
    return outbox_->GetCounters("orv.action.Request/" + name);
  }

  // The first pending message of action `name` once it has failed `attempts` times.
  outbox::Message AwaitAttempts(std::uint32_t attempts, std::string const& name = {}) const {
    outbox::Message found;
    EXPECT_TRUE(Eventually([&] {
      for (auto const& message : outbox_->ListPending()) {
        if (name.empty() || message.actionKey == "orv.action.Request/" + name) {
          found = message;
          return message.attempts == attempts;
        }
      }
      return false;
    })) << "attempt "
        << attempts;
    return found;
  }

  void AdvanceTo(outbox::TimePoint to) {
    clock_.Set(to);
    outbox_->Wake();
  }

  std::vector<std::string> Logged() {
    std::lock_guard const lock(mutex_);
    return logged_;
  }

  std::string Http(std::string const& path) const {
    return "http://127.0.0.1:" + std::to_string(server_->Port("http")) + path;
  }

  static inline std::unique_ptr<action::plugin::Loader> loader_;
  static inline std::unique_ptr<ServerProcess> server_;
  outbox::test::TemporaryDirectory directory_;
  FakeClock clock_;
  std::shared_ptr<outbox::Outbox> outbox_;
  std::vector<std::shared_ptr<action::Action>> actions_;
  std::mutex mutex_;
  std::vector<std::string> logged_;
};

TEST_F(RequestDelivery, ExecuteHandsOverAndAWorkerSendsWithItsDeliveryIdAsIdempotencyKey) {
  OpenOutbox();
  auto const action = AddAction("hook", Http("/hook"));
  Set(action, "headers", "Idempotency-Key: from-the-configuration");
  Execute(action, "door");
  auto const request = server_->Next();
  EXPECT_EQ(request["target"], "/hook");
  EXPECT_EQ(request["body"], "door");
  std::string const key = HeaderOf(request, "Idempotency-Key");
  EXPECT_EQ(key.size(), 34U) << key;  // 32 hexadecimal digits, a dash, the sequence number 1
  EXPECT_EQ(key.substr(32), "-1");
  int keys = 0;
  for (auto const& header : request["headers"]) {
    keys += header[0] == "Idempotency-Key" ? 1 : 0;
  }
  EXPECT_EQ(keys, 1);
  EXPECT_TRUE(Eventually([&] { return CountersOf("hook").sent == 1; }));
  EXPECT_EQ(CountersOf("hook").accepted, 1U);
  EXPECT_TRUE(Logged().empty());
}

TEST_F(RequestDelivery, TestSendsAtOnceAndGetsTheRealFailureCode) {
  OpenOutbox();
  auto const action = AddAction("hook", Http("/status/503"));
  EXPECT_EQ(CodeOf([&] { action->Test("t"); }), 13U);
  EXPECT_EQ(HeaderOf(server_->Next(), "Idempotency-Key"), "<none>");
  EXPECT_EQ(CountersOf("hook").accepted, 0U);
  EXPECT_TRUE(outbox_->ListPending().empty());
}

TEST_F(RequestDelivery, WithoutAnOutboxExecuteSendsAtOnceAndThrows) {
  auto const action = AddAction("hook", Http("/status/500"));
  EXPECT_EQ(CodeOf([&] { Execute(action, "e"); }), 13U);
  EXPECT_EQ(HeaderOf(server_->Next(), "Idempotency-Key"), "<none>");
}

TEST_F(RequestDelivery, APublishDoesNotWaitForAServerThatAnswersAfterFiveSeconds) {
  OpenOutbox();
  auto const action = AddAction("slow", Http("/delay/5000"));
  Set(action, "timeout_ms", object::Primitive<std::int64_t>(10'000));
  Execute(action, "e");
  // Had Execute waited for the answer, the message would be sent by now.
  EXPECT_EQ(CountersOf("slow").sent, 0U);
  EXPECT_EQ(server_->Next()["target"], "/delay/5000");
  EXPECT_EQ(CountersOf("slow").sent, 0U);
  EXPECT_TRUE(Eventually([&] { return CountersOf("slow").sent == 1; }, seconds(30)));
}

TEST_F(RequestDelivery, APermanentFailureIsSentOnceAndDiesWithItsCode) {
  OpenOutbox();
  AddAction("gone", Http("/status/404"));
  Execute(actions_.back(), "e");
  EXPECT_EQ(server_->Next()["target"], "/status/404");
  ASSERT_TRUE(Eventually([&] { return CountersOf("gone").dead == 1; }));
  outbox_->Flush();
  auto const dead = outbox_->ListDead();
  ASSERT_EQ(dead.size(), 1U);
  EXPECT_EQ(dead[0].lastCode, 13U);
  EXPECT_EQ(dead[0].lastDetail, "HTTP status 404, expected 2xx: status 404 from the test server");
  EXPECT_EQ(dead[0].deadReason, outbox::DeadReason::kPermanentFailure);
  EXPECT_EQ(dead[0].attempts, 1U);
  EXPECT_EQ(CountersOf("gone").retried, 0U);
  EXPECT_FALSE(server_->HasNext(milliseconds(300)));
  EXPECT_EQ(Logged(), (std::vector<std::string>{"orv.action.Request: \"gone\": delivery " + dead[0].deliveryId +
                                                " failed (permanent, code 13): HTTP status 404, expected 2xx: "
                                                "status 404 from the test server"}));
}

TEST_F(RequestDelivery, TransientFailuresAreRetriedOnTheActionsScheduleWithTheSameKey) {
  OpenOutbox();
  auto const action = AddAction("busy", Http("/status/503"));
  Set(action, "retry_first_ms", object::Primitive<std::int64_t>(500));
  Set(action, "retry_factor", object::Primitive<std::int64_t>(3));
  Set(action, "retry_max_ms", object::Primitive<std::int64_t>(10'000));
  Execute(action, "e");
  auto at = FakeClock::kStart;
  std::string key;
  for (auto const& [attempt, wait] :
       {std::pair{1U, milliseconds(500)}, std::pair{2U, milliseconds(1500)}, std::pair{3U, milliseconds(4500)},
        std::pair{4U, milliseconds(10'000)}, std::pair{5U, milliseconds(10'000)}}) {
    auto const request = server_->Next();
    if (key.empty()) {
      key = HeaderOf(request, "Idempotency-Key");
    }
    EXPECT_EQ(HeaderOf(request, "Idempotency-Key"), key) << attempt;
    auto const pending = AwaitAttempts(attempt);
    EXPECT_EQ(pending.nextAttemptAt - at, wait) << attempt;
    EXPECT_EQ(pending.lastCode, 13U);
    EXPECT_EQ(pending.lastDetail, "HTTP status 503, expected 2xx: status 503 from the test server");
    at = pending.nextAttemptAt;
    AdvanceTo(at);
  }
  EXPECT_EQ(HeaderOf(server_->Next(), "Idempotency-Key"), key);
  EXPECT_EQ(CountersOf("busy").dead, 0U);
  EXPECT_GE(CountersOf("busy").retried, 5U);
}

TEST_F(RequestDelivery, RetryAfterIsHonouredAnd408And429AreTransient) {
  OpenOutbox();
  AddAction("limited", Http("/status/429?after=30"));
  Execute(actions_.back(), "e");
  EXPECT_EQ(server_->Next()["target"], "/status/429?after=30");
  EXPECT_EQ(AwaitAttempts(1, "limited").nextAttemptAt - FakeClock::kStart, seconds(30));
  AddAction("timeout", Http("/status/408"));
  Execute(actions_.back(), "e");
  EXPECT_EQ(server_->Next()["target"], "/status/408");
  EXPECT_EQ(AwaitAttempts(1, "timeout").nextAttemptAt - FakeClock::kStart, seconds(1));
  AdvanceTo(FakeClock::kStart + seconds(30));
  // Both tried again, then waiting again: the 408 for 2 s, the 429 for its Retry-After.
  std::map<std::string, int> again;
  for (int i = 0; i < 2; ++i) {
    again[server_->Next()["target"]] += 1;
  }
  EXPECT_EQ(again, (std::map<std::string, int>{{"/status/408", 1}, {"/status/429?after=30", 1}}));
  EXPECT_EQ(AwaitAttempts(2, "limited").nextAttemptAt - FakeClock::kStart, seconds(60));
  EXPECT_EQ(AwaitAttempts(2, "timeout").nextAttemptAt - FakeClock::kStart, seconds(32));
  EXPECT_EQ(CountersOf("limited").dead + CountersOf("timeout").dead, 0U);
}

TEST_F(RequestDelivery, AMessageStillFailingAtTheDeadlineGivesUpWithItsLastCode) {
  OpenOutbox();
  auto const action = AddAction("down", "http://127.0.0.1:" + std::to_string(RefusedPort()) + "/");
  Set(action, "give_up_after_s", object::Primitive<std::int64_t>(2));
  Execute(action, "e");
  auto const first = AwaitAttempts(1);
  EXPECT_EQ(first.nextAttemptAt - FakeClock::kStart, seconds(1));
  AdvanceTo(first.nextAttemptAt);
  auto const second = AwaitAttempts(2);
  EXPECT_EQ(second.nextAttemptAt - FakeClock::kStart, seconds(2));  // the deadline, not 3 s
  AdvanceTo(second.nextAttemptAt);
  ASSERT_TRUE(Eventually([&] { return CountersOf("down").dead == 1; }));
  outbox_->Flush();
  auto const dead = outbox_->ListDead();
  ASSERT_EQ(dead.size(), 1U);
  EXPECT_EQ(dead[0].deadReason, outbox::DeadReason::kGaveUp);
  EXPECT_EQ(dead[0].lastCode, 13U);
  EXPECT_EQ(dead[0].attempts, 3U);
}

TEST_F(RequestDelivery, WhileTheServerIsDownNothingIsLostAndEachActionKeepsItsOrder) {
  int const port = RefusedPort();
  OpenOutbox();
  std::string const base = "http://127.0.0.1:" + std::to_string(port);
  auto const a = AddAction("a", base + "/a");
  auto const b = AddAction("b", base + "/b");
  constexpr int kEach = 20;
  for (int i = 0; i < kEach; ++i) {
    Execute(a, "a" + std::to_string(i));
    Execute(b, "b" + std::to_string(i));
  }
  // Each action's first message failed and waits; the others wait behind it.
  ASSERT_TRUE(Eventually([&] { return CountersOf("a").retried >= 1 && CountersOf("b").retried >= 1; }));
  std::map<std::string, std::vector<std::string>> ids;
  for (auto const& message : outbox_->ListPending()) {
    ids[message.actionKey].push_back(message.deliveryId);
  }
  ASSERT_EQ(ids["orv.action.Request/a"].size(), static_cast<std::size_t>(kEach));
  ASSERT_EQ(ids["orv.action.Request/b"].size(), static_cast<std::size_t>(kEach));

  ServerProcess server("http_server.py", kCertificates, port);
  AdvanceTo(FakeClock::kStart + seconds(1));
  std::map<std::string, std::vector<std::string>> bodies;
  std::map<std::string, std::vector<std::string>> keys;
  for (int i = 0; i < 2 * kEach; ++i) {
    auto const request = server.Next();
    std::string const target = request["target"];
    bodies[target].push_back(request["body"]);
    keys[target].push_back(HeaderOf(request, "Idempotency-Key"));
  }
  for (int i = 0; i < kEach; ++i) {
    EXPECT_EQ(bodies["/a"][static_cast<std::size_t>(i)], "a" + std::to_string(i));
    EXPECT_EQ(bodies["/b"][static_cast<std::size_t>(i)], "b" + std::to_string(i));
  }
  EXPECT_EQ(keys["/a"], ids["orv.action.Request/a"]);
  EXPECT_EQ(keys["/b"], ids["orv.action.Request/b"]);
  EXPECT_TRUE(Eventually([&] { return CountersOf("a").sent == kEach && CountersOf("b").sent == kEach; }));
  EXPECT_EQ(CountersOf("a").dead + CountersOf("b").dead, 0U);
}

TEST_F(RequestDelivery, MessagesOfAnEarlierRunAreSentOnceTheOutboxIsInstalledAgain) {
  int const port = RefusedPort();
  OpenOutbox();
  auto const action = AddAction("later", "http://127.0.0.1:" + std::to_string(port) + "/later");
  for (int i = 0; i < 3; ++i) {
    Execute(action, "e" + std::to_string(i));
  }
  AwaitAttempts(1);  // fails only when each of the three is pending behind the first
  std::vector<std::string> ids;
  for (auto const& message : outbox_->ListPending()) {
    ids.push_back(message.deliveryId);
  }
  ASSERT_EQ(ids.size(), 3U);
  outbox::Install(nullptr);
  outbox_->Shutdown();

  ServerProcess server("http_server.py", kCertificates, port);
  OpenOutbox();                               // the same file; no new event
  AdvanceTo(FakeClock::kStart + seconds(1));  // the first one's retry time
  for (int i = 0; i < 3; ++i) {
    auto const request = server.Next();
    EXPECT_EQ(request["body"], "e" + std::to_string(i));
    EXPECT_EQ(HeaderOf(request, "Idempotency-Key"), ids[static_cast<std::size_t>(i)]);
  }
  EXPECT_TRUE(Eventually([&] { return CountersOf("later").sent == 3 && CountersOf("later").pending == 0; }));
}

TEST_F(RequestDelivery, WhenTheOutboxIsFullTheOldestMessageDiesCounted) {
  OpenOutbox(2);
  auto const action = AddAction("full", "http://127.0.0.1:" + std::to_string(RefusedPort()) + "/");
  Execute(action, "first");
  AwaitAttempts(1);  // being retried: not being sent, so it can be pushed out
  Execute(action, "second");
  Execute(action, "third");
  outbox_->Flush();
  auto const counters = CountersOf("full");
  EXPECT_EQ(counters.accepted, 3U);
  EXPECT_EQ(counters.dead, 1U);
  EXPECT_EQ(counters.skipped, 1U);
  EXPECT_EQ(counters.pending, 2U);
  auto const dead = outbox_->ListDead();
  ASSERT_EQ(dead.size(), 1U);
  EXPECT_EQ(dead[0].deadReason, outbox::DeadReason::kOutboxFull);
  EXPECT_EQ(dead[0].deliveryId.substr(32), "-1");
}

TEST_F(RequestDelivery, CoolDownSkipsAndCountsFurtherEventsOfTheSameRule) {
  OpenOutbox();
  auto const action = AddAction("calm", Http("/calm"));
  Set(action, "cooldown_s", object::Primitive<std::int64_t>(3600));
  Execute(action, "r7-1", 7);
  Execute(action, "r7-2", 7);
  Execute(action, "r8-1", 8);
  Execute(action, "r7-3", 7);
  EXPECT_EQ(server_->Next()["body"], "r7-1");
  EXPECT_EQ(server_->Next()["body"], "r8-1");
  EXPECT_FALSE(server_->HasNext(milliseconds(300)));
  auto const counters = outbox::GetActionCounters().at("orv.action.Request/calm");
  EXPECT_EQ(counters.accepted, 2U);
  EXPECT_EQ(counters.cooledDown, 2U);
  // Test is never cooled down.
  EXPECT_EQ(CodeOf([&] { action->Test("t"); }), 0U);
  EXPECT_EQ(server_->Next()["target"], "/calm");
}

TEST_F(RequestDelivery, CoolDownAppliesWithoutAnOutboxToo) {
  auto const action = AddAction("calm", Http("/calm"));
  Set(action, "cooldown_s", object::Primitive<std::int64_t>(3600));
  Execute(action, "one", 3);
  Execute(action, "two", 3);
  EXPECT_EQ(server_->Next()["body"], "one");
  EXPECT_FALSE(server_->HasNext(milliseconds(300)));
  EXPECT_EQ(outbox::GetActionCounters().at("orv.action.Request/calm").cooledDown, 1U);
}

}  // namespace
}  // namespace orv::test
