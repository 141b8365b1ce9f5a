#pragma once

#include <chrono>

namespace orv::outbox {

// When an action's transiently failed messages are tried again.
//
// After the n-th failed attempt of a series, the next attempt waits a random
// time, uniform in [0, min(maxDelay, firstDelay * factor^(n-1))) ("full
// jitter"), or the receiver's Retry-After when that is longer. A message whose
// series began more than giveUpAfter ago goes to the dead list at its next
// failure; the last attempt is made at that deadline rather than skipped. A
// Retry-After beyond the deadline sends the message to the dead list at once.
// The longest maximum delay and give-up time a policy may have (ten years):
// longer ones are refused with std::invalid_argument.
inline constexpr std::chrono::milliseconds kLongestRetryTime = std::chrono::hours(24 * 3653);

struct RetryPolicy {
  std::chrono::milliseconds firstDelay = std::chrono::seconds(1);  // > 0
  double factor = 2.0;                                             // >= 1
  std::chrono::milliseconds maxDelay = std::chrono::minutes(5);    // >= firstDelay, <= kLongestRetryTime
  std::chrono::milliseconds giveUpAfter = std::chrono::hours(24);  // >= 0, <= kLongestRetryTime
};

}  // namespace orv::outbox
