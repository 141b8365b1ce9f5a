#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "orv/action/exception.hpp"

namespace orv::plugins::network {

// Why one message could not be sent: the code the user sees and the detail a
// person needs to fix it (a server's reply, libcurl's error text). The detail
// never holds a password or a token.
struct Failure {
  action::exception::Code code;
  std::string detail;
  // The HTTP status of the answer when there was one that failed; 0 otherwise.
  long status = 0;
  // How long the server asked the client to wait ("Retry-After"), if it did.
  std::optional<std::chrono::milliseconds> retryAfter{};

  friend bool operator==(Failure const&, Failure const&) = default;
};

// Writes the detail to the log sink as `source` (the action's type name),
// prefixed with the action's name in quotes when it has one, and throws
// orv::action::Exception with the code. Each of `secrets` (the action's
// passwords and tokens) shows as "***" wherever it occurs in the detail: a
// server may echo a credential back in the response quoted there.
[[noreturn]] void Report(std::string_view source, std::string_view actionName, Failure const& failure,
                         std::vector<std::string_view> const& secrets = {});

}  // namespace orv::plugins::network
