#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <unordered_map>
#include <vector>

#include "network/failure.hpp"
#include "orv/meta/data/event.hpp"
#include "orv/outbox/outcome.hpp"
#include "orv/outbox/retry_policy.hpp"

namespace orv::plugins::network {

// Whether sending again cannot help: a refused login (2), no mail host (5),
// an empty body (7), an empty or unparsable address (9, 10), a certificate
// that does not verify (15), or an HTTP status 4xx other than 408 (request
// time-out) and 429 (too many requests). Everything else may pass.
bool IsPermanent(Failure const& failure) noexcept;

// What the outbox makes of a failed attempt: a permanent failure (dead at
// once) or a transient one (tried again, no earlier than the server's
// Retry-After), with the failure's code and detail.
outbox::Outcome ToOutcome(Failure failure);

// The rule an event belongs to: the id of its first Observable object, or
// 4294967295 when it has none (as in the audit text).
std::uint32_t RuleOf(meta::data::Event const& event) noexcept;

// An action's cool-down: after it fires for a rule, further events of that
// rule within the period are skipped. Thread-safe.
class CoolDown {
 public:
  using Clock = std::function<std::chrono::steady_clock::time_point()>;

  // Empty `clock`: std::chrono::steady_clock::now.
  explicit CoolDown(Clock clock = {});

  std::chrono::seconds GetPeriod() const noexcept { return std::chrono::seconds(period_.load()); }
  // Zero turns the cool-down off; the rules' last firings are forgotten.
  void SetPeriod(std::chrono::seconds period);

  // Whether an event of `rule` may fire now: always with a period of 0,
  // otherwise when the rule has not fired within the period. Records the
  // firing; a skipped event does not extend the period.
  bool Admit(std::uint32_t rule);

 private:
  Clock clock_;
  std::atomic<std::int64_t> period_{0};
  std::mutex mutex_;
  std::unordered_map<std::uint32_t, std::chrono::steady_clock::time_point> fired_;
};

// The delivery settings of a network action, as its properties set them.
struct DeliverySettings {
  std::int64_t cooldownS = 0;
  std::int64_t retryFirstMs = 1000;
  std::int64_t retryFactor = 2;
  std::int64_t retryMaxMs = 300'000;
  std::int64_t giveUpAfterS = 86'400;

  // The outbox's policy: a maximum below the first delay counts as the first delay.
  outbox::RetryPolicy GetPolicy() const;
};

// The checked setters of the delivery properties: each throws
// std::invalid_argument naming the property, the value and its range.
std::int64_t CheckCooldownS(std::int64_t seconds);
std::int64_t CheckRetryFirstMs(std::int64_t ms);
std::int64_t CheckRetryFactor(std::int64_t factor);
std::int64_t CheckRetryMaxMs(std::int64_t ms);
std::int64_t CheckGiveUpAfterS(std::int64_t seconds);

// Where a failed attempt of a queued message is logged: "<name>": delivery
// <id> failed (permanent|transient, code <c>): <detail>.
std::string AttemptFailureText(std::string const& actionName, std::string const& deliveryId, Failure const& failure);

}  // namespace orv::plugins::network
