// What the network actions share about delivery: which failures are worth
// retrying, the cool-down, and the retry properties' policy and ranges.

#include "network/delivery.hpp"

#include <gtest/gtest.h>

#include <chrono>
#include <limits>
#include <memory>
#include <stdexcept>
#include <string>

#include "orv/meta/data/event.hpp"
#include "orv/meta/data/observable.hpp"

namespace orv::plugins::network {
namespace {

using action::exception::Code;
using std::chrono::milliseconds;
using std::chrono::seconds;

std::string InvalidArgumentOf(auto call) {
  try {
    call();
  } catch (std::invalid_argument const& error) {
    return error.what();
  }
  return "no std::invalid_argument";
}

TEST(IsPermanent, RefusedLoginNoHostEmptyBodyBadAddressAndBadCertificateAreFinal) {
  for (Code const code : {Code::MailLoginFailed, Code::MailHostEmpty, Code::MailBodyEmpty, Code::RequestUriEmpty,
                          Code::RequestUriUnparsable, Code::RequestCertificateVerificationFailed}) {
    EXPECT_TRUE(IsPermanent({code, "x"})) << static_cast<int>(code);
  }
  for (Code const code : {Code::MailCouldntConnect, Code::MailCouldntSendData, Code::MailSendTimedOut,
                          Code::MailHostNotResolved, Code::MailConnectionTimedOut, Code::RequestHostNotResolved,
                          Code::RequestConnectionTimedOut, Code::RequestFailed, Code::RequestTlsHandshakeFailed}) {
    EXPECT_FALSE(IsPermanent({code, "x"})) << static_cast<int>(code);
  }
}

TEST(IsPermanent, Http4xxIsFinalBut408And429AndOthersAreNot) {
  for (long const status : {400L, 401L, 403L, 404L, 410L, 499L}) {
    EXPECT_TRUE(IsPermanent({Code::RequestFailed, "x", status})) << status;
  }
  for (long const status : {408L, 429L, 399L, 500L, 502L, 503L, 200L, 0L}) {
    EXPECT_FALSE(IsPermanent({Code::RequestFailed, "x", status})) << status;
  }
}

TEST(ToOutcome, KeepsCodeDetailAndRetryAfter) {
  auto const permanent = ToOutcome({Code::RequestFailed, "HTTP status 404", 404, milliseconds(5000)});
  EXPECT_EQ(permanent.kind, outbox::Outcome::Kind::kPermanentFailure);
  EXPECT_EQ(permanent.code, 13U);
  EXPECT_EQ(permanent.detail, "HTTP status 404");
  EXPECT_EQ(permanent.retryAfter, std::nullopt);
  auto const transient = ToOutcome({Code::RequestFailed, "HTTP status 503", 503, milliseconds(7000)});
  EXPECT_EQ(transient.kind, outbox::Outcome::Kind::kTransientFailure);
  EXPECT_EQ(transient.code, 13U);
  EXPECT_EQ(transient.detail, "HTTP status 503");
  EXPECT_EQ(transient.retryAfter, milliseconds(7000));
  EXPECT_EQ(ToOutcome({Code::MailCouldntConnect, "refused"}).kind, outbox::Outcome::Kind::kTransientFailure);
}

TEST(RuleOf, IsTheFirstObservableOrAllOnes) {
  meta::data::Objects objects{std::make_shared<meta::data::Observable const>(17),
                              std::make_shared<meta::data::Observable const>(18)};
  meta::data::Event const withRule("e", "t", "c", std::chrono::system_clock::now(), objects);
  EXPECT_EQ(RuleOf(withRule), 17U);
  meta::data::Event const without("e", "t", "c", std::chrono::system_clock::now(), {});
  EXPECT_EQ(RuleOf(without), std::numeric_limits<std::uint32_t>::max());
}

class CoolDownTest : public ::testing::Test {
 protected:
  std::chrono::steady_clock::time_point now_{std::chrono::hours(1)};
  CoolDown coolDown_{[this] { return now_; }};
};

TEST_F(CoolDownTest, OffByDefault) {
  EXPECT_EQ(coolDown_.GetPeriod(), seconds(0));
  for (int i = 0; i < 5; ++i) {
    EXPECT_TRUE(coolDown_.Admit(1));
  }
}

TEST_F(CoolDownTest, SkipsTheSameRuleWithinThePeriodOnly) {
  coolDown_.SetPeriod(seconds(10));
  EXPECT_TRUE(coolDown_.Admit(1));
  EXPECT_TRUE(coolDown_.Admit(2));  // another rule has its own period
  now_ += milliseconds(9'999);
  EXPECT_FALSE(coolDown_.Admit(1));
  EXPECT_FALSE(coolDown_.Admit(2));
  now_ += milliseconds(1);
  EXPECT_TRUE(coolDown_.Admit(1));
  // A skipped event does not extend the period; the firing at 10 s starts a new one.
  now_ += seconds(5);
  EXPECT_FALSE(coolDown_.Admit(1));
  now_ += seconds(5);
  EXPECT_TRUE(coolDown_.Admit(1));
  EXPECT_TRUE(coolDown_.Admit(2));
}

TEST_F(CoolDownTest, ChangingThePeriodForgetsTheFirings) {
  coolDown_.SetPeriod(seconds(10));
  EXPECT_TRUE(coolDown_.Admit(1));
  EXPECT_FALSE(coolDown_.Admit(1));
  coolDown_.SetPeriod(seconds(20));
  EXPECT_TRUE(coolDown_.Admit(1));
  EXPECT_FALSE(coolDown_.Admit(1));
  coolDown_.SetPeriod(seconds(0));
  EXPECT_TRUE(coolDown_.Admit(1));
  EXPECT_TRUE(coolDown_.Admit(1));
}

TEST_F(CoolDownTest, ManyRulesAreRememberedWhileTheirPeriodRuns) {
  coolDown_.SetPeriod(seconds(10));
  for (std::uint32_t rule = 0; rule < 1000; ++rule) {
    EXPECT_TRUE(coolDown_.Admit(rule));
  }
  for (std::uint32_t rule = 0; rule < 1000; ++rule) {
    EXPECT_FALSE(coolDown_.Admit(rule)) << rule;
  }
  now_ += seconds(10);
  for (std::uint32_t rule = 0; rule < 1000; ++rule) {
    EXPECT_TRUE(coolDown_.Admit(rule)) << rule;
  }
}

TEST(DeliverySettings, DefaultsAreOneSecondFactorTwoFiveMinutesOneDay) {
  auto const policy = DeliverySettings{}.GetPolicy();
  EXPECT_EQ(policy.firstDelay, milliseconds(1000));
  EXPECT_EQ(policy.factor, 2.0);
  EXPECT_EQ(policy.maxDelay, milliseconds(300'000));
  EXPECT_EQ(policy.giveUpAfter, seconds(86'400));
  EXPECT_EQ(DeliverySettings{}.cooldownS, 0);
}

TEST(DeliverySettings, AMaximumBelowTheFirstDelayIsTheFirstDelay) {
  DeliverySettings settings;
  settings.retryFirstMs = 5000;
  settings.retryMaxMs = 10;
  settings.retryFactor = 3;
  settings.giveUpAfterS = 0;
  auto const policy = settings.GetPolicy();
  EXPECT_EQ(policy.firstDelay, milliseconds(5000));
  EXPECT_EQ(policy.maxDelay, milliseconds(5000));
  EXPECT_EQ(policy.factor, 3.0);
  EXPECT_EQ(policy.giveUpAfter, seconds(0));
}

TEST(DeliverySettings, EachPropertyChecksItsRange) {
  EXPECT_EQ(CheckCooldownS(0), 0);
  EXPECT_EQ(CheckCooldownS(86'400), 86'400);
  EXPECT_EQ(CheckRetryFirstMs(1), 1);
  EXPECT_EQ(CheckRetryFactor(10), 10);
  EXPECT_EQ(CheckRetryMaxMs(86'400'000), 86'400'000);
  EXPECT_EQ(CheckGiveUpAfterS(0), 0);
  EXPECT_EQ(InvalidArgumentOf([] { CheckCooldownS(-1); }), "cooldown_s -1 is not between 0 and 86400");
  EXPECT_EQ(InvalidArgumentOf([] { CheckCooldownS(86'401); }), "cooldown_s 86401 is not between 0 and 86400");
  EXPECT_EQ(InvalidArgumentOf([] { CheckRetryFirstMs(0); }), "retry_first_ms 0 is not between 1 and 86400000");
  EXPECT_EQ(InvalidArgumentOf([] { CheckRetryFactor(11); }), "retry_factor 11 is not between 1 and 10");
  EXPECT_EQ(InvalidArgumentOf([] { CheckRetryMaxMs(0); }), "retry_max_ms 0 is not between 1 and 86400000");
  EXPECT_EQ(InvalidArgumentOf([] { CheckGiveUpAfterS(-5); }), "give_up_after_s -5 is not between 0 and 31622400");
}

TEST(AttemptFailureText, NamesTheActionTheDeliveryTheKindAndTheCode) {
  EXPECT_EQ(AttemptFailureText("door", "ab-1", {Code::RequestFailed, "HTTP status 503, expected 2xx", 503}),
            "\"door\": delivery ab-1 failed (transient, code 13): HTTP status 503, expected 2xx");
  EXPECT_EQ(AttemptFailureText("door", "ab-2", {Code::RequestFailed, "HTTP status 404, expected 2xx", 404}),
            "\"door\": delivery ab-2 failed (permanent, code 13): HTTP status 404, expected 2xx");
}

}  // namespace
}  // namespace orv::plugins::network
