// orv.action.Mqtt through the process's outbox, against a real mosquitto
// broker: Execute hands over, the outbox publishes with the delivery id, a
// message counts as sent only once the broker acknowledged it, and a broker
// restart in the middle of a burst loses no QoS 1 message.

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "mqtt_broker.hpp"
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
using std::chrono::milliseconds;
using std::chrono::seconds;

std::string const kCertificates = ORV_TEST_WORK_DIR "/mqtt-delivery-certificates";

std::shared_ptr<meta::data::Event const> MakeEvent(std::string name) {
  return std::make_shared<meta::data::Event const>(
      std::move(name), "motion", "video", std::chrono::system_clock::now(),
      meta::data::Objects{std::make_shared<meta::data::Observable const>(1)});
}

class MqttDelivery : public ::testing::Test {
 protected:
  static void SetUpTestSuite() {
    loader_ = std::make_unique<action::plugin::Loader>(true);
    MakeCertificates(kCertificates);
  }

  void SetUp() override {
    broker_ = std::make_unique<MqttBroker>(ORV_TEST_WORK_DIR "/mqtt-delivery-broker", kCertificates);
    orv::log::SetSink([this](orv::log::Record const& record) {
      std::lock_guard const lock(mutex_);
      logged_.push_back(std::string(record.source) + ": " + std::string(record.text));
    });
    action_ = MakeAction("orv.action.Mqtt");
    Set(action_, "name", "door");
    Set(action_, "host", "127.0.0.1");
    Set(action_, "port", object::Primitive<std::int64_t>(broker_->Port()));
    Set(action_, "timeout_ms", object::Primitive<std::int64_t>(2000));
    Set(action_, "topic", "burst/{{the_event.name}}");
    Set(action_, "payload", "{{the_event.name}}");
    Set(action_, "retry_first_ms", object::Primitive<std::int64_t>(50));
    Set(action_, "retry_max_ms", object::Primitive<std::int64_t>(200));
  }
  void TearDown() override {
    outbox::Install(nullptr);
    if (outbox_) {
      outbox_->Shutdown();
    }
    action_.reset();
    orv::log::SetSink(nullptr);
    broker_.reset();
  }

  void OpenOutbox() {
    outbox::Settings settings;
    settings.path = directory_ / "outbox.db";
    settings.shutdownGrace = seconds(10);
    outbox_ = std::make_shared<outbox::Outbox>(settings);
    outbox::Install(outbox_);
  }

  void Execute(std::string const& name) { static_cast<action::Action const&>(*action_).Execute(MakeEvent(name)); }
  outbox::Counters Counters() const { return outbox_->GetCounters("orv.action.Mqtt/door"); }
  std::vector<std::string> Logged() {
    std::lock_guard const lock(mutex_);
    return logged_;
  }

  static inline std::unique_ptr<action::plugin::Loader> loader_;
  std::unique_ptr<MqttBroker> broker_;
  outbox::test::TemporaryDirectory directory_;
  std::shared_ptr<outbox::Outbox> outbox_;
  std::shared_ptr<action::Action> action_;
  std::mutex mutex_;
  std::vector<std::string> logged_;
};

TEST_F(MqttDelivery, ExecuteHandsOverAndTheOutboxPublishesWithTheDeliveryId) {
  OpenOutbox();
  Subscriber subscriber(broker_->Port(), "burst/#");
  Execute("door");
  auto const received = subscriber.Await(1);
  ASSERT_EQ(received.size(), 1U);
  EXPECT_EQ(received[0].topic, "burst/door");
  EXPECT_EQ(received[0].payload, "door");
  // 32 hexadecimal digits, a dash, the sequence number 1.
  EXPECT_EQ(received[0].deliveryId.size(), 34U) << received[0].deliveryId;
  EXPECT_EQ(received[0].deliveryId.substr(32), "-1");
  EXPECT_TRUE(Eventually([&] { return Counters().sent == 1; }));
  EXPECT_EQ(Counters().accepted, 1U);
  EXPECT_EQ(Logged(), std::vector<std::string>{});
}

