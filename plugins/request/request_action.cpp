// The "orv.action.Request" action: renders an HTTP request from each event
// and sends it, with libcurl, to a web server, at once or through the
// process's outbox.

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "network/choice.hpp"
#include "network/curl_pool.hpp"
#include "network/failure.hpp"
#include "network/network_action.hpp"
#include "orv/action/action.hpp"
#include "orv/action/field.hpp"
#include "orv/action/registration.hpp"
#include "orv/action/serialize.hpp"
#include "request/request_courier.hpp"
#include "request/request_template.hpp"

namespace orv::plugins::request {
namespace {

constexpr std::int64_t kMaxTimeoutMs = 3'600'000;

class RequestAction : public network::NetworkAction<RequestAction, RequestMessage> {
 public:
  static constexpr char const* kTypeName = "orv.action.Request";
  static std::vector<property::Schema> GetSchemas();

  // The request of one event; throws orv::action::Exception 9 or 10 when its
  // address is empty or does not parse.
  RequestMessage Render(std::shared_ptr<meta::data::Event const> const& event) const {
    auto rendered = request::Render(template_, action::SerializeEvent(event));
    if (auto* failure = std::get_if<network::Failure>(&rendered)) {
      network::Report(kTypeName, GetName(), *failure, {settings_.password, settings_.token, uriPassword_});
    }
    return std::get<RequestMessage>(std::move(rendered));
  }

  CourierPointer MakeCourier() const { return std::make_shared<RequestCourier const>(settings_, pool_, uriPassword_); }

  std::string const& GetUri() const noexcept { return uriText_; }
  void SetUri(std::string text) {
    template_.uri = templating::Template(text, templating::Escape::Url);
    // The password written in the address, whatever the event: rendered
    // without data, every tag is empty.
    uriPassword_ = PasswordOf(template_.uri.Render(mstch::map{}));
    uriText_ = std::move(text);
    SettingsChanged();
  }
  std::string const& GetMethod() const noexcept { return template_.method; }
  void SetMethod(std::string const& method) {
    template_.method = network::CheckChoice("method", method, {"GET", "POST", "PUT", "PATCH", "DELETE"});
  }
  std::string const& GetHeaders() const noexcept { return headersText_; }
  void SetHeaders(std::string text) {
    template_.headers = ParseHeaders(text);
    headersText_ = std::move(text);
  }
  std::string const& GetBody() const noexcept { return bodyText_; }
  void SetBody(std::string text) {
    template_.body = templating::Template(text, BodyEscapeFor(bodyEscape_, template_.contentType));
    bodyText_ = std::move(text);
  }
  std::string const& GetContentType() const noexcept { return template_.contentType; }
  void SetContentType(std::string type) {
    template_.contentType = std::move(type);
    SetBody(bodyText_);
  }
  std::string const& GetBodyEscape() const noexcept { return bodyEscape_; }
  void SetBodyEscape(std::string const& escape) {
    bodyEscape_ = network::CheckChoice("body_escape", escape, {"auto", "none", "html", "json", "url"});
    SetBody(bodyText_);
  }
  std::string const& GetAuth() const noexcept { return settings_.auth; }
  void SetAuth(std::string const& auth) {
    settings_.auth = network::CheckChoice("auth", auth, {"none", "basic", "digest", "bearer"});
    SettingsChanged();
  }
  std::string const& GetUsername() const noexcept { return settings_.username; }
  void SetUsername(std::string username) {
    settings_.username = std::move(username);
    SettingsChanged();
  }
  std::string const& GetPassword() const noexcept { return settings_.password; }
  void SetPassword(std::string password) {
    settings_.password = std::move(password);
    SettingsChanged();
  }
  std::string const& GetToken() const noexcept { return settings_.token; }
  void SetToken(std::string token) {
    settings_.token = std::move(token);
    SettingsChanged();
  }
  bool GetVerifyTls() const noexcept { return settings_.connection.verifyTls; }
  void SetVerifyTls(bool verify) {
    settings_.connection.verifyTls = verify;
    pool_->Clear();
    SettingsChanged();
  }
  std::string const& GetCaFile() const noexcept { return settings_.connection.caFile; }
  void SetCaFile(std::string path) {
    settings_.connection.caFile = std::move(path);
    pool_->Clear();
    SettingsChanged();
  }
  std::string const& GetClientCertificate() const noexcept { return settings_.clientCertificate; }
  void SetClientCertificate(std::string path) {
    settings_.clientCertificate = std::move(path);
    pool_->Clear();
    SettingsChanged();
  }
  std::string const& GetClientKey() const noexcept { return settings_.clientKey; }
  void SetClientKey(std::string path) {
    settings_.clientKey = std::move(path);
    pool_->Clear();
    SettingsChanged();
  }
  std::int64_t GetConnectTimeoutMs() const noexcept { return settings_.connection.connectTimeoutMs; }
  void SetConnectTimeoutMs(std::int64_t ms) {
    settings_.connection.connectTimeoutMs = network::CheckRange("connect_timeout_ms", ms, 1, kMaxTimeoutMs);
    SettingsChanged();
  }
  std::int64_t GetTimeoutMs() const noexcept { return settings_.connection.timeoutMs; }
  void SetTimeoutMs(std::int64_t ms) {
    settings_.connection.timeoutMs = network::CheckRange("timeout_ms", ms, 1, kMaxTimeoutMs);
    SettingsChanged();
  }
  std::string const& GetExpectedStatus() const noexcept { return settings_.expected.GetText(); }
  void SetExpectedStatus(std::string const& text) {
    settings_.expected = ExpectedStatus(text);
    SettingsChanged();
  }

