#include "mqtt/mqtt_courier.hpp"

#include <nlohmann/json.hpp>
#include <stdexcept>
#include <utility>

namespace orv::plugins::mqtt {
namespace {

constexpr int kPayloadVersion = 1;

}  // namespace

MqttCourier::MqttCourier(std::shared_ptr<Connection> connection) : connection_(std::move(connection)) {}

std::optional<network::Failure> MqttCourier::Send(MqttMessage const& message, std::string const& deliveryId) const {
  return connection_->Publish(message.publications, deliveryId);
}

std::vector<std::string> MqttCourier::Secrets(MqttMessage const&) const {
  return {connection_->GetSettings().password};
}

std::string MqttCourier::Destination(MqttMessage const& message) const {
  auto const& settings = connection_->GetSettings();
  std::string destination =
      std::string(settings.tls ? "mqtts://" : "mqtt://") + settings.host + ":" + std::to_string(settings.port) + "/";
  if (!message.publications.empty()) {
    destination += message.publications.front().topic;
  }
  return destination;
}

std::string MqttCourier::Encode(MqttMessage const& message) const {
  nlohmann::json publications = nlohmann::json::array();
  for (auto const& publication : message.publications) {
    publications.push_back({
        {"topic", publication.topic},
        {"payload", nlohmann::json::binary({publication.payload.begin(), publication.payload.end()})},
        {"qos", publication.qos},
        {"retain", publication.retain},
    });
  }
  nlohmann::json const payload = {{"v", kPayloadVersion}, {"publications", std::move(publications)}};
  auto const bytes = nlohmann::json::to_cbor(payload);
  return std::string(bytes.begin(), bytes.end());
}

MqttMessage MqttCourier::Decode(std::string const& payload) const {
  nlohmann::json stored;
  try {
    stored = nlohmann::json::from_cbor(payload);
  } catch (nlohmann::json::exception const& error) {
    throw std::runtime_error(std::string("not a stored MQTT message: ") + error.what());
  }
  if (!stored.is_object() || stored.value("v", 0) != kPayloadVersion) {
    throw std::runtime_error("not a stored MQTT message of version " + std::to_string(kPayloadVersion));
  }
  try {
    MqttMessage message;
    for (auto const& entry : stored.at("publications")) {
      auto const& bytes = entry.at("payload").get_binary();
      Publication publication{entry.at("topic").get<std::string>(), std::string(bytes.begin(), bytes.end()),
                              entry.at("qos").get<int>(), entry.at("retain").get<bool>()};
      if (publication.qos < 0 || publication.qos > 2 || !IsPublishableTopic(publication.topic)) {
        throw std::runtime_error("a stored MQTT message with a bad topic or QoS");
      }
      message.publications.push_back(std::move(publication));
    }
    return message;
  } catch (nlohmann::json::exception const& error) {
    throw std::runtime_error(std::string("a stored MQTT message without its parts: ") + error.what());
  }
}

}  // namespace orv::plugins::mqtt
