#pragma once

#include <string>

#include "mail/mail_message.hpp"

namespace orv::plugins::mail {

// The RFC 5322 text of `mail`, as it goes to the mail server, with CRLF line
// ends: From, To, Cc (when any), Subject (RFC 2047 encoded when it is not
// ASCII; line breaks left out), Date (of mail.date, UTC), Message-Id,
// MIME-Version, and the body as UTF-8 text/plain in quoted-printable, or
// multipart/alternative of that and the HTML body when there is one. Bcc
// recipients appear nowhere in it. The same mail always gives the same text:
// the multipart boundary comes from the Message-Id. A pure function, built
// with GMime; thread-safe.
std::string BuildMailText(MailMessage const& mail);

}  // namespace orv::plugins::mail
