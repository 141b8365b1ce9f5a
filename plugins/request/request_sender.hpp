#pragma once

#include <optional>
#include <string>

#include "network/connection.hpp"
#include "network/curl_pool.hpp"
#include "network/failure.hpp"
#include "request/request_message.hpp"
#include "request/response.hpp"

namespace orv::plugins::request {

// How requests of one action are sent: everything that is not rendered from
// an event, credentials included.
struct RequestSettings {
  network::ConnectionSettings connection;
  std::string auth = "none";      // none, basic, digest or bearer
  std::string username;           // basic and digest
  std::string password;           // basic and digest
  std::string token;              // bearer
  std::string clientCertificate;  // PEM file, for mutual TLS
  std::string clientKey;          // PEM file of its key
  ExpectedStatus expected;
};

// Sends `message` with `settings` on a handle of `pool` and reads the
// response: nullopt when the status is expected, otherwise the failure, with
// the server's Retry-After when it sent one.
// Redirects are not followed; only http and https are spoken. Blocks for at
// most the settings' time-outs. Thread-safe.
std::optional<network::Failure> Send(network::CurlPool& pool, RequestMessage const& message,
                                     RequestSettings const& settings);

}  // namespace orv::plugins::request
