// The "orv.action.Mqtt" action: renders a publication from each event and
// publishes it, with libmosquitto, to an MQTT broker over one persistent
// connection, at once or through the process's outbox. Optionally announces
// its rules as binary sensors to home-automation hubs.

#include <algorithm>
#include <cstdint>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "mqtt/connection.hpp"
#include "mqtt/discovery.hpp"
#include "mqtt/mqtt_courier.hpp"
#include "mqtt/mqtt_template.hpp"
#include "network/choice.hpp"
#include "network/delivery.hpp"
#include "network/failure.hpp"
#include "network/network_action.hpp"
#include "orv/action/action.hpp"
#include "orv/action/field.hpp"
#include "orv/action/registration.hpp"
#include "orv/action/serialize.hpp"
#include "orv/meta/data/host.hpp"

namespace orv::plugins::mqtt {
namespace {

constexpr std::int64_t kMaxTimeoutMs = 3'600'000;

class MqttAction : public network::NetworkAction<MqttAction, MqttMessage> {
 public:
  static constexpr char const* kTypeName = "orv.action.Mqtt";
  static std::vector<property::Schema> GetSchemas();

  // The publications of one event; throws orv::action::Exception 9 without
  // a host or when the topic renders empty, 10 when it cannot be published to.
  MqttMessage Render(std::shared_ptr<meta::data::Event const> const& event) const {
    if (settings_.host.empty()) {
      network::Report(kTypeName, GetName(), {action::exception::Code::RequestUriEmpty, "no broker host is set"});
    }
    auto rendered = mqtt::Render(template_, action::SerializeEvent(event));
    if (auto* failure = std::get_if<network::Failure>(&rendered)) {
      network::Report(kTypeName, GetName(), *failure, {settings_.password});
    }
    MqttMessage message{{std::get<Publication>(std::move(rendered))}};
    if (!discoveryPrefix_.empty()) {
      auto const rules = Rules();
      std::string const host = meta::data::detail::GetHostName();
      auto const courier = std::static_pointer_cast<MqttCourier const>(GetCourier());
      courier->GetConnection().SetAnnouncements(
          Announcements(discoveryPrefix_, DeviceId(host), host, GetName(), rules, template_.qos));
      std::uint32_t const rule = network::RuleOf(*event);
      if (std::find(rules.begin(), rules.end(), rule) != rules.end()) {
        for (auto& state : StatePublications(DeviceId(host), rule, template_.qos)) {
          message.publications.push_back(std::move(state));
        }
      }
    }
    return message;
  }

  CourierPointer MakeCourier() const {
    ConnectionSettings settings = settings_;
    settings.port = static_cast<int>(GetPort());
    std::string const host = meta::data::detail::GetHostName();
    if (settings.clientId.empty()) {
      settings.clientId = "orv-" + DeviceId(host) + "-" + std::to_string(GetId());
    }
    auto connection = std::make_shared<Connection>(std::move(settings));
    if (!discoveryPrefix_.empty()) {
      connection->SetAnnouncements(
          Announcements(discoveryPrefix_, DeviceId(host), host, GetName(), Rules(), template_.qos));
    }
    return std::make_shared<MqttCourier const>(std::move(connection));
  }

  std::string const& GetHost() const noexcept { return settings_.host; }
  void SetHost(std::string host) {
    settings_.host = std::move(host);
    SettingsChanged();
  }
  // 1883, or 8883 with TLS, until set to another port than 0.
  std::int64_t GetPort() const noexcept { return port_ != 0 ? port_ : (settings_.tls ? 8883 : 1883); }
  void SetPort(std::int64_t port) {
    port_ = network::CheckRange("port", port, 0, 65535);
    SettingsChanged();
  }
  std::string const& GetClientId() const noexcept { return settings_.clientId; }
  void SetClientId(std::string id) {
    settings_.clientId = CheckText("client_id", std::move(id));
    SettingsChanged();
  }
  std::string const& GetUsername() const noexcept { return settings_.username; }
  void SetUsername(std::string username) {
    settings_.username = CheckText("username", std::move(username));
    SettingsChanged();
  }
  std::string const& GetPassword() const noexcept { return settings_.password; }
  void SetPassword(std::string password) {
    // Binary data in MQTT: any bytes, but no longer than a string.
    if (password.size() > 65535) {
      throw std::invalid_argument("password is longer than 65535 bytes");
    }
    settings_.password = std::move(password);
    SettingsChanged();
  }
  bool GetTls() const noexcept { return settings_.tls; }
  void SetTls(bool tls) {
    settings_.tls = tls;
    SettingsChanged();
  }
  bool GetVerifyTls() const noexcept { return settings_.verifyTls; }
  void SetVerifyTls(bool verify) {
    settings_.verifyTls = verify;
    SettingsChanged();
  }
  std::string const& GetCaFile() const noexcept { return settings_.caFile; }
  void SetCaFile(std::string path) {
    settings_.caFile = std::move(path);
    SettingsChanged();
  }
  std::string const& GetTopic() const noexcept { return topicText_; }
  void SetTopic(std::string text) {
    template_.topic = templating::Template(text, templating::Escape::None);
    topicText_ = std::move(text);
  }
  std::string const& GetPayload() const noexcept { return template_.payloadText; }
  void SetPayload(std::string text) {
    template_.payload = templating::Template(text, templating::Escape::Json);
    template_.payloadText = std::move(text);
  }
  std::int64_t GetQos() const noexcept { return template_.qos; }
  void SetQos(std::int64_t qos) {
    template_.qos = static_cast<int>(network::CheckRange("qos", qos, 0, 2));
    SettingsChanged();
  }
  bool GetRetain() const noexcept { return template_.retain; }
  void SetRetain(bool retain) { template_.retain = retain; }
  std::int64_t GetKeepaliveS() const noexcept { return settings_.keepaliveS; }
  void SetKeepaliveS(std::int64_t seconds) {
    settings_.keepaliveS = static_cast<int>(network::CheckRange("keepalive_s", seconds, 5, 65535));
    SettingsChanged();
  }
  std::int64_t GetTimeoutMs() const noexcept { return settings_.timeoutMs; }
  void SetTimeoutMs(std::int64_t ms) {
    settings_.timeoutMs = network::CheckRange("timeout_ms", ms, 1, kMaxTimeoutMs);
    SettingsChanged();
  }
  std::string const& GetDiscoveryPrefix() const noexcept { return discoveryPrefix_; }
  void SetDiscoveryPrefix(std::string prefix) {
    if (!prefix.empty() && !IsPublishableTopic(prefix + "/x")) {
      throw std::invalid_argument(
          "discovery_prefix '" + prefix +
          "' is not a topic: it holds a wildcard (+ or #), a control character or text that is not UTF-8");
    }
    discoveryPrefix_ = std::move(prefix);
    SettingsChanged();
  }

