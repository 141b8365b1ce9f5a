// The "orv.action.Mail" action: renders a mail from each event and sends it,
// with libcurl, through a mail server, at once or through the process's
// outbox.

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "mail/address.hpp"
#include "mail/mail_courier.hpp"
#include "mail/mail_template.hpp"
#include "network/choice.hpp"
#include "network/curl_pool.hpp"
#include "network/network_action.hpp"
#include "orv/action/action.hpp"
#include "orv/action/field.hpp"
#include "orv/action/registration.hpp"
#include "orv/action/serialize.hpp"

namespace orv::plugins::mail {
namespace {

using Texts = std::vector<std::string>;
constexpr std::int64_t kMaxTimeoutMs = 3'600'000;

class MailAction : public network::NetworkAction<MailAction, MailMessage> {
 public:
  static constexpr char const* kTypeName = "orv.action.Mail";
  static std::vector<property::Schema> GetSchemas();

  // The mail of one event; throws orv::action::Exception 7 when its body is
  // empty.
  MailMessage Render(std::shared_ptr<meta::data::Event const> const& event) const {
    auto rendered = mail::Render(template_, action::SerializeEvent(event), event->GetStart(),
                                 MessageIdFor(event->GetStart(), event->GetId(), GetId(), template_.from));
    if (auto* failure = std::get_if<network::Failure>(&rendered)) {
      network::Report(kTypeName, GetName(), *failure, {settings_.password});
    }
    return std::get<MailMessage>(std::move(rendered));
  }

  CourierPointer MakeCourier() const { return std::make_shared<MailCourier const>(settings_, pool_); }

  std::string const& GetHost() const noexcept { return settings_.host; }
  void SetHost(std::string host) {
    settings_.host = std::move(host);
    pool_->Clear();
    SettingsChanged();
  }
  std::int64_t GetPort() const noexcept {
    return settings_.port != 0 ? settings_.port : DefaultPort(settings_.security);
  }
  void SetPort(std::int64_t port) {
    settings_.port = network::CheckRange("port", port, 0, 65535);
    pool_->Clear();
    SettingsChanged();
  }
  std::string const& GetSecurity() const noexcept { return settings_.security; }
  void SetSecurity(std::string const& security) {
    settings_.security = network::CheckChoice("security", security, {"none", "starttls", "tls"});
    pool_->Clear();
    SettingsChanged();
  }
  std::string const& GetUsername() const noexcept { return settings_.username; }
  void SetUsername(std::string username) {
    settings_.username = std::move(username);
    pool_->Clear();
    SettingsChanged();
  }
  std::string const& GetPassword() const noexcept { return settings_.password; }
  void SetPassword(std::string password) {
    settings_.password = std::move(password);
    pool_->Clear();
    SettingsChanged();
  }
  std::string const& GetFrom() const noexcept { return template_.from; }
  void SetFrom(std::string from) {
    if (!from.empty() && !IsAddress(from)) {
      throw std::invalid_argument("from address '" + from + "' is not an address like name@example.test");
    }
    template_.from = std::move(from);
  }
  Texts const& GetTo() const noexcept { return template_.to; }
  void SetTo(Texts to) { template_.to = CheckAddresses("to", std::move(to)); }
  Texts const& GetCc() const noexcept { return template_.cc; }
  void SetCc(Texts cc) { template_.cc = CheckAddresses("cc", std::move(cc)); }
  Texts const& GetBcc() const noexcept { return template_.bcc; }
  void SetBcc(Texts bcc) { template_.bcc = CheckAddresses("bcc", std::move(bcc)); }
  std::string const& GetSubject() const noexcept { return subjectText_; }
  void SetSubject(std::string text) {
    template_.subject = templating::Template(text, templating::Escape::None);
    subjectText_ = std::move(text);
  }
  std::string const& GetBody() const noexcept { return bodyText_; }
  void SetBody(std::string text) {
    template_.body = templating::Template(text, templating::Escape::None);
    bodyText_ = std::move(text);
  }
  std::string const& GetHtmlBody() const noexcept { return htmlBodyText_; }
  void SetHtmlBody(std::string text) {
    template_.htmlBody = templating::Template(text, templating::Escape::Html);
    htmlBodyText_ = std::move(text);
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

 private:
  MailTemplate template_;
  std::string subjectText_;
  std::string bodyText_;
  std::string htmlBodyText_;
  MailSettings settings_;
  std::shared_ptr<network::CurlPool> pool_ = std::make_shared<network::CurlPool>();
};

std::vector<property::Schema> MailAction::GetSchemas() {
  using action::properties::Field;
  using action::properties::SecretField;
  using M = MailAction;
  return MakeSchemas({
      Field<&M::GetHost, &M::SetHost>("host", "The mail server's host name or address"),
      Field<&M::GetPort, &M::SetPort>(
          "port", "The mail server's port; 0 for the port of the security: 25 none, 587 starttls, 465 tls"),
      Field<&M::GetSecurity, &M::SetSecurity>(
          "security", "How the connection is secured: none, starttls (required) or tls (implicit TLS)"),
      Field<&M::GetUsername, &M::SetUsername>("username", "The login at the mail server; empty: no login"),
      SecretField<&M::GetPassword, &M::SetPassword>("password", "The password of the login"),
      Field<&M::GetFrom, &M::SetFrom>("from", "The sender's address, name@example.test"),
      Field<&M::GetTo, &M::SetTo>("to", "The recipients' addresses (comma-separated as text)"),
      Field<&M::GetCc, &M::SetCc>("cc", "The addresses that receive a copy, listed in the mail"),
      Field<&M::GetBcc, &M::SetBcc>("bcc", "The addresses that receive a copy, listed nowhere"),
      Field<&M::GetSubject, &M::SetSubject>(
          "subject", "The mustache template of the subject, without escaping; line breaks are left out"),
      Field<&M::GetBody, &M::SetBody>("body", "The mustache template of the plain-text body, without escaping"),
      Field<&M::GetHtmlBody, &M::SetHtmlBody>(
          "html_body", "The mustache template of an HTML body, with HTML escaping; when set the mail carries both"),
      Field<&M::GetVerifyTls, &M::SetVerifyTls>("verify_tls", "Whether the server's certificate and name are verified"),
      Field<&M::GetCaFile, &M::SetCaFile>("ca_file",
                                          "A PEM file of the certificate authorities to trust; empty: the system's"),
      Field<&M::GetConnectTimeoutMs, &M::SetConnectTimeoutMs>("connect_timeout_ms",
                                                              "How long connecting may take, in milliseconds"),
      Field<&M::GetTimeoutMs, &M::SetTimeoutMs>("timeout_ms", "How long sending one mail may take, in milliseconds"),
  });
}

action::Registration<MailAction> const kRegistration;

}  // namespace
}  // namespace orv::plugins::mail
