#include "schedule.hpp"

#include <algorithm>
#include <cmath>
#include <stdexcept>
#include <string>

namespace orv::outbox::detail {

void Validate(RetryPolicy const& policy) {
  if (policy.firstDelay <= std::chrono::milliseconds::zero()) {
    throw std::invalid_argument("a retry policy's first delay must be positive, not " +
                                std::to_string(policy.firstDelay.count()) + " ms");
  }
  if (!(policy.factor >= 1.0) || !std::isfinite(policy.factor)) {
    throw std::invalid_argument("a retry policy's factor must be at least 1, not " + std::to_string(policy.factor));
  }
  if (policy.maxDelay < policy.firstDelay) {
    throw std::invalid_argument("a retry policy's maximum delay (" + std::to_string(policy.maxDelay.count()) +
                                " ms) must not be below its first delay (" + std::to_string(policy.firstDelay.count()) +
                                " ms)");
  }
  if (policy.giveUpAfter < std::chrono::milliseconds::zero()) {
    throw std::invalid_argument("a retry policy's give-up time must not be negative, not " +
                                std::to_string(policy.giveUpAfter.count()) + " ms");
  }
  if (policy.maxDelay > kLongestRetryTime || policy.giveUpAfter > kLongestRetryTime) {
    throw std::invalid_argument("a retry policy's maximum delay (" + std::to_string(policy.maxDelay.count()) +
                                " ms) and give-up time (" + std::to_string(policy.giveUpAfter.count()) +
                                " ms) must not exceed " + std::to_string(kLongestRetryTime.count()) + " ms");
  }
}

std::chrono::nanoseconds RetryDelay(RetryPolicy const& policy, std::uint32_t failures, double jitter) {
  using Nanoseconds = std::chrono::duration<long double, std::nano>;
  auto const first = std::chrono::duration_cast<Nanoseconds>(policy.firstDelay).count();
  auto const cap = std::chrono::duration_cast<Nanoseconds>(policy.maxDelay).count();
  // A large exponent overflows to infinity, which the cap absorbs.
  auto const ceiling =
      std::min(cap, first * std::pow(static_cast<long double>(policy.factor), std::max(failures, 1U) - 1));
  auto const fraction = std::clamp(static_cast<long double>(jitter), 0.0L, 1.0L);
  return std::chrono::nanoseconds(std::llround(ceiling * fraction));
}

std::optional<TimePoint> NextAttempt(RetryPolicy const& policy, TimePoint queuedAt, TimePoint failedAt,
                                     std::uint32_t failures, double jitter,
                                     std::optional<std::chrono::milliseconds> retryAfter) {
  auto const deadline = queuedAt + std::chrono::duration_cast<TimePoint::duration>(policy.giveUpAfter);
  if (failedAt >= deadline) {
    return std::nullopt;
  }
  auto delay = std::chrono::duration_cast<TimePoint::duration>(RetryDelay(policy, failures, jitter));
  auto const honoured = retryAfter && *retryAfter > std::chrono::milliseconds::zero();
  if (honoured) {
    // The receiver asked us not to come back before the deadline: give up now
    // rather than against its wish. Compared before any sum, since a
    // receiver's number may be as large as it likes.
    if (*retryAfter > std::chrono::duration_cast<std::chrono::milliseconds>(deadline - failedAt)) {
      return std::nullopt;
    }
    delay = std::max(delay, std::chrono::duration_cast<TimePoint::duration>(*retryAfter));
  }
  auto const next = failedAt + delay;
  if (next <= deadline) {
    return next;
  }
  // Make one last attempt at the deadline rather than skip it.
  return deadline;
}

}  // namespace orv::outbox::detail