TEST_F(MqttDelivery, EveryQos1MessageArrivesAcrossABrokerRestartInTheMiddleOfABurst) {
  // The subscriber stays on a broker of its own that the restarted one
  // forwards to: it sees what the restarted one took, whenever it took it.
  MqttBroker far(ORV_TEST_WORK_DIR "/mqtt-delivery-far-broker", kCertificates);
  broker_ = std::make_unique<MqttBroker>(ORV_TEST_WORK_DIR "/mqtt-delivery-broker", kCertificates, false, far.Port());
  Set(action_, "port", object::Primitive<std::int64_t>(broker_->Port()));
  OpenOutbox();
  Subscriber subscriber(far.Port(), "burst/#");
  constexpr int kMessages = 600;
  std::thread publisher([&] {
    for (int i = 0; i < kMessages; ++i) {
      Execute("m" + std::to_string(i));
      std::this_thread::sleep_for(milliseconds(1));
    }
  });
  ASSERT_TRUE(Eventually([&] { return subscriber.Messages().size() >= 100; }));
  broker_->Stop();
  std::this_thread::sleep_for(milliseconds(300));
  broker_->Start();
  publisher.join();

  ASSERT_TRUE(Eventually([&] { return Counters().sent == kMessages; }, seconds(60)))
      << "sent " << Counters().sent << ", pending " << Counters().pending;
  std::set<std::string> names;
  EXPECT_TRUE(Eventually(
      [&] {
        names.clear();
        for (auto const& message : subscriber.Messages()) {
          names.insert(message.payload);
        }
        return names.size() == kMessages;
      },
      seconds(30)));
  for (int i = 0; i < kMessages; ++i) {
    EXPECT_TRUE(names.contains("m" + std::to_string(i))) << "m" << i << " never arrived";
  }
  EXPECT_EQ(Counters().dead, 0U);
  // The restart did come in the middle: attempts failed and were retried.
  EXPECT_GT(Counters().retried, 0U);
  bool transient = false;
  for (auto const& line : Logged()) {
    transient = transient || line.find("failed (transient, code 13)") != std::string::npos;
  }
  EXPECT_TRUE(transient);
}

TEST_F(MqttDelivery, AWrongPasswordIsRetriedWithTheBrokersReasonLogged) {
  OpenOutbox();
  Set(action_, "port", object::Primitive<std::int64_t>(broker_->PasswordPort()));
  Set(action_, "username", "camera");
  Set(action_, "password", "wrong");
  Execute("e");
  ASSERT_TRUE(Eventually([&] { return Counters().retried >= 1; }));
  auto const pending = outbox_->ListPending();
  ASSERT_EQ(pending.size(), 1U);
  EXPECT_EQ(pending[0].destination, "mqtt://127.0.0.1:" + std::to_string(broker_->PasswordPort()) + "/burst/e");
  auto const logged = Logged();
  ASSERT_FALSE(logged.empty());
  EXPECT_EQ(logged[0],
            "orv.action.Mqtt: \"door\": delivery " + pending[0].deliveryId +
                " failed (transient, code 13): the broker 127.0.0.1:" + std::to_string(broker_->PasswordPort()) +
                " refused the connection: Not authorized (reason code 135)");
  EXPECT_EQ(Counters().sent, 0U);
  // Set right, the message goes out.
  Subscriber subscriber(broker_->Port(), "burst/#");
  Set(action_, "password", "secret");
  Execute("f");
  auto const received = subscriber.Await(2);
  std::set<std::string> names;
  for (auto const& message : received) {
    names.insert(message.payload);
  }
  EXPECT_EQ(names, (std::set<std::string>{"e", "f"}));
}

TEST_F(MqttDelivery, ACertificateThatDoesNotVerifyKillsTheMessageAtOnce) {
  MqttBroker selfSigned(ORV_TEST_WORK_DIR "/mqtt-delivery-self-broker", kCertificates, true);
  OpenOutbox();
  Set(action_, "tls", object::Primitive<bool>(true));
  Set(action_, "port", object::Primitive<std::int64_t>(selfSigned.TlsPort()));
  Set(action_, "ca_file", (kCertificates + "/ca.pem").c_str());
  Execute("e");
  ASSERT_TRUE(Eventually([&] { return Counters().dead == 1; }));
  auto const dead = outbox_->ListDead();
  ASSERT_EQ(dead.size(), 1U);
  EXPECT_EQ(dead[0].attempts, 1U);
  EXPECT_EQ(Counters().retried, 0U);
}

TEST_F(MqttDelivery, TestPublishesAtOnceEvenWithAnOutbox) {
  OpenOutbox();
  Set(action_, "host", "broker.invalid");
  EXPECT_EQ(CodeOf([&] { action_->Test("t"); }), 11U);
  EXPECT_EQ(Counters().accepted, 0U);
  EXPECT_TRUE(outbox_->ListPending().empty());
}

}  // namespace
}  // namespace orv::test
