#pragma once

#include <string>
#include <vector>

namespace orv::plugins::mqtt {

// One MQTT PUBLISH: where, what, and how it is delivered.
struct Publication {
  std::string topic;    // checked: not empty, no wildcards, UTF-8
  std::string payload;  // any bytes
  int qos = 1;          // 0, 1 or 2
  bool retain = false;

  friend bool operator==(Publication const&, Publication const&) = default;
};

// What one event makes, published in order (now, or later from a queue): the
// event's own publication, then the state of its rule when the action
// announces its rules. It holds no credentials and no connection settings,
// which stay with the action.
struct MqttMessage {
  std::vector<Publication> publications;

  friend bool operator==(MqttMessage const&, MqttMessage const&) = default;
};

}  // namespace orv::plugins::mqtt
