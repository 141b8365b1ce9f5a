#pragma once

#include <chrono>
#include <cstdint>
#include <optional>

#include "orv/outbox/message.hpp"
#include "orv/outbox/retry_policy.hpp"

namespace orv::outbox::detail {

// Throws std::invalid_argument when `policy` is outside its documented ranges.
void Validate(RetryPolicy const& policy);

// The wait after the `failures`-th failed attempt of a series (from 1): the
// backed-off ceiling times `jitter`, a number in [0, 1).
std::chrono::nanoseconds RetryDelay(RetryPolicy const& policy, std::uint32_t failures, double jitter);

// When to try again after the `failures`-th failed attempt of a series that
// began at `queuedAt`, failing at `failedAt`; nothing when the message gives up.
std::optional<TimePoint> NextAttempt(RetryPolicy const& policy, TimePoint queuedAt, TimePoint failedAt,
                                     std::uint32_t failures, double jitter,
                                     std::optional<std::chrono::milliseconds> retryAfter);

}  // namespace orv::outbox::detail
