#pragma once

#include <curl/curl.h>

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "mail/mail_message.hpp"
#include "network/connection.hpp"
#include "network/curl_pool.hpp"
#include "network/failure.hpp"

namespace orv::plugins::mail {

// How the mails of one action reach their server, credentials included.
struct MailSettings {
  network::ConnectionSettings connection;
  std::string host;
  std::int64_t port = 0;              // 0: the port of the security
  std::string security = "starttls";  // none, starttls or tls
  std::string username;               // AUTH only when not empty
  std::string password;
};

// The port a security setting uses by default: 25 for none, 587 for
// starttls, 465 for tls (implicit TLS).
std::int64_t DefaultPort(std::string_view security) noexcept;

// The failure of an SMTP transfer that libcurl ended with `code` (not
// CURLE_OK), fed from its parts: `errorText` is libcurl's text, `lastReply`
// the server's last reply line (may be empty), `connected` whether a
// connection was made. Resolution 6, no connection or no secure one 1, login
// refused 2, time-out 8 before connecting and 4 after, anything else 3.
network::Failure FailureOf(CURLcode code, std::string_view errorText, std::string_view lastReply, bool connected);

// Keeps in `kept` the server's last reply line, or its last refusal (4xx,
// 5xx) once there is one, so that the "221 Bye" after a refusal does not hide
// it; `data` is one reply line as libcurl reports it. What is kept is at most
// 200 bytes (and "..."), on one line.
void KeepReply(std::string& kept, std::string_view data);

// Sends `text`, the built form of `mail`, to its sender and recipients
// (to, cc and bcc) with `settings`, on a handle of `pool`: nullopt when the
// server took it, otherwise the failure (code 5 for an empty host, before
// anything is sent). Blocks for at most the settings' time-outs.
// Thread-safe.
std::optional<network::Failure> Send(network::CurlPool& pool, MailMessage const& mail, std::string const& text,
                                     MailSettings const& settings);

}  // namespace orv::plugins::mail
