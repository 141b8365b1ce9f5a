// orv.action.Mail through the process's outbox, against the real local SMTP
// server: a stable Message-ID on every attempt, and failures classified.

#include <gtest/gtest.h>

#include <chrono>
#include <cstdint>
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
using Texts = std::vector<std::string>;
using Integer = object::Primitive<std::int64_t>;

std::string const kCertificates = ORV_TEST_WORK_DIR "/mail-delivery-certificates";
std::string const kKey = "orv.action.Mail/alarm";

// The Message-Id header of a mail's text, angle brackets included.
std::string MessageIdIn(std::string const& data) {
  auto const start = data.find("\r\nMessage-Id: ");
  if (start == std::string::npos) {
    return "<none>";
  }
  auto const value = start + 14;
  return data.substr(value, data.find("\r\n", value) - value);
}

class MailDelivery : public ::testing::Test {
 protected:
  static void SetUpTestSuite() {
    loader_ = std::make_unique<action::plugin::Loader>(true);
    MakeCertificates(kCertificates);
    server_ = std::make_unique<ServerProcess>("smtp_server.py", kCertificates);
  }
  static void TearDownTestSuite() { server_.reset(); }

  void SetUp() override {
    orv::log::SetSink([this](orv::log::Record const& record) {
      std::lock_guard const lock(mutex_);
      logged_.push_back(std::string(record.source) + ": " + std::string(record.text));
    });
    action_ = MakeAction("orv.action.Mail");
    Set(action_, "name", "alarm");
    Set(action_, "host", "127.0.0.1");
    Set(action_, "security", "none");
    Set(action_, "port", Integer(server_->Port("plain")));
    Set(action_, "from", "camera@example.test");
    Set(action_, "to", object::Primitive<Texts>({"flaky@example.test"}));
    Set(action_, "subject", "Alarm: {{the_event.name}}");
    Set(action_, "body", "Event {{the_event.name}}");
    outbox::Settings settings;
    settings.path = directory_ / "outbox.db";
    settings.clock = clock_.AsClock();
    settings.jitter = [] { return 1.0; };
    outbox_ = std::make_shared<outbox::Outbox>(settings);
    outbox::Install(outbox_);
  }
  void TearDown() override {
    outbox::Install(nullptr);
    outbox_->Shutdown();
    action_.reset();
    orv::log::SetSink(nullptr);
  }

  void Execute(std::string name) {
    static_cast<action::Action const&>(*action_).Execute(std::make_shared<meta::data::Event const>(
        std::move(name), "t", "c", std::chrono::system_clock::now(),
        meta::data::Objects{std::make_shared<meta::data::Observable const>(1)}));
  }

  std::vector<std::string> Logged() {
    std::lock_guard const lock(mutex_);
    return logged_;
  }

  static inline std::unique_ptr<action::plugin::Loader> loader_;
  static inline std::unique_ptr<ServerProcess> server_;
  outbox::test::TemporaryDirectory directory_;
  FakeClock clock_;
  std::shared_ptr<outbox::Outbox> outbox_;
  std::shared_ptr<action::Action> action_;
  std::mutex mutex_;
  std::vector<std::string> logged_;
};

TEST_F(MailDelivery, ARefusedMailIsSentAgainWithTheSameMessageId) {
  Execute("door");
  std::string const refused = server_->Next()["refused_message_id"];
  outbox::Message pending;
  ASSERT_TRUE(Eventually([&] {
    auto const list = outbox_->ListPending();
    if (list.size() == 1 && list[0].attempts == 1) {
      pending = list[0];
      return true;
    }
    return false;
  }));
  EXPECT_EQ(refused, "<orv." + pending.deliveryId + "@example.test>");
  EXPECT_EQ(pending.lastCode, 3U);
  EXPECT_EQ(pending.nextAttemptAt - FakeClock::kStart, seconds(1));
  EXPECT_EQ(pending.destination,
            "smtp://127.0.0.1:" + std::to_string(server_->Port("plain")) + " to flaky@example.test");
  clock_.Set(pending.nextAttemptAt);
  outbox_->Wake();
  auto const mail = server_->Next();
  EXPECT_EQ(mail["subject"], "Alarm: door");
  EXPECT_EQ(MessageIdIn(mail["data"]), refused);
  EXPECT_TRUE(Eventually([&] { return outbox_->GetCounters(kKey).sent == 1; }));
  EXPECT_EQ(outbox_->GetCounters(kKey).retried, 1U);
  auto const logged = Logged();
  ASSERT_EQ(logged.size(), 1U);
  EXPECT_EQ(logged[0].rfind(
                "orv.action.Mail: \"alarm\": delivery " + pending.deliveryId + " failed (transient, code 3): ", 0),
            0U)
      << logged[0];
}

TEST_F(MailDelivery, ARefusedLoginIsPermanentAndItsPasswordIsNotStored) {
  Set(action_, "to", object::Primitive<Texts>({"a@example.test"}));
  Set(action_, "username", "alice");
  Set(action_, "password", "wr0ng-s3cret");
  Execute("door");
  ASSERT_TRUE(Eventually([&] { return outbox_->GetCounters(kKey).dead == 1; }));
  outbox_->Flush();
  auto const dead = outbox_->ListDead();
  ASSERT_EQ(dead.size(), 1U);
  EXPECT_EQ(dead[0].deadReason, outbox::DeadReason::kPermanentFailure);
  EXPECT_EQ(dead[0].lastCode, 2U);
  EXPECT_EQ(dead[0].attempts, 1U);
  EXPECT_EQ(dead[0].lastDetail.rfind("Login denied; the server said: 535", 0), 0U) << dead[0].lastDetail;
  EXPECT_EQ(dead[0].payload.find("wr0ng-s3cret"), std::string::npos);
  EXPECT_EQ(dead[0].destination.find("wr0ng-s3cret"), std::string::npos);
  EXPECT_EQ(outbox_->GetCounters(kKey).retried, 0U);
  EXPECT_FALSE(server_->HasNext(milliseconds(300)));
}

TEST_F(MailDelivery, TestSendsAtOnceWithTheRealCode) {
  EXPECT_EQ(CodeOf([&] { action_->Test("t"); }), 3U);
  EXPECT_TRUE(server_->Next().contains("refused_message_id"));
  EXPECT_EQ(outbox_->GetCounters(kKey).accepted, 0U);
}

TEST_F(MailDelivery, CoolDownSkipsFurtherEventsOfTheRule) {
  Set(action_, "to", object::Primitive<Texts>({"a@example.test"}));
  Set(action_, "cooldown_s", Integer(600));
  Execute("one");
  Execute("two");
  EXPECT_EQ(server_->Next()["subject"], "Alarm: one");
  EXPECT_FALSE(server_->HasNext(milliseconds(300)));
  auto const counters = outbox::GetActionCounters().at(kKey);
  EXPECT_EQ(counters.accepted, 1U);
  EXPECT_EQ(counters.cooledDown, 1U);
}

}  // namespace
}  // namespace orv::test
