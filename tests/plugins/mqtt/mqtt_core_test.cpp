// The parts of orv.action.Mqtt that need no broker: rendering a
// publication, the checks of topics, the discovery announcements, and what
// the outbox stores of a message.

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>
#include <stdexcept>
#include <string>

#include "mqtt/connection.hpp"
#include "mqtt/discovery.hpp"
#include "mqtt/mqtt_courier.hpp"
#include "mqtt/mqtt_template.hpp"

namespace orv::plugins::mqtt {
namespace {

using action::exception::Code;

mstch::map Data(std::string name) {
  return mstch::map{{"the_event", mstch::map{{"name", std::move(name)}, {"host", std::string("cam1")}}}};
}

MqttTemplate Template(std::string topic, std::string payload) {
  MqttTemplate mqtt;
  mqtt.topic = templating::Template(topic, templating::Escape::None);
  mqtt.payloadText = payload;
  mqtt.payload = templating::Template(payload, templating::Escape::Json);
  return mqtt;
}

TEST(MqttRender, RendersTheTopicTrimmedAndThePayloadJsonEscaped) {
  auto mqtt = Template("  cams/{{the_event.host}}/{{the_event.name}}\n", R"({"n":"{{the_event.name}}"})");
  mqtt.qos = 2;
  mqtt.retain = true;
  auto const rendered = Render(mqtt, Data("a\"b\\c"));
  ASSERT_TRUE(std::holds_alternative<Publication>(rendered));
  EXPECT_EQ(std::get<Publication>(rendered), (Publication{"cams/cam1/a\"b\\c", R"({"n":"a\"b\\c"})", 2, true}));
}

TEST(MqttRender, AnEmptyPayloadTextGivesTheDataAsJson) {
  auto const rendered = Render(Template("t", ""), Data("x"));
  ASSERT_TRUE(std::holds_alternative<Publication>(rendered));
  EXPECT_EQ(std::get<Publication>(rendered).payload, R"({"the_event":{"host":"cam1","name":"x"}})");
  EXPECT_EQ(std::get<Publication>(rendered).qos, 1);
  EXPECT_FALSE(std::get<Publication>(rendered).retain);
}

TEST(MqttRender, TheDefaultTopicNamesTheHostAndTheEventType) {
  MqttTemplate const mqtt;
  mstch::map const data{{"the_event", mstch::map{{"host", std::string("cam1")},
                                                 {"type", mstch::map{{"string", std::string("motion")}}}}}};
  auto const rendered = Render(mqtt, data);
  ASSERT_TRUE(std::holds_alternative<Publication>(rendered));
  EXPECT_EQ(std::get<Publication>(rendered).topic, "orv/cam1/events/motion");
}

TEST(MqttRender, AnEmptyTopicIsFailure9) {
  auto const rendered = Render(Template(" {{the_event.missing}} ", "p"), Data("x"));
  ASSERT_TRUE(std::holds_alternative<network::Failure>(rendered));
  EXPECT_EQ(std::get<network::Failure>(rendered),
            (network::Failure{Code::RequestUriEmpty, "the topic rendered empty"}));
}

TEST(MqttRender, ATopicThatCannotBePublishedToIsFailure10) {
  for (std::string const& name : std::vector<std::string>{"a+b", "#", std::string("a\0b", 3), "\xff"}) {
    auto const rendered = Render(Template("t/{{the_event.name}}", "p"), Data(name));
    ASSERT_TRUE(std::holds_alternative<network::Failure>(rendered)) << name;
    EXPECT_EQ(std::get<network::Failure>(rendered).code, Code::RequestUriUnparsable) << name;
  }
  auto const rendered = Render(Template("t/{{the_event.name}}", "p"), Data("a+b"));
  EXPECT_EQ(std::get<network::Failure>(rendered).detail,
            "the rendered topic \"t/a+b\" cannot be published to: it holds a wildcard (+ or #), a control character or "
            "text that is "
            "not UTF-8, or is longer than 65535 bytes");
}

TEST(MqttTopic, TellsWhichTopicsCanBePublishedTo) {
  EXPECT_TRUE(IsPublishableTopic("a"));
  EXPECT_TRUE(IsPublishableTopic("/a/b c/ä"));
  EXPECT_TRUE(IsPublishableTopic(std::string(65535, 'a')));
  EXPECT_FALSE(IsPublishableTopic(std::string(65536, 'a')));
  EXPECT_FALSE(IsPublishableTopic(""));
  EXPECT_FALSE(IsPublishableTopic("a/+"));
  EXPECT_FALSE(IsPublishableTopic("a/#"));
  EXPECT_FALSE(IsPublishableTopic("a+b"));
  EXPECT_FALSE(IsPublishableTopic(std::string("a\0b", 3)));
  EXPECT_FALSE(IsPublishableTopic("\xc3"));
  EXPECT_FALSE(IsPublishableTopic("a\nb"));
  EXPECT_FALSE(IsPublishableTopic("a\x7f"));
}

TEST(MqttText, TakesUtf8WithoutControlCharactersUpTo65535Bytes) {
  EXPECT_TRUE(IsMqttText(""));
  EXPECT_TRUE(IsMqttText("ä+#"));
  EXPECT_TRUE(IsMqttText(std::string(65535, 'a')));
  EXPECT_FALSE(IsMqttText(std::string(65536, 'a')));
  EXPECT_FALSE(IsMqttText("a\tb"));
  EXPECT_FALSE(IsMqttText("\xff"));
}

TEST(MqttDiscovery, TheDeviceIdKeepsOnlySafeCharacters) {
  EXPECT_EQ(DeviceId("cam-1.local"), "cam-1_local");
  EXPECT_EQ(DeviceId("Front_Gate"), "Front_Gate");
  EXPECT_EQ(DeviceId("a b/c+#"), "a_b_c__");
  EXPECT_EQ(DeviceId(""), "device");
}

TEST(MqttDiscovery, AnnouncesEachRuleOnceInOrderRetained) {
  auto const announcements = Announcements("ha", "cam1", "cam1.local", "door \"x\"", {18, 17, 18}, 2);
  ASSERT_EQ(announcements.size(), 2U);
  EXPECT_EQ(announcements[0],
            (Publication{"ha/binary_sensor/cam1/17/config",
                         R"({"device":{"identifiers":["orv_cam1"],"name":"cam1.local"},"name":"door \"x\" rule 17",)"
                         R"("payload_off":"OFF","payload_on":"ON","state_topic":"orv/cam1/rules/17/state",)"
                         R"("unique_id":"orv_cam1_rule_17"})",
                         2, true}));
  EXPECT_EQ(announcements[1].topic, "ha/binary_sensor/cam1/18/config");
  EXPECT_TRUE(Announcements("ha", "cam1", "cam1", "door", {}, 1).empty());
}

TEST(MqttDiscovery, AnEventTurnsItsRuleOnAndOff) {
  EXPECT_EQ(StatePublications("cam1", 17, 0), (std::vector<Publication>{{"orv/cam1/rules/17/state", "ON", 0, true},
                                                                        {"orv/cam1/rules/17/state", "OFF", 0, true}}));
}

TEST(MqttCourier, StoresAndReadsBackEveryPublicationWithoutTheSettings) {
  ConnectionSettings settings;
  settings.host = "broker.test";
  settings.port = 8883;
  settings.tls = true;
  settings.password = "hunter2";
  MqttCourier const courier(std::make_shared<Connection>(settings));
  MqttMessage const message{{{"a/b", std::string("\x00\xff{\"x\":1}", 9), 2, true}, {"c", "", 0, false}}};
  std::string const stored = courier.Encode(message);
  EXPECT_EQ(stored.find("hunter2"), std::string::npos);
  EXPECT_EQ(stored.find("broker.test"), std::string::npos);
  EXPECT_EQ(courier.Decode(stored), message);
  EXPECT_EQ(courier.Destination(message), "mqtts://broker.test:8883/a/b");
  EXPECT_EQ(courier.Secrets(message), std::vector<std::string>{"hunter2"});
}

TEST(MqttCourier, RefusesBytesItDidNotStore) {
  MqttCourier const courier(std::make_shared<Connection>(ConnectionSettings{}));
  EXPECT_THROW(courier.Decode("not cbor"), std::runtime_error);
  auto const other = nlohmann::json::to_cbor(nlohmann::json{{"v", 2}, {"publications", nlohmann::json::array()}});
  EXPECT_THROW(courier.Decode(std::string(other.begin(), other.end())), std::runtime_error);
  auto const wildcard = nlohmann::json::to_cbor(nlohmann::json{
      {"v", 1},
      {"publications", {{{"topic", "a/#"}, {"payload", nlohmann::json::binary({})}, {"qos", 1}, {"retain", false}}}}});
  EXPECT_THROW(courier.Decode(std::string(wildcard.begin(), wildcard.end())), std::runtime_error);
  auto const partial = nlohmann::json::to_cbor(nlohmann::json{{"v", 1}, {"publications", {{{"topic", "a"}}}}});
  EXPECT_THROW(courier.Decode(std::string(partial.begin(), partial.end())), std::runtime_error);
}

}  // namespace
}  // namespace orv::plugins::mqtt
