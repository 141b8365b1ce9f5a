#include "network/delivery.hpp"

#include <algorithm>
#include <limits>
#include <stdexcept>

#include "network/choice.hpp"
#include "orv/meta/data/observable.hpp"

namespace orv::plugins::network {
namespace {

using action::exception::Code;

// Rules remembered before the expired ones are dropped: an action listens to
// a few rules, but events may name any.
constexpr std::size_t kRememberedRules = 256;

}  // namespace

bool IsPermanent(Failure const& failure) noexcept {
  switch (failure.code) {
    case Code::MailLoginFailed:
    case Code::MailHostEmpty:
    case Code::MailBodyEmpty:
    case Code::RequestUriEmpty:
    case Code::RequestUriUnparsable:
    case Code::RequestCertificateVerificationFailed:
      return true;
    default:
      break;
  }
  return failure.status >= 400 && failure.status < 500 && failure.status != 408 && failure.status != 429;
}

outbox::Outcome ToOutcome(Failure failure) {
  auto const code = static_cast<std::uint32_t>(failure.code);
  if (IsPermanent(failure)) {
    return outbox::Outcome::PermanentFailure(code, std::move(failure.detail));
  }
  return outbox::Outcome::TransientFailure(code, std::move(failure.detail), failure.retryAfter);
}

std::uint32_t RuleOf(meta::data::Event const& event) noexcept {
  auto const* rule = meta::data::FindFirst<meta::data::Observable>(event.GetObjects());
  return rule != nullptr ? rule->GetId() : std::numeric_limits<std::uint32_t>::max();
}

CoolDown::CoolDown(Clock clock) : clock_(std::move(clock)) {
  if (!clock_) {
    clock_ = [] { return std::chrono::steady_clock::now(); };
  }
}

void CoolDown::SetPeriod(std::chrono::seconds period) {
  std::lock_guard const lock(mutex_);
  period_ = period.count();
  fired_.clear();
}

bool CoolDown::Admit(std::uint32_t rule) {
  auto const period = std::chrono::seconds(period_.load());
  if (period == std::chrono::seconds::zero()) {
    return true;
  }
  auto const now = clock_();
  std::lock_guard const lock(mutex_);
  auto const [found, inserted] = fired_.try_emplace(rule, now);
  if (inserted) {
    if (fired_.size() > kRememberedRules) {
      std::erase_if(fired_, [&](auto const& entry) { return entry.first != rule && now - entry.second >= period; });
    }
    return true;
  }
  if (now - found->second < period) {
    return false;
  }
  found->second = now;
  return true;
}

outbox::RetryPolicy DeliverySettings::GetPolicy() const {
  outbox::RetryPolicy policy;
  policy.firstDelay = std::chrono::milliseconds(retryFirstMs);
  policy.factor = static_cast<double>(retryFactor);
  policy.maxDelay = std::chrono::milliseconds(std::max(retryMaxMs, retryFirstMs));
  policy.giveUpAfter = std::chrono::seconds(giveUpAfterS);
  return policy;
}

// The upper bounds are far beyond any use and keep every duration from overflowing.
std::int64_t CheckCooldownS(std::int64_t seconds) { return CheckRange("cooldown_s", seconds, 0, 86'400); }
std::int64_t CheckRetryFirstMs(std::int64_t ms) { return CheckRange("retry_first_ms", ms, 1, 86'400'000); }
std::int64_t CheckRetryFactor(std::int64_t factor) { return CheckRange("retry_factor", factor, 1, 10); }
std::int64_t CheckRetryMaxMs(std::int64_t ms) { return CheckRange("retry_max_ms", ms, 1, 86'400'000); }
std::int64_t CheckGiveUpAfterS(std::int64_t seconds) { return CheckRange("give_up_after_s", seconds, 0, 366 * 86'400); }

std::string AttemptFailureText(std::string const& actionName, std::string const& deliveryId, Failure const& failure) {
  return "\"" + actionName + "\": delivery " + deliveryId + " failed (" +
         (IsPermanent(failure) ? "permanent" : "transient") + ", code " +
         std::to_string(static_cast<std::uint32_t>(failure.code)) + "): " + failure.detail;
}

}  // namespace orv::plugins::network
