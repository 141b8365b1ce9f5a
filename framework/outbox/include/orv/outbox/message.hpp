#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "orv/outbox/export.hpp"

namespace orv::outbox {

// Wall-clock time: what the outbox stores, and what its clock returns.
using TimePoint = std::chrono::system_clock::time_point;

// What an action hands to the outbox: one message, rendered while the event
// was still valid, that the action's sender can send without the event.
struct Submission {
  // The stable key the action's sender is registered under (for example the
  // configured action's name); never empty.
  std::string actionKey{};
  // The id of the event the message is about, for listings and logs.
  std::uint64_t eventId = 0;
  // Where the message goes, as text for people: "https://host/hook", "smtp://mail.example.com".
  std::string destination{};
  // Everything the sender needs, as bytes: the whole request or the whole mail.
  std::string payload{};
};

// Why a message is on the dead list.
enum class DeadReason : std::uint8_t {
  kPermanentFailure = 1,  // the sender said that trying again cannot help
  kGaveUp = 2,            // transient failures until the retry policy's deadline
  kOutboxFull = 3,        // the oldest pending message when a new one did not fit
};

// The reason as text: "permanent failure", "gave up", "outbox full".
ORV_OUTBOX_API std::string_view GetText(DeadReason reason) noexcept;

// One message of the outbox, pending or dead.
struct Message {
  // Stable over every attempt and restart, unique across databases. Senders
  // put it into what they send (an "Idempotency-Key" header, a mail's
  // Message-ID) so that receivers can drop duplicates.
  std::string deliveryId{};
  std::string actionKey{};
  std::uint64_t eventId = 0;
  std::string destination{};
  std::string payload{};
  // When Accept took the message.
  TimePoint acceptedAt{};
  // When the current series of attempts began: the acceptance, or the last
  // re-queueing. The retry policy's give-up time counts from it.
  TimePoint queuedAt{};
  // Attempts made in the current series; 0 while the first one runs.
  std::uint32_t attempts = 0;
  // The earliest time of the next attempt.
  TimePoint nextAttemptAt{};
  // The code and detail of the last failure; 0 and empty before any.
  std::uint32_t lastCode = 0;
  std::string lastDetail{};
  // Set on dead messages only.
  std::optional<DeadReason> deadReason{};
  TimePoint diedAt{};
};

}  // namespace orv::outbox