 private:
  // `text`, which MQTT carries as a string; throws std::invalid_argument
  // naming the property otherwise.
  static std::string CheckText(char const* property, std::string text) {
    if (!IsMqttText(text)) {
      throw std::invalid_argument(std::string(property) +
                                  " is not MQTT text: it holds a control character or text that is not UTF-8, or is "
                                  "longer than 65535 bytes");
    }
    return text;
  }

  // The ids of the rules this action listens to.
  std::vector<std::uint32_t> Rules() const {
    std::vector<std::uint32_t> rules;
    for (auto const& observable : GetObservables()) {
      rules.push_back(observable->GetId());
    }
    return rules;
  }

  MqttTemplate template_;
  std::string topicText_ = kDefaultTopic;
  std::int64_t port_ = 0;
  std::string discoveryPrefix_;
  ConnectionSettings settings_;
};

std::vector<property::Schema> MqttAction::GetSchemas() {
  using action::properties::Field;
  using action::properties::SecretField;
  using M = MqttAction;
  return MakeSchemas({
      Field<&M::GetHost, &M::SetHost>("host", "The broker's host name or address"),
      Field<&M::GetPort, &M::SetPort>("port", "The broker's port; 0: 1883, or 8883 with TLS"),
      Field<&M::GetClientId, &M::SetClientId>("client_id",
                                              "The MQTT client id; empty: \"orv-<host name>-<action id>\""),
      Field<&M::GetUsername, &M::SetUsername>("username", "The user name to log in with; empty: none"),
      SecretField<&M::GetPassword, &M::SetPassword>("password", "The password to log in with"),
      Field<&M::GetTls, &M::SetTls>("tls", "Whether the connection uses TLS"),
      Field<&M::GetVerifyTls, &M::SetVerifyTls>("verify_tls",
                                                "Whether the broker's certificate and name are verified (TLS)"),
      Field<&M::GetCaFile, &M::SetCaFile>("ca_file",
                                          "A PEM file of the certificate authorities to trust; empty: the system's"),
      Field<&M::GetTopic, &M::SetTopic>(
          "topic", "The topic: a mustache template, without escaping; it must not render empty or hold + or #"),
      Field<&M::GetPayload, &M::SetPayload>(
          "payload",
          "The payload: a mustache template rendered with JSON escaping; empty: the whole template data as JSON"),
      Field<&M::GetQos, &M::SetQos>("qos", "The quality of service: 0, 1 or 2"),
      Field<&M::GetRetain, &M::SetRetain>("retain", "Whether the broker keeps the last message of the topic"),
      Field<&M::GetKeepaliveS, &M::SetKeepaliveS>(
          "keepalive_s", "The keep-alive of the connection, in seconds (5 to 65535): pinged when idle"),
      Field<&M::GetTimeoutMs, &M::SetTimeoutMs>(
          "timeout_ms", "How long connecting, and the broker's acknowledgement of a message, may take, in ms"),
      Field<&M::GetDiscoveryPrefix, &M::SetDiscoveryPrefix>(
          "discovery_prefix",
          "When set, the rules are announced as binary sensors under this topic prefix (\"homeassistant\"-style "
          "discovery) and their state published; empty: off"),
  });
}

action::Registration<MqttAction> const kRegistration;

}  // namespace
}  // namespace orv::plugins::mqtt
