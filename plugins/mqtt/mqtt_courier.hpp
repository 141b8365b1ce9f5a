#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "mqtt/connection.hpp"
#include "mqtt/mqtt_message.hpp"
#include "network/network_action.hpp"

namespace orv::plugins::mqtt {

// How the messages of one action are published, over the action's one
// connection of the settings of one moment. What the outbox stores of a
// message is its publications: no credentials, no connection settings.
class MqttCourier : public network::Courier<MqttMessage> {
 public:
  explicit MqttCourier(std::shared_ptr<Connection> connection);

  // Publishes every publication of `message` in order; with a delivery id,
  // each carries it as the user property "delivery-id".
  std::optional<network::Failure> Send(MqttMessage const& message, std::string const& deliveryId) const override;
  // The password.
  std::vector<std::string> Secrets(MqttMessage const& message) const override;
  // "mqtt://host:port/<first topic>" ("mqtts" with TLS).
  std::string Destination(MqttMessage const& message) const override;
  // CBOR: {"v": 1, "publications": [{"topic", "payload" (bytes), "qos", "retain"}, ...]}.
  std::string Encode(MqttMessage const& message) const override;
  MqttMessage Decode(std::string const& payload) const override;

  Connection& GetConnection() const noexcept { return *connection_; }

 private:
  std::shared_ptr<Connection> connection_;
};

}  // namespace orv::plugins::mqtt
