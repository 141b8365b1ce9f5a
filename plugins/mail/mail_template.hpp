#pragma once

#include <chrono>
#include <cstdint>
#include <mstch/mstch.hpp>
#include <string>
#include <variant>
#include <vector>

#include "mail/mail_message.hpp"
#include "network/failure.hpp"
#include "orv/templating/template.hpp"

namespace orv::plugins::mail {

// Everything of a mail that is rendered from an event, and its addresses.
struct MailTemplate {
  std::string from;
  std::vector<std::string> to;
  std::vector<std::string> cc;
  std::vector<std::string> bcc;
  templating::Template subject;   // no escaping
  templating::Template body;      // no escaping
  templating::Template htmlBody;  // HTML escaping; renders empty when not set
};

// The Message-Id of the mail of one event and one action: the same for the
// same event (id and start) and action, whenever it is rendered, in the
// domain of the sender: "orv.<start ns>.<event id>.<action id>@<domain>".
std::string MessageIdFor(std::chrono::system_clock::time_point start, std::uint32_t eventId, std::uint32_t actionId,
                         std::string const& from);

// Renders one mail from template data: the mail, or the failure of code 7
// when the body is empty (or only white space) once rendered. The subject
// loses its line breaks. A pure function of its arguments; throws only what
// rendering a template throws.
std::variant<MailMessage, network::Failure> Render(MailTemplate const& mail, mstch::map const& data,
                                                   std::chrono::system_clock::time_point date, std::string messageId);

}  // namespace orv::plugins::mail
