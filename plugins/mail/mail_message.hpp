#pragma once

#include <chrono>
#include <string>
#include <vector>

namespace orv::plugins::mail {

// One mail rendered from one event, ready to be sent (now, or later from a
// queue). It holds no credentials and no server settings, which stay with the
// action. Addresses are plain "name@domain" addresses, checked when the
// action's properties were set.
struct MailMessage {
  std::string from;
  std::vector<std::string> to;
  std::vector<std::string> cc;
  std::vector<std::string> bcc;  // receive the mail, appear in no header
  std::string subject;           // one line
  std::string body;              // plain text
  std::string htmlBody;          // empty: a plain-text mail; otherwise multipart/alternative
  std::chrono::system_clock::time_point date;
  std::string messageId;  // without angle brackets: "orv.1.2.3@example.test"

  friend bool operator==(MailMessage const&, MailMessage const&) = default;
};

}  // namespace orv::plugins::mail