 private:
  RequestTemplate template_;
  std::string uriText_;
  std::string headersText_;
  std::string bodyText_;
  std::string bodyEscape_ = "auto";
  std::string uriPassword_;
  RequestSettings settings_;
  std::shared_ptr<network::CurlPool> pool_ = std::make_shared<network::CurlPool>();
};

std::vector<property::Schema> RequestAction::GetSchemas() {
  using action::properties::Field;
  using action::properties::SecretField;
  using R = RequestAction;
  return MakeSchemas({
      Field<&R::GetUri, &R::SetUri>(
          "uri",
          "The address the request goes to: a mustache template rendered with URL escaping, so values "
          "from the event are escaped and the literal text is not (http and https)"),
      Field<&R::GetMethod, &R::SetMethod>("method", "The HTTP method: GET, POST, PUT, PATCH or DELETE"),
      Field<&R::GetHeaders, &R::SetHeaders>(
          "headers", "Extra header lines, one \"Name: value\" per line; values are mustache templates"),
      Field<&R::GetBody, &R::SetBody>(
          "body", "The mustache template of the body, sent with POST, PUT and PATCH; escaped as body_escape says"),
      Field<&R::GetContentType, &R::SetContentType>("content_type", "The Content-Type of the body"),
      Field<&R::GetBodyEscape, &R::SetBodyEscape>(
          "body_escape",
          "How values are escaped in the body: auto (json for application/json, html for "
          "text/html, none otherwise), none, html, json or url"),
      Field<&R::GetAuth, &R::SetAuth>("auth", "The authentication: none, basic, digest or bearer"),
      Field<&R::GetUsername, &R::SetUsername>("username", "The user name for basic and digest authentication"),
      SecretField<&R::GetPassword, &R::SetPassword>("password", "The password for basic and digest authentication"),
      SecretField<&R::GetToken, &R::SetToken>("token", "The token for bearer authentication"),
      Field<&R::GetVerifyTls, &R::SetVerifyTls>("verify_tls",
                                                "Whether the server's certificate and name are verified (https)"),
      Field<&R::GetCaFile, &R::SetCaFile>("ca_file",
                                          "A PEM file of the certificate authorities to trust; empty: the system's"),
      Field<&R::GetClientCertificate, &R::SetClientCertificate>("client_certificate",
                                                                "A PEM file of the client certificate, for mutual TLS"),
      Field<&R::GetClientKey, &R::SetClientKey>("client_key", "A PEM file of the client certificate's key"),
      Field<&R::GetConnectTimeoutMs, &R::SetConnectTimeoutMs>("connect_timeout_ms",
                                                              "How long connecting may take, in milliseconds"),
      Field<&R::GetTimeoutMs, &R::SetTimeoutMs>("timeout_ms", "How long the whole request may take, in milliseconds"),
      Field<&R::GetExpectedStatus, &R::SetExpectedStatus>(
          "expected_status", "The statuses that count as success: codes and classes such as 200,204 or 2xx"),
  });
}

action::Registration<RequestAction> const kRegistration;

}  // namespace
}  // namespace orv::plugins::request
