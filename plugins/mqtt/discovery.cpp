#include "mqtt/discovery.hpp"

#include <algorithm>
#include <nlohmann/json.hpp>

namespace orv::plugins::mqtt {

std::string DeviceId(std::string_view hostName) {
  if (hostName.empty()) {
    return "device";
  }
  std::string id(hostName);
  std::replace_if(
      id.begin(), id.end(),
      [](char c) {
        return !((c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '_' || c == '-');
      },
      '_');
  return id;
}

std::string StateTopic(std::string const& device, std::uint32_t rule) {
  return "orv/" + device + "/rules/" + std::to_string(rule) + "/state";
}

std::vector<Publication> Announcements(std::string const& prefix, std::string const& device,
                                       std::string const& hostName, std::string const& actionName,
                                       std::vector<std::uint32_t> rules, int qos) {
  std::sort(rules.begin(), rules.end());
  rules.erase(std::unique(rules.begin(), rules.end()), rules.end());
  std::vector<Publication> announcements;
  for (std::uint32_t const rule : rules) {
    std::string const ruleText = std::to_string(rule);
    nlohmann::json const config = {
        {"name", actionName + " rule " + ruleText},
        {"unique_id", "orv_" + device + "_rule_" + ruleText},
        {"state_topic", StateTopic(device, rule)},
        {"payload_on", "ON"},
        {"payload_off", "OFF"},
        {"device", {{"identifiers", {"orv_" + device}}, {"name", hostName}}},
    };
    announcements.push_back({prefix + "/binary_sensor/" + device + "/" + ruleText + "/config",
                             config.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace), qos, true});
  }
  return announcements;
}

std::vector<Publication> StatePublications(std::string const& device, std::uint32_t rule, int qos) {
  std::string const topic = StateTopic(device, rule);
  return {{topic, "ON", qos, true}, {topic, "OFF", qos, true}};
}

}  // namespace orv::plugins::mqtt
