// orv.action.Mqtt against a real mosquitto broker: what a subscriber
// receives, exactly; the failures and their codes; the properties; the
// discovery announcements. The plug-in is loaded as a host loads it.

#include <gtest/gtest.h>

#include <chrono>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <vector>

#include "mqtt_broker.hpp"
#include "orv/action/loader.hpp"
#include "orv/action/registry.hpp"
#include "orv/action/serialize.hpp"
#include "orv/action/template_data_json.hpp"
#include "orv/log/sink.hpp"
#include "orv/meta/data/event.hpp"
#include "orv/meta/data/host.hpp"
#include "orv/meta/data/observable.hpp"
#include "orv/object/primitive.hpp"
#include "orv/observable/observable.hpp"
#include "orv/property/primitive.hpp"
#include "servers.hpp"

namespace orv::test {
namespace {

using std::chrono::milliseconds;

std::string const kCertificates = ORV_TEST_WORK_DIR "/mqtt-action-certificates";

std::shared_ptr<meta::data::Event const> MakeEvent(std::string name, std::uint32_t rule = 17,
                                                   std::string type = "motion") {
  return std::make_shared<meta::data::Event const>(
      std::move(name), std::move(type), "video", std::chrono::system_clock::now(),
      meta::data::Objects{std::make_shared<meta::data::Observable const>(rule)});
}

// The device part of discovery topics on this machine.
std::string Device() {
  std::string id = meta::data::detail::GetHostName();
  for (char& c : id) {
    if (!((c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '_' || c == '-')) {
      c = '_';
    }
  }
  return id;
}

class MqttAction : public ::testing::Test {
 protected:
  static void SetUpTestSuite() {
    loader_ = std::make_unique<action::plugin::Loader>(true);
    MakeCertificates(kCertificates);
    broker_ = std::make_unique<MqttBroker>(ORV_TEST_WORK_DIR "/mqtt-action-broker", kCertificates);
  }
  static void TearDownTestSuite() { broker_.reset(); }

  void SetUp() override {
    orv::log::SetSink([this](orv::log::Record const& record) {
      std::lock_guard const lock(mutex_);
      logged_.push_back(std::string(record.source) + ": " + std::string(record.text));
    });
    action_ = MakeAction("orv.action.Mqtt");
    Set(action_, "name", "door");
    Set(action_, "host", "127.0.0.1");
    Set(action_, "port", object::Primitive<std::int64_t>(broker_->Port()));
    Set(action_, "timeout_ms", object::Primitive<std::int64_t>(2000));
  }
  void TearDown() override {
    action_.reset();
    orv::log::SetSink(nullptr);
  }

  std::uint32_t Execute(std::shared_ptr<meta::data::Event const> const& event) {
    return CodeOf([&] { static_cast<action::Action const&>(*action_).Execute(event); });
  }
  std::vector<std::string> Logged() {
    std::lock_guard const lock(mutex_);
    return logged_;
  }

  static inline std::unique_ptr<action::plugin::Loader> loader_;
  static inline std::unique_ptr<MqttBroker> broker_;
  std::shared_ptr<action::Action> action_;
  std::mutex mutex_;
  std::vector<std::string> logged_;
};

TEST_F(MqttAction, PublishesTheRenderedTopicAndJsonEscapedPayload) {
  Subscriber subscriber(broker_->Port(), "cams/#");
  Set(action_, "topic", " cams/{{the_event.type.string}}/{{the_event.name}} ");
  Set(action_, "payload",
      R"({"name":"{{the_event.name}}","rule":"{{#the_event.Observable}}{{id}}{{/the_event.Observable}}"})");
  EXPECT_EQ(Execute(MakeEvent("Door \"A\"\n")), 0U);
  auto const received = subscriber.Await(1);
  ASSERT_EQ(received.size(), 1U);
  // White space at either end of the topic is dropped, the event's included.
  EXPECT_EQ(received[0].topic, "cams/motion/Door \"A\"");
  EXPECT_EQ(received[0].payload, R"({"name":"Door \"A\"\n","rule":"17"})");
  EXPECT_EQ(received[0].qos, 1);
  EXPECT_FALSE(received[0].retain);
  EXPECT_EQ(received[0].deliveryId, "");
  EXPECT_EQ(Logged(), std::vector<std::string>{});
}

TEST_F(MqttAction, PublishesTheWholeTemplateDataToTheDefaultTopicByDefault) {
  Subscriber subscriber(broker_->Port(), "orv/#");
  auto const event = MakeEvent("porch", 17, "tamper");
  EXPECT_EQ(Execute(event), 0U);
  auto const received = subscriber.Await(1);
  ASSERT_EQ(received.size(), 1U);
  EXPECT_EQ(received[0].topic, "orv/" + meta::data::detail::GetHostName() + "/events/tamper");
  EXPECT_EQ(received[0].payload, action::TemplateDataToJson(action::SerializeEvent(event)));
  EXPECT_EQ(received[0].payload.rfind(R"({"the_event":{"Observable":[{"id":"17")", 0), 0U) << received[0].payload;
}

TEST_F(MqttAction, PublishesAtTheQosAndRetainAsSet) {
  Set(action_, "topic", "retained/{{the_event.name}}");
  Set(action_, "payload", "kept");
  Set(action_, "qos", object::Primitive<std::int64_t>(2));
  Set(action_, "retain", object::Primitive<bool>(true));
  EXPECT_EQ(Execute(MakeEvent("q2")), 0U);
  // Subscribed afterwards: only a retained message reaches it.
  Subscriber late(broker_->Port(), "retained/q2");
  auto const received = late.Await(1);
  ASSERT_EQ(received.size(), 1U);
  EXPECT_EQ(received[0].payload, "kept");
  EXPECT_EQ(received[0].qos, 1);  // the subscription's QoS caps it
  EXPECT_TRUE(received[0].retain);
}

TEST_F(MqttAction, PublishesAtQosZero) {
  Subscriber subscriber(broker_->Port(), "zero/#");
  Set(action_, "topic", "zero/{{the_event.name}}");
  Set(action_, "payload", "{{the_event.name}}");
  Set(action_, "qos", object::Primitive<std::int64_t>(0));
  for (int i = 0; i < 5; ++i) {
    EXPECT_EQ(Execute(MakeEvent("e" + std::to_string(i))), 0U);
  }
  auto const received = subscriber.Await(5);
  ASSERT_EQ(received.size(), 5U);
  for (int i = 0; i < 5; ++i) {
    EXPECT_EQ(received[static_cast<std::size_t>(i)].topic, "zero/e" + std::to_string(i));
    EXPECT_EQ(received[static_cast<std::size_t>(i)].qos, 0);
  }
}

TEST_F(MqttAction, KeepsOneConnectionWithTheDerivedClientId) {
  Subscriber subscriber(broker_->Port(), "one/#");
  Set(action_, "topic", "one/{{the_event.name}}");
  for (int i = 0; i < 3; ++i) {
    EXPECT_EQ(Execute(MakeEvent("e" + std::to_string(i))), 0U);
  }
  subscriber.Await(3);
  std::string const clientId = "orv-" + Device() + "-" + std::to_string(action_->GetId());
  std::string const log = broker_->Log();
  std::size_t connects = 0;
  for (auto at = log.find(" as " + clientId + " "); at != std::string::npos;
       at = log.find(" as " + clientId + " ", at + 1)) {
    ++connects;
  }
  EXPECT_EQ(connects, 1U) << log;
}

TEST_F(MqttAction, UsesTheClientIdAsSet) {
  Subscriber subscriber(broker_->Port(), "named/#");
  Set(action_, "client_id", "front-door-camera");
  Set(action_, "topic", "named/x");
  EXPECT_EQ(Execute(MakeEvent("e")), 0U);
  subscriber.Await(1);
  EXPECT_NE(broker_->Log().find(" as front-door-camera "), std::string::npos);
}

TEST_F(MqttAction, PublishesFromManyThreadsAtOnce) {
  Subscriber subscriber(broker_->Port(), "threads/#");
  Set(action_, "topic", "threads/{{the_event.name}}");
  Set(action_, "payload", "{{the_event.name}}");
  auto const codes = ExecuteOnThreads(action_, 4, 25);
  EXPECT_EQ(codes, std::vector<std::uint32_t>(100, 0));
  auto const received = subscriber.Await(100);
  std::set<std::string> payloads;
  for (auto const& message : received) {
    payloads.insert(message.payload);
  }
  EXPECT_EQ(payloads.size(), 100U);
  EXPECT_EQ(received.size(), 100U);
}

TEST_F(MqttAction, LogsInWithTheRightPassword) {
  Subscriber subscriber(broker_->Port(), "login/#");  // one broker: listeners share topics
  Set(action_, "port", object::Primitive<std::int64_t>(broker_->PasswordPort()));
  Set(action_, "username", "camera");
  Set(action_, "password", "secret");
  Set(action_, "topic", "login/ok");
  EXPECT_EQ(Execute(MakeEvent("e")), 0U);
  EXPECT_EQ(subscriber.Await(1).size(), 1U);
}

TEST_F(MqttAction, AWrongPasswordFailsWith13AndLogsTheBrokersReason) {
  Set(action_, "port", object::Primitive<std::int64_t>(broker_->PasswordPort()));
  Set(action_, "username", "camera");
  Set(action_, "password", "wrong");
  EXPECT_EQ(Execute(MakeEvent("e")), 13U);
  EXPECT_EQ(Logged(), std::vector<std::string>{
                          "orv.action.Mqtt: \"door\": the broker 127.0.0.1:" + std::to_string(broker_->PasswordPort()) +
                          " refused the connection: Not authorized (reason code 135)"});
}

TEST_F(MqttAction, NoCredentialsWhereTheyAreNeededFailWith13) {
  Set(action_, "port", object::Primitive<std::int64_t>(broker_->PasswordPort()));
  EXPECT_EQ(Execute(MakeEvent("e")), 13U);
  ASSERT_EQ(Logged().size(), 1U);
  EXPECT_NE(Logged()[0].find("refused the connection: "), std::string::npos) << Logged()[0];
}

TEST_F(MqttAction, APublicationTheBrokerRejectsFailsWith13) {
  Set(action_, "topic", "forbidden/{{the_event.name}}");
  EXPECT_EQ(Execute(MakeEvent("e")), 13U);
  EXPECT_EQ(Logged(), std::vector<std::string>{
                          "orv.action.Mqtt: \"door\": the broker 127.0.0.1:" + std::to_string(broker_->Port()) +
                          " rejected the message to \"forbidden/e\": Not authorized (reason code "
                          "135)"});
  // The connection stays usable for what is allowed.
  Subscriber subscriber(broker_->Port(), "allowed/#");
  Set(action_, "topic", "allowed/{{the_event.name}}");
  EXPECT_EQ(Execute(MakeEvent("f")), 0U);
  EXPECT_EQ(subscriber.Await(1).size(), 1U);
}

TEST_F(MqttAction, AnUnresolvedNameFailsWith11) {
  Set(action_, "host", "broker.invalid");
  EXPECT_EQ(Execute(MakeEvent("e")), 11U);
  EXPECT_EQ(Logged(), std::vector<std::string>{
                          "orv.action.Mqtt: \"door\": the broker's host name \"broker.invalid\" did not resolve"});
}

TEST_F(MqttAction, ARefusedConnectionFailsWith13) {
  int const port = RefusedPort();
  Set(action_, "port", object::Primitive<std::int64_t>(port));
  EXPECT_EQ(Execute(MakeEvent("e")), 13U);
  EXPECT_EQ(Logged(), std::vector<std::string>{"orv.action.Mqtt: \"door\": the connection to the broker 127.0.0.1:" +
                                               std::to_string(port) + " failed: Connection refused"});
}

TEST_F(MqttAction, ABrokerThatNeverAnswersFailsWith12) {
  SilentListener silent;
  Set(action_, "port", object::Primitive<std::int64_t>(silent.Port()));
  Set(action_, "timeout_ms", object::Primitive<std::int64_t>(300));
  EXPECT_EQ(Execute(MakeEvent("e")), 12U);
  EXPECT_EQ(Logged(),
            std::vector<std::string>{"orv.action.Mqtt: \"door\": the broker 127.0.0.1:" +
                                     std::to_string(silent.Port()) + " did not accept the connection within 300 ms"});
}

TEST_F(MqttAction, PublishesOverTlsWithTheTrustedCa) {
  Subscriber subscriber(broker_->Port(), "tls/#");
  Set(action_, "tls", object::Primitive<bool>(true));
  Set(action_, "port", object::Primitive<std::int64_t>(broker_->TlsPort()));
  Set(action_, "ca_file", (kCertificates + "/ca.pem").c_str());
  Set(action_, "topic", "tls/ok");
  Set(action_, "payload", "over tls");
  EXPECT_EQ(Execute(MakeEvent("e")), 0U);
  auto const received = subscriber.Await(1);
  ASSERT_EQ(received.size(), 1U);
  EXPECT_EQ(received[0].payload, "over tls");
}

TEST_F(MqttAction, ACertificateThatDoesNotVerifyFailsWith15) {
  MqttBroker selfSigned(ORV_TEST_WORK_DIR "/mqtt-action-self-broker", kCertificates, true);
  Set(action_, "tls", object::Primitive<bool>(true));
  Set(action_, "port", object::Primitive<std::int64_t>(selfSigned.TlsPort()));
  Set(action_, "ca_file", (kCertificates + "/ca.pem").c_str());
  EXPECT_EQ(Execute(MakeEvent("e")), 15U);
  EXPECT_EQ(Logged(), std::vector<std::string>{"orv.action.Mqtt: \"door\": the certificate of the broker 127.0.0.1:" +
                                               std::to_string(selfSigned.TlsPort()) +
                                               " does not verify: OpenSSL Error[0]: error:0A000086:SSL "
                                               "routines::certificate verify failed"});

  // Without verification the same broker takes the message.
  Subscriber subscriber(selfSigned.Port(), "unverified/#");
  Set(action_, "verify_tls", object::Primitive<bool>(false));
  Set(action_, "topic", "unverified/x");
  EXPECT_EQ(Execute(MakeEvent("e")), 0U);
  EXPECT_EQ(subscriber.Await(1).size(), 1U);
}

TEST_F(MqttAction, ACaFileThatCannotBeReadFailsWith15) {
  Set(action_, "tls", object::Primitive<bool>(true));
  Set(action_, "port", object::Primitive<std::int64_t>(broker_->TlsPort()));
  Set(action_, "ca_file", (kCertificates + "/missing.pem").c_str());
  EXPECT_EQ(Execute(MakeEvent("e")), 15U);
  EXPECT_EQ(Logged(), std::vector<std::string>{"orv.action.Mqtt: \"door\": the CA file \"" + kCertificates +
                                               "/missing.pem\" cannot be read: No such file or directory"});
}

TEST_F(MqttAction, AFailedTlsHandshakeFailsWith14) {
  // A plain listener answers a TLS client with no handshake at all.
  Set(action_, "tls", object::Primitive<bool>(true));
  Set(action_, "ca_file", (kCertificates + "/ca.pem").c_str());
  EXPECT_EQ(Execute(MakeEvent("e")), 14U);
  ASSERT_EQ(Logged().size(), 1U);
  EXPECT_EQ(Logged()[0], "orv.action.Mqtt: \"door\": the TLS handshake with the broker 127.0.0.1:" +
                             std::to_string(broker_->Port()) +
                             " failed: OpenSSL Error[0]: error:0A000126:SSL routines::unexpected eof while reading");
}

TEST_F(MqttAction, ReconnectsAfterTheBrokerRestarts) {
  MqttBroker own(ORV_TEST_WORK_DIR "/mqtt-action-restart-broker", kCertificates);
  Set(action_, "port", object::Primitive<std::int64_t>(own.Port()));
  Set(action_, "topic", "again/{{the_event.name}}");
  Subscriber before(own.Port(), "again/#");
  EXPECT_EQ(Execute(MakeEvent("a")), 0U);
  EXPECT_EQ(before.Await(1).size(), 1U);
  own.Stop();
  EXPECT_EQ(Execute(MakeEvent("b")), 13U);  // without an outbox the failure is the caller's
  own.Start();
  Subscriber after(own.Port(), "again/#");
  EXPECT_EQ(Execute(MakeEvent("c")), 0U);
  auto const received = after.Await(1);
  ASSERT_EQ(received.size(), 1U);
  EXPECT_EQ(received[0].topic, "again/c");
}

TEST_F(MqttAction, WithoutAHostFailsWith9) {
  Set(action_, "host", "");
  EXPECT_EQ(Execute(MakeEvent("e")), 9U);
  EXPECT_EQ(Logged(), std::vector<std::string>{"orv.action.Mqtt: \"door\": no broker host is set"});
}

TEST_F(MqttAction, ATopicThatRendersEmptyFailsWith9) {
  Set(action_, "topic", " {{the_event.missing}} ");
  EXPECT_EQ(Execute(MakeEvent("e")), 9U);
  EXPECT_EQ(Logged(), std::vector<std::string>{"orv.action.Mqtt: \"door\": the topic rendered empty"});
}

TEST_F(MqttAction, ATopicWithAWildcardFailsWith10) {
  Set(action_, "topic", "cams/{{the_event.name}}");
  EXPECT_EQ(Execute(MakeEvent("a+b")), 10U);
  EXPECT_EQ(Execute(MakeEvent("#")), 10U);
  ASSERT_EQ(Logged().size(), 2U);
  EXPECT_EQ(Logged()[0],
            "orv.action.Mqtt: \"door\": the rendered topic \"cams/a+b\" cannot be published to: it holds a wildcard "
            "(+ or #), a control character or text that is not UTF-8, or is longer than 65535 bytes");
}

TEST_F(MqttAction, TestPublishesAtOnceAndReportsTheOutcome) {
  Subscriber subscriber(broker_->Port(), "tested/#");
  Set(action_, "topic", "tested/{{the_event.type.string}}");
  Set(action_, "payload", "{{the_event.name}}");
  EXPECT_EQ(CodeOf([&] { action_->Test("hello"); }), 0U);
  auto const received = subscriber.Await(1);
  ASSERT_EQ(received.size(), 1U);
  EXPECT_EQ(received[0].topic, "tested/test");
  EXPECT_EQ(received[0].payload, "hello");
  Set(action_, "host", "broker.invalid");
  EXPECT_EQ(CodeOf([&] { action_->Test("hello"); }), 11U);
}

// The value of the property `name` of `action`, read through its schema as a host reads it.
template <class T>
T Value(std::shared_ptr<action::Action> const& action, std::string const& name) {
  std::vector<property::Schema> schemas;
  for (auto const& schema : action::registry::Get().GetMap()->at(action->GetTypeNameId()).GetSchemas()) {
    schemas.push_back(schema);
  }
  for (auto const& schema : schemas) {
    if (schema.GetProperty()->GetName() == name) {
      return schema.Instantiate(action, property::context::Direction::FromOwner)
          ->GetObject()
          .As<property::Primitive<T>>()
          .Get();
    }
  }
  throw std::invalid_argument("no property " + name);
}

TEST_F(MqttAction, HasTheDocumentedDefaults) {
  auto const fresh = MakeAction("orv.action.Mqtt");
  EXPECT_EQ(Value<std::string>(fresh, "host"), "");
  EXPECT_EQ(Value<std::int64_t>(fresh, "port"), 1883);
  EXPECT_EQ(Value<std::string>(fresh, "client_id"), "");
  EXPECT_EQ(Value<std::string>(fresh, "username"), "");
  EXPECT_EQ(Value<std::string>(fresh, "password"), "");
  EXPECT_FALSE(Value<bool>(fresh, "tls"));
  EXPECT_TRUE(Value<bool>(fresh, "verify_tls"));
  EXPECT_EQ(Value<std::string>(fresh, "ca_file"), "");
  EXPECT_EQ(Value<std::string>(fresh, "topic"), "orv/{{the_event.host}}/events/{{the_event.type.string}}");
  EXPECT_EQ(Value<std::string>(fresh, "payload"), "");
  EXPECT_EQ(Value<std::int64_t>(fresh, "qos"), 1);
  EXPECT_FALSE(Value<bool>(fresh, "retain"));
  EXPECT_EQ(Value<std::int64_t>(fresh, "keepalive_s"), 60);
  EXPECT_EQ(Value<std::int64_t>(fresh, "timeout_ms"), 10000);
  EXPECT_EQ(Value<std::string>(fresh, "discovery_prefix"), "");
}

TEST_F(MqttAction, ThePortFollowsTlsUntilSet) {
  Set(action_, "port", object::Primitive<std::int64_t>(0));
  EXPECT_EQ(Value<std::int64_t>(action_, "port"), 1883);
  Set(action_, "tls", object::Primitive<bool>(true));
  EXPECT_EQ(Value<std::int64_t>(action_, "port"), 8883);
  Set(action_, "port", object::Primitive<std::int64_t>(9000));
  EXPECT_EQ(Value<std::int64_t>(action_, "port"), 9000);
}

TEST_F(MqttAction, RefusesValuesOutOfRangeNamingThem) {
  auto const refused = [&](char const* name, std::int64_t value) -> std::string {
    try {
      Set(action_, name, object::Primitive<std::int64_t>(value));
    } catch (std::exception const& error) {
      return error.what();
    }
    return "accepted";
  };
  EXPECT_EQ(refused("qos", 3), "qos 3 is not between 0 and 2");
  EXPECT_EQ(refused("qos", -1), "qos -1 is not between 0 and 2");
  EXPECT_EQ(refused("port", 70000), "port 70000 is not between 0 and 65535");
  EXPECT_EQ(refused("keepalive_s", 4), "keepalive_s 4 is not between 5 and 65535");
  EXPECT_EQ(refused("timeout_ms", 0), "timeout_ms 0 is not between 1 and 3600000");
  auto const refusedText = [&](char const* name, std::string const& value) -> std::string {
    try {
      Set(action_, name, value.c_str());
    } catch (std::exception const& error) {
      return error.what();
    }
    return "accepted";
  };
  EXPECT_EQ(refusedText("client_id", "cam\n1"),
            "client_id is not MQTT text: it holds a control character or text that is not UTF-8, or is longer than "
            "65535 bytes");
  EXPECT_EQ(refusedText("username", "\xff"),
            "username is not MQTT text: it holds a control character or text that is not UTF-8, or is longer than "
            "65535 bytes");
  EXPECT_EQ(refusedText("password", std::string(65536, 'p')), "password is longer than 65535 bytes");
  EXPECT_EQ(refusedText("client_id", "ä-camera"), "accepted");
  try {
    Set(action_, "discovery_prefix", "home/#");
    FAIL() << "accepted";
  } catch (std::exception const& error) {
    EXPECT_STREQ(error.what(),
                 "discovery_prefix 'home/#' is not a topic: it holds a wildcard (+ or #), a control character or text "
                 "that is not "
                 "UTF-8");
  }
}

TEST_F(MqttAction, AnnouncesItsRulesRetainedAndPublishesTheirState) {
  auto const rule17 = std::make_shared<observable::Observable const>(17);
  auto const rule18 = std::make_shared<observable::Observable const>(18);
  action_->SetObservables({rule18, rule17});
  Set(action_, "discovery_prefix", "homeassistant");
  Set(action_, "topic", "events/{{the_event.name}}");
  Subscriber states(broker_->Port(), "orv/" + Device() + "/rules/#");
  EXPECT_EQ(Execute(MakeEvent("first", 17)), 0U);
  EXPECT_EQ(Execute(MakeEvent("elsewhere", 99)), 0U);  // a rule it does not listen to: no state

  // Retained: a hub subscribing later still finds them.
  Subscriber hub(broker_->Port(), "homeassistant/#");
  auto const configs = hub.Await(2);
  ASSERT_EQ(configs.size(), 2U);
  std::string const device = Device();
  std::string const host = meta::data::detail::GetHostName();
  for (std::size_t i = 0; i < 2; ++i) {
    std::string const rule = i == 0 ? "17" : "18";
    EXPECT_EQ(configs[i].topic, "homeassistant/binary_sensor/" + device + "/" + rule + "/config");
    EXPECT_EQ(configs[i].payload,
              R"({"device":{"identifiers":["orv_)" + device + R"("],"name":")" + host + R"("},"name":"door rule )" +
                  rule + R"(","payload_off":"OFF","payload_on":"ON",)" + R"("state_topic":"orv/)" + device + "/rules/" +
                  rule + R"(/state","unique_id":"orv_)" + device + "_rule_" + rule + R"("})");
    EXPECT_TRUE(configs[i].retain);
  }
  auto const received = states.Await(2);
  ASSERT_EQ(received.size(), 2U);
  EXPECT_EQ(received[0].topic, "orv/" + device + "/rules/17/state");
  EXPECT_EQ(received[0].payload, "ON");
  EXPECT_EQ(received[1].topic, "orv/" + device + "/rules/17/state");
  EXPECT_EQ(received[1].payload, "OFF");
}

TEST_F(MqttAction, AnnouncesNothingWithoutADiscoveryPrefix) {
  action_->SetObservables({std::make_shared<observable::Observable const>(21)});
  Set(action_, "topic", "plain/{{the_event.name}}");
  Subscriber everything(broker_->Port(), "#");
  EXPECT_EQ(Execute(MakeEvent("e", 21)), 0U);
  everything.Await(1);
  std::vector<std::string> topics;
  for (auto const& message : everything.Await(100, milliseconds(300))) {
    if (message.topic.rfind("homeassistant/", 0) != 0 && !message.retain) {
      topics.push_back(message.topic);
    }
  }
  EXPECT_EQ(topics, std::vector<std::string>{"plain/e"});
}

}  // namespace
}  // namespace orv::test
