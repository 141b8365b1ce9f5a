#include "mail/mail_courier.hpp"

#include <chrono>
#include <cstdint>
#include <nlohmann/json.hpp>
#include <stdexcept>
#include <utility>

#include "mail/address.hpp"
#include "mail/mime.hpp"

namespace orv::plugins::mail {
namespace {

constexpr int kPayloadVersion = 1;

}  // namespace

std::string MessageIdForDelivery(std::string const& deliveryId, std::string const& from) {
  return "orv." + deliveryId + "@" + DomainOf(from);
}

MailCourier::MailCourier(MailSettings settings, std::shared_ptr<network::CurlPool> pool)
    : settings_(std::move(settings)), pool_(std::move(pool)) {}

std::optional<network::Failure> MailCourier::Send(MailMessage const& mail, std::string const& deliveryId) const {
  if (deliveryId.empty()) {
    return mail::Send(*pool_, mail, BuildMailText(mail), settings_);
  }
  MailMessage identified = mail;
  identified.messageId = MessageIdForDelivery(deliveryId, mail.from);
  return mail::Send(*pool_, identified, BuildMailText(identified), settings_);
}

std::vector<std::string> MailCourier::Secrets(MailMessage const&) const { return {settings_.password}; }

std::string MailCourier::Destination(MailMessage const& mail) const {
  std::string destination = std::string(settings_.security == "tls" ? "smtps://" : "smtp://") + settings_.host + ":" +
                            std::to_string(settings_.port != 0 ? settings_.port : DefaultPort(settings_.security));
  char const* separator = " to ";
  for (auto const* list : {&mail.to, &mail.cc}) {
    for (std::string const& address : *list) {
      destination.append(separator).append(address);
      separator = ", ";
    }
  }
  if (!mail.bcc.empty()) {
    destination.append(" (and ").append(std::to_string(mail.bcc.size())).append(" bcc)");
  }
  return destination;
}

std::string MailCourier::Encode(MailMessage const& mail) const {
  nlohmann::json const payload = {
      {"v", kPayloadVersion},
      {"from", mail.from},
      {"to", mail.to},
      {"cc", mail.cc},
      {"bcc", mail.bcc},
      {"subject", mail.subject},
      {"body", mail.body},
      {"html_body", mail.htmlBody},
      {"date", std::chrono::duration_cast<std::chrono::nanoseconds>(mail.date.time_since_epoch()).count()},
  };
  auto const bytes = nlohmann::json::to_cbor(payload);
  return std::string(bytes.begin(), bytes.end());
}

MailMessage MailCourier::Decode(std::string const& payload) const {
  nlohmann::json stored;
  try {
    stored = nlohmann::json::from_cbor(payload);
  } catch (nlohmann::json::exception const& error) {
    throw std::runtime_error(std::string("not a stored mail: ") + error.what());
  }
  if (!stored.is_object() || stored.value("v", 0) != kPayloadVersion) {
    throw std::runtime_error("not a stored mail of version " + std::to_string(kPayloadVersion));
  }
  try {
    MailMessage mail;
    mail.from = stored.at("from").get<std::string>();
    mail.to = stored.at("to").get<std::vector<std::string>>();
    mail.cc = stored.at("cc").get<std::vector<std::string>>();
    mail.bcc = stored.at("bcc").get<std::vector<std::string>>();
    mail.subject = stored.at("subject").get<std::string>();
    mail.body = stored.at("body").get<std::string>();
    mail.htmlBody = stored.at("html_body").get<std::string>();
    mail.date = std::chrono::system_clock::time_point(std::chrono::duration_cast<std::chrono::system_clock::duration>(
        std::chrono::nanoseconds(stored.at("date").get<std::int64_t>())));
    return mail;
  } catch (nlohmann::json::exception const& error) {
    throw std::runtime_error(std::string("a stored mail without its parts: ") + error.what());
  }
}

}  // namespace orv::plugins::mail
