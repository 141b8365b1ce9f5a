#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "mqtt/mqtt_message.hpp"

namespace orv::plugins::mqtt {

// The device's part of discovery topics and ids: `hostName` with every byte
// other than A-Z a-z 0-9 _ - as "_" ("cam-1.local" gives "cam-1_local");
// "device" for an empty name.
std::string DeviceId(std::string_view hostName);

// Where the state of `rule` goes: "orv/<device>/rules/<rule>/state".
std::string StateTopic(std::string const& device, std::uint32_t rule);

// The retained discovery configuration of each of `rules` (in ascending
// order, once each) under `prefix`: topic
// "<prefix>/binary_sensor/<device>/<rule>/config", payload the JSON object
// of docs/mqtt.md naming the sensor "<actionName> rule <rule>" and its state
// topic; at `qos`.
std::vector<Publication> Announcements(std::string const& prefix, std::string const& device,
                                       std::string const& hostName, std::string const& actionName,
                                       std::vector<std::uint32_t> rules, int qos);

// What an event of `rule` publishes to its state topic: "ON" as it starts
// and "OFF" as it ends, both retained, at `qos`.
std::vector<Publication> StatePublications(std::string const& device, std::uint32_t rule, int qos);

}  // namespace orv::plugins::mqtt
