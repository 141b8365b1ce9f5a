#include "request/request_courier.hpp"

#include <algorithm>
#include <cctype>
#include <nlohmann/json.hpp>
#include <stdexcept>
#include <utility>

#include "request/request_template.hpp"

namespace orv::plugins::request {
namespace {

constexpr int kPayloadVersion = 1;
constexpr std::string_view kIdempotencyKey = "Idempotency-Key";

bool IsHeader(std::string const& line, std::string_view name) {
  return line.size() > name.size() && line[name.size()] == ':' &&
         std::equal(name.begin(), name.end(), line.begin(), [](char a, char b) {
           return std::tolower(static_cast<unsigned char>(a)) == std::tolower(static_cast<unsigned char>(b));
         });
}

}  // namespace

RequestCourier::RequestCourier(RequestSettings settings, std::shared_ptr<network::CurlPool> pool,
                               std::string uriPassword)
    : settings_(std::move(settings)), pool_(std::move(pool)), uriPassword_(std::move(uriPassword)) {}

std::optional<network::Failure> RequestCourier::Send(RequestMessage const& message,
                                                     std::string const& deliveryId) const {
  if (deliveryId.empty()) {
    return request::Send(*pool_, message, settings_);
  }
  RequestMessage keyed = message;
  std::erase_if(keyed.headers, [](std::string const& line) { return IsHeader(line, kIdempotencyKey); });
  keyed.headers.push_back(std::string(kIdempotencyKey) + ": " + deliveryId);
  return request::Send(*pool_, keyed, settings_);
}

std::vector<std::string> RequestCourier::Secrets(RequestMessage const& message) const {
  std::vector<std::string> secrets = PasswordsIn(message.uri);
  secrets.push_back(settings_.password);
  secrets.push_back(settings_.token);
  if (!uriPassword_.empty()) {
    secrets.push_back(uriPassword_);
  }
  return secrets;
}

std::string RequestCourier::Destination(RequestMessage const& message) const { return RedactUri(message.uri); }

std::string RequestCourier::Encode(RequestMessage const& message) const {
  bool const configuredPassword = !uriPassword_.empty() && PasswordOf(message.uri) == uriPassword_;
  nlohmann::json const payload = {
      {"v", kPayloadVersion},
      {"method", message.method},
      {"uri", configuredPassword ? WithoutPassword(message.uri) : message.uri},
      {"headers", message.headers},
      {"body", message.body},
      {"uri_password", configuredPassword},
  };
  auto const bytes = nlohmann::json::to_cbor(payload);
  return std::string(bytes.begin(), bytes.end());
}

RequestMessage RequestCourier::Decode(std::string const& payload) const {
  nlohmann::json stored;
  try {
    stored = nlohmann::json::from_cbor(payload);
  } catch (nlohmann::json::exception const& error) {
    throw std::runtime_error(std::string("not a stored request: ") + error.what());
  }
  if (!stored.is_object() || stored.value("v", 0) != kPayloadVersion) {
    throw std::runtime_error("not a stored request of version " + std::to_string(kPayloadVersion));
  }
  try {
    RequestMessage message;
    message.method = stored.at("method").get<std::string>();
    message.uri = stored.at("uri").get<std::string>();
    message.headers = stored.at("headers").get<std::vector<std::string>>();
    message.body = stored.at("body").get<std::string>();
    if (stored.at("uri_password").get<bool>() && !uriPassword_.empty()) {
      message.uri = WithPassword(message.uri, uriPassword_);
    }
    return message;
  } catch (nlohmann::json::exception const& error) {
    throw std::runtime_error(std::string("a stored request without its parts: ") + error.what());
  }
}

}  // namespace orv::plugins::request
