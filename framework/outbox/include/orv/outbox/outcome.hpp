#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <utility>

#include "orv/outbox/message.hpp"

namespace orv::outbox {

// What one attempt to send a message came to. Codes are the action's failure
// codes (orv::action::exception::Code) as integers.
struct Outcome {
  enum class Kind : std::uint8_t {
    kSent,              // delivered: the message leaves the outbox
    kTransientFailure,  // worth trying again later, after the retry policy's delay
    kPermanentFailure,  // trying again cannot help: the message goes to the dead list
  };

  Kind kind = Kind::kSent;
  std::uint32_t code = 0;
  std::string detail{};
  // The receiver's "Retry-After": the next attempt comes no earlier.
  std::optional<std::chrono::milliseconds> retryAfter{};

  static Outcome Sent() { return {}; }
  static Outcome TransientFailure(std::uint32_t code, std::string detail,
                                  std::optional<std::chrono::milliseconds> retryAfter = std::nullopt) {
    return {Kind::kTransientFailure, code, std::move(detail), retryAfter};
  }
  static Outcome PermanentFailure(std::uint32_t code, std::string detail) {
    return {Kind::kPermanentFailure, code, std::move(detail), std::nullopt};
  }
};

// Sends one message and says how that went. Runs on the outbox's sending
// thread of the message's action, one message at a time. An exception it
// throws counts as a transient failure with code 0 and the exception's text.
// It should bound its own waiting (connection and answer timeouts): while it
// runs, that action's later messages wait.
using Sender = std::function<Outcome(Message const& message)>;

}  // namespace orv::outbox
