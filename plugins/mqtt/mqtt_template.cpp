#include "mqtt/mqtt_template.hpp"

#include "mqtt/connection.hpp"
#include "network/text.hpp"
#include "orv/action/template_data_json.hpp"

namespace orv::plugins::mqtt {

std::variant<Publication, network::Failure> Render(MqttTemplate const& mqtt, mstch::map const& data) {
  using action::exception::Code;
  std::string topic(network::Trim(mqtt.topic.Render(data)));
  if (topic.empty()) {
    return network::Failure{Code::RequestUriEmpty, "the topic rendered empty"};
  }
  if (!IsPublishableTopic(topic)) {
    return network::Failure{
        Code::RequestUriUnparsable,
        "the rendered topic \"" + network::Excerpt(topic, 200) +
            "\" cannot be published to: it holds a wildcard (+ or #), a control character or text that is not "
            "UTF-8, or is longer than 65535 bytes"};
  }
  std::string payload = mqtt.payloadText.empty() ? action::TemplateDataToJson(data) : mqtt.payload.Render(data);
  return Publication{std::move(topic), std::move(payload), mqtt.qos, mqtt.retain};
}

}  // namespace orv::plugins::mqtt
