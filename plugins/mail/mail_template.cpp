#include "mail/mail_template.hpp"

#include "mail/address.hpp"
#include "network/text.hpp"

namespace orv::plugins::mail {

std::string MessageIdFor(std::chrono::system_clock::time_point start, std::uint32_t eventId, std::uint32_t actionId,
                         std::string const& from) {
  auto const nanoseconds = std::chrono::duration_cast<std::chrono::nanoseconds>(start.time_since_epoch()).count();
  return "orv." + std::to_string(nanoseconds) + "." + std::to_string(eventId) + "." + std::to_string(actionId) + "@" +
         DomainOf(from);
}

std::variant<MailMessage, network::Failure> Render(MailTemplate const& mail, mstch::map const& data,
                                                   std::chrono::system_clock::time_point date, std::string messageId) {
  MailMessage message;
  message.body = mail.body.Render(data);
  if (network::Trim(message.body).empty()) {
    return network::Failure{action::exception::Code::MailBodyEmpty, "the body is empty once rendered"};
  }
  message.from = mail.from;
  message.to = mail.to;
  message.cc = mail.cc;
  message.bcc = mail.bcc;
  message.subject = network::WithoutLineBreaks(mail.subject.Render(data));
  message.htmlBody = mail.htmlBody.Render(data);
  message.date = date;
  message.messageId = std::move(messageId);
  return message;
}

}  // namespace orv::plugins::mail
