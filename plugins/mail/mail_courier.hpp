#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "mail/mail_message.hpp"
#include "mail/smtp.hpp"
#include "network/curl_pool.hpp"
#include "network/network_action.hpp"

namespace orv::plugins::mail {

// How the mails of one action are sent, with its settings of one moment.
//
// What the outbox stores of a mail is what was rendered from the event:
// sender, recipients, subject, bodies and date. The server, the login and
// its password stay with the action; a stored mail goes to the server the
// action names when it is sent.
class MailCourier : public network::Courier<MailMessage> {
 public:
  MailCourier(MailSettings settings, std::shared_ptr<network::CurlPool> pool);

  // With a delivery id, the mail's Message-Id is made from it
  // (MessageIdForDelivery), the same on every attempt.
  std::optional<network::Failure> Send(MailMessage const& mail, std::string const& deliveryId) const override;
  // The password.
  std::vector<std::string> Secrets(MailMessage const& mail) const override;
  // "smtp://host:port to a@example.test, b@example.test" (smtps for tls;
  // the to and cc recipients, and how many bcc ones).
  std::string Destination(MailMessage const& mail) const override;
  // CBOR: {"v": 1, "from", "to", "cc", "bcc", "subject", "body", "html_body",
  // "date": nanoseconds since 1970}; the Message-Id is not stored.
  std::string Encode(MailMessage const& mail) const override;
  MailMessage Decode(std::string const& payload) const override;

 private:
  MailSettings settings_;
  std::shared_ptr<network::CurlPool> pool_;
};

// The Message-Id of the mail of one outbox delivery, without angle brackets:
// "orv.<delivery id>@<sender's domain>".
std::string MessageIdForDelivery(std::string const& deliveryId, std::string const& from);

}  // namespace orv::plugins::mail
