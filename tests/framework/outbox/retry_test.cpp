#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "fixture.hpp"

namespace orv::outbox::test {
namespace {

using std::chrono::milliseconds;
using std::chrono::minutes;
using std::chrono::seconds;

Outcome TimedOut(Message const&, std::size_t) { return Outcome::TransientFailure(12, "connection timed out"); }

TEST_F(OutboxTest, APermanentFailureIsSentOnceAndGoesToTheDeadList) {
  auto outbox = Open();
  auto const id = outbox->Accept({"webhook", 9, "https://a.example/hook", "body"});
  auto sender =
      MakeSender([](Message const&, std::size_t) { return Outcome::PermanentFailure(13, "HTTP 404 Not Found"); });
  outbox->Register("webhook", sender.AsSender());
  ASSERT_TRUE(Eventually([&] { return outbox->GetCounters("webhook").dead == 1; }));

  auto const dead = outbox->ListDead();
  ASSERT_EQ(dead.size(), 1U);
  EXPECT_EQ(dead[0].deliveryId, id);
  EXPECT_EQ(dead[0].deadReason, DeadReason::kPermanentFailure);
  EXPECT_EQ(dead[0].lastCode, 13U);
  EXPECT_EQ(dead[0].lastDetail, "HTTP 404 Not Found");
  EXPECT_EQ(dead[0].attempts, 1U);
  EXPECT_EQ(dead[0].diedAt, FakeClock::kStart);
  EXPECT_EQ(dead[0].payload, "body");
  EXPECT_TRUE(outbox->ListPending().empty());

  // Time passing changes nothing: no second attempt.
  AdvanceTo(*outbox, FakeClock::kStart + minutes(10));
  outbox->Flush();
  EXPECT_EQ(sender.CountAttempts(), 1U);
  auto const counters = outbox->GetCounters("webhook");
  EXPECT_EQ(counters.dead, 1U);
  EXPECT_EQ(counters.sent, 0U);
  EXPECT_EQ(counters.retried, 0U);
  EXPECT_EQ(counters.skipped, 0U);
  EXPECT_EQ(counters.pending, 0U);

  ASSERT_TRUE(Eventually([&] { return reports_.Count(Report::Kind::kDead) == 1; }));
  auto const report = reports_.Get().at(0);
  EXPECT_EQ(report.actionKey, "webhook");
  EXPECT_EQ(report.deliveryId, id);
  EXPECT_EQ(report.text, "message " + id +
                             " of action \"webhook\" to https://a.example/hook is dead (permanent failure) after 1 "
                             "attempt; last failure 13: HTTP 404 Not Found");

  // The dead list survives a restart.
  outbox.reset();
  outbox = Open();
  auto const reloaded = outbox->ListDead();
  ASSERT_EQ(reloaded.size(), 1U);
  EXPECT_EQ(reloaded[0].deliveryId, id);
  EXPECT_EQ(reloaded[0].deadReason, DeadReason::kPermanentFailure);
  EXPECT_EQ(reloaded[0].lastCode, 13U);
  EXPECT_EQ(reloaded[0].lastDetail, "HTTP 404 Not Found");
  EXPECT_TRUE(outbox->ListPending().empty());
}

// Waits for the `attempt`-th attempt to have failed and returns the next attempt's time.
TimePoint AwaitRetry(Outbox& outbox, std::uint32_t attempt) {
  TimePoint next;
  EXPECT_TRUE(Eventually([&] {
    auto const pending = outbox.ListPending();
    if (pending.size() == 1 && pending[0].attempts == attempt) {
      next = pending[0].nextAttemptAt;
      return true;
    }
    return false;
  })) << "attempt "
      << attempt;
  return next;
}

TEST_F(OutboxTest, TransientFailuresAreRetriedWithExponentialBackOffAndFullJitter) {
  auto settings = MakeSettings();
  // Full ceilings first, then fractions of them.
  settings.jitter = ScriptedJitter({1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 0.5, 0.25, 0.125, 1});
  Outbox outbox(settings);
  outbox.Accept(MakeSubmission("webhook", "x"));
  auto sender = MakeSender(TimedOut);
  outbox.Register("webhook", sender.AsSender());

  std::vector<milliseconds> const expected = {
      seconds(1),          seconds(2),   seconds(4),   seconds(8),   seconds(16),           seconds(32),
      seconds(64),         seconds(128), seconds(256), seconds(300), milliseconds(150'000), milliseconds(75'000),
      milliseconds(37'500)};
  auto failedAt = FakeClock::kStart;
  for (std::uint32_t attempt = 1; attempt <= expected.size(); ++attempt) {
    auto const next = AwaitRetry(outbox, attempt);
    EXPECT_EQ(next - failedAt, expected[attempt - 1]) << "after attempt " << attempt;
    AdvanceTo(outbox, next);
    failedAt = next;
  }
  // The attempt at the last retry time fails too, and waits the full ceiling again.
  EXPECT_EQ(AwaitRetry(outbox, 14) - failedAt, seconds(300));
  auto const attempts = sender.GetAttempts();
  ASSERT_EQ(attempts.size(), expected.size() + 1);
  auto at = FakeClock::kStart;
  for (std::size_t i = 0; i < expected.size(); ++i) {
    EXPECT_EQ(attempts[i].at, at) << "attempt " << i + 1;
    at += expected[i];
  }
  EXPECT_EQ(attempts.back().at, failedAt);
  EXPECT_EQ(outbox.GetCounters("webhook").retried, 14U);
  EXPECT_EQ(outbox.GetCounters("webhook").dead, 0U);
}

TEST_F(OutboxTest, RetryPolicyIsPerAction) {
  auto outbox = Open();
  outbox->Accept(MakeSubmission("fast", "x"));
  outbox->Accept(MakeSubmission("slow", "x"));
  auto sender = MakeSender(TimedOut);
  outbox->Register("fast", sender.AsSender(), {.firstDelay = milliseconds(100), .factor = 3, .maxDelay = seconds(1)});
  outbox->Register("slow", sender.AsSender());
  ASSERT_TRUE(
      Eventually([&] { return outbox->GetCounters("fast").retried == 1 && outbox->GetCounters("slow").retried == 1; }));
  auto const pending = outbox->ListPending();
  ASSERT_EQ(pending.size(), 2U);
  EXPECT_EQ(pending[0].nextAttemptAt - FakeClock::kStart, milliseconds(100));
  EXPECT_EQ(pending[1].nextAttemptAt - FakeClock::kStart, seconds(1));

  AdvanceTo(*outbox, FakeClock::kStart + milliseconds(100));
  ASSERT_TRUE(Eventually([&] { return outbox->GetCounters("fast").retried == 2; }));
  EXPECT_EQ(outbox->ListPending()[0].nextAttemptAt - FakeClock::kStart, milliseconds(400));
  AdvanceTo(*outbox, FakeClock::kStart + milliseconds(400));
  ASSERT_TRUE(Eventually([&] { return outbox->GetCounters("fast").retried == 3; }));
  EXPECT_EQ(outbox->ListPending()[0].nextAttemptAt - FakeClock::kStart, milliseconds(1300));
  EXPECT_EQ(outbox->GetCounters("slow").retried, 1U);
  // Both are due by 1.3 s: "slow" (due at 1 s) goes to 1.3 s + 2 s, "fast" to 1.3 s + 2.7 s capped at 1 s.
  AdvanceTo(*outbox, FakeClock::kStart + milliseconds(1300));
  ASSERT_TRUE(
      Eventually([&] { return outbox->GetCounters("fast").retried == 4 && outbox->GetCounters("slow").retried == 2; }));
  auto const later = outbox->ListPending();
  ASSERT_EQ(later.size(), 2U);
  EXPECT_EQ(later[0].nextAttemptAt - FakeClock::kStart, milliseconds(2300));
  EXPECT_EQ(later[1].nextAttemptAt - FakeClock::kStart, milliseconds(3300));
}

TEST_F(OutboxTest, RetryAfterIsHonouredWhenLongerThanTheBackOff) {
  auto settings = MakeSettings();
  settings.jitter = [] { return 0.5; };
  Outbox outbox(settings);
  outbox.Accept(MakeSubmission("webhook", "x"));
  auto sender = MakeSender([](Message const&, std::size_t call) {
    if (call == 0) {
      return Outcome::TransientFailure(13, "HTTP 503", seconds(90));
    }
    if (call == 1) {
      return Outcome::TransientFailure(13, "HTTP 429", milliseconds(10));  // shorter than the back-off
    }
    return Outcome::Sent();
  });
  outbox.Register("webhook", sender.AsSender());

  auto const first = AwaitRetry(outbox, 1);
  EXPECT_EQ(first, FakeClock::kStart + seconds(90));
  AdvanceTo(outbox, first - milliseconds(1));  // not yet
  outbox.Flush();
  AdvanceTo(outbox, first);
  auto const second = AwaitRetry(outbox, 2);
  EXPECT_EQ(second, first + seconds(1));  // half of the 2 s ceiling
  AdvanceTo(outbox, second);
  ASSERT_TRUE(Eventually([&] { return outbox.GetCounters("webhook").sent == 1; }));
  auto const attempts = sender.GetAttempts();
  ASSERT_EQ(attempts.size(), 3U);
  EXPECT_EQ(attempts[1].at, first);
  EXPECT_EQ(attempts[2].at, second);
}

TEST_F(OutboxTest, GivesUpAtTheDeadlineAfterALastAttemptThere) {
  auto outbox = Open();
  auto const id = outbox->Accept(MakeSubmission("webhook", "x"));
  auto sender = MakeSender(TimedOut);
  outbox->Register("webhook", sender.AsSender(),
                   {.firstDelay = seconds(4), .factor = 2, .maxDelay = minutes(1), .giveUpAfter = seconds(10)});

  EXPECT_EQ(AwaitRetry(*outbox, 1), FakeClock::kStart + seconds(4));
  AdvanceTo(*outbox, FakeClock::kStart + seconds(4));
  // 4 s + 8 s passes the deadline at 10 s: the last attempt comes at the deadline.
  EXPECT_EQ(AwaitRetry(*outbox, 2), FakeClock::kStart + seconds(10));
  AdvanceTo(*outbox, FakeClock::kStart + seconds(10));
  ASSERT_TRUE(Eventually([&] { return outbox->GetCounters("webhook").dead == 1; }));

  auto const attempts = sender.GetAttempts();
  ASSERT_EQ(attempts.size(), 3U);
  EXPECT_EQ(attempts[0].at, FakeClock::kStart);
  EXPECT_EQ(attempts[1].at, FakeClock::kStart + seconds(4));
  EXPECT_EQ(attempts[2].at, FakeClock::kStart + seconds(10));
  auto const dead = outbox->ListDead();
  ASSERT_EQ(dead.size(), 1U);
  EXPECT_EQ(dead[0].deliveryId, id);
  EXPECT_EQ(dead[0].deadReason, DeadReason::kGaveUp);
  EXPECT_EQ(dead[0].lastCode, 12U);
  EXPECT_EQ(dead[0].lastDetail, "connection timed out");
  EXPECT_EQ(dead[0].attempts, 3U);
  EXPECT_EQ(dead[0].diedAt, FakeClock::kStart + seconds(10));
  EXPECT_EQ(outbox->GetCounters("webhook").retried, 2U);
}

TEST_F(OutboxTest, ARetryAfterBeyondTheDeadlineGivesUpAtOnce) {
  auto outbox = Open();
  outbox->Accept(MakeSubmission("webhook", "x"));
  auto sender = MakeSender(
      [](Message const&, std::size_t) { return Outcome::TransientFailure(13, "HTTP 503", std::chrono::hours(2)); });
  outbox->Register("webhook", sender.AsSender(), {.giveUpAfter = std::chrono::hours(1)});
  ASSERT_TRUE(Eventually([&] { return outbox->GetCounters("webhook").dead == 1; }));
  EXPECT_EQ(sender.CountAttempts(), 1U);
  auto const dead = outbox->ListDead();
  ASSERT_EQ(dead.size(), 1U);
  EXPECT_EQ(dead[0].deadReason, DeadReason::kGaveUp);
  EXPECT_EQ(dead[0].lastDetail, "HTTP 503");
}

TEST_F(OutboxTest, TheLargestRetryAfterGivesUpAtOnce) {
  auto outbox = Open();
  outbox->Accept(MakeSubmission("webhook", "x"));
  auto sender = MakeSender([](Message const&, std::size_t) {
    return Outcome::TransientFailure(13, "HTTP 503", std::chrono::milliseconds::max());
  });
  outbox->Register("webhook", sender.AsSender(), {});
  ASSERT_TRUE(Eventually([&] { return outbox->GetCounters("webhook").dead == 1; }));
  EXPECT_EQ(sender.CountAttempts(), 1U);
  EXPECT_EQ(outbox->ListDead().at(0).deadReason, DeadReason::kGaveUp);
}

TEST_F(OutboxTest, ARequeuedDeadMessageIsSentAgainWithItsDeliveryId) {
  auto outbox = Open();
  auto const first = outbox->Accept(MakeSubmission("webhook", "one"));
  auto sender = MakeSender([](Message const&, std::size_t call) {
    return call == 0 ? Outcome::PermanentFailure(15, "certificate rejected") : Outcome::Sent();
  });
  outbox->Register("webhook", sender.AsSender(), {.giveUpAfter = seconds(30)});
  ASSERT_TRUE(Eventually([&] { return outbox->GetCounters("webhook").dead == 1; }));
  EXPECT_FALSE(outbox->Requeue(first + "0"));

  clock_.Advance(minutes(5));  // later than the policy's give-up time: the new series has its own
  EXPECT_TRUE(outbox->Requeue(first));
  EXPECT_FALSE(outbox->Requeue(first));  // pending now, not dead
  ASSERT_TRUE(Eventually([&] { return outbox->GetCounters("webhook").sent == 1; }));
  EXPECT_EQ(sender.GetDelivered(), std::vector<std::string>{first});
  auto const attempts = sender.GetAttempts();
  ASSERT_EQ(attempts.size(), 2U);
  EXPECT_EQ(attempts[1].attemptsBefore, 0U);
  EXPECT_EQ(attempts[1].at, FakeClock::kStart + minutes(5));
  EXPECT_TRUE(outbox->ListDead().empty());
  outbox->Flush();

  // After a restart too, from the database.
  auto const second = outbox->Accept(MakeSubmission("mail", "two"));
  outbox->Register("mail", MakeSender([](Message const&, std::size_t) {
                             return Outcome::PermanentFailure(5, "no mail host");
                           }).AsSender());
  ASSERT_TRUE(Eventually([&] { return outbox->GetCounters("mail").dead == 1; }));
  outbox->Flush();
  outbox.reset();
  outbox = Open();
  ASSERT_EQ(outbox->ListDead().size(), 1U);
  EXPECT_TRUE(outbox->Requeue(second));
  EXPECT_TRUE(outbox->ListDead().empty());
  auto const pending = outbox->ListPending();
  ASSERT_EQ(pending.size(), 1U);
  EXPECT_EQ(pending[0].deliveryId, second);
  EXPECT_EQ(pending[0].payload, "two");
  EXPECT_EQ(pending[0].attempts, 0U);
  EXPECT_FALSE(pending[0].deadReason.has_value());
  EXPECT_EQ(pending[0].lastCode, 5U);  // kept for the record
  auto mail = MakeSender();
  outbox->Register("mail", mail.AsSender());
  ASSERT_TRUE(Eventually([&] { return outbox->GetCounters("mail").sent == 1; }));
  EXPECT_EQ(mail.GetDelivered(), std::vector<std::string>{second});
  outbox->Flush();
  outbox.reset();
  outbox = Open();
  EXPECT_TRUE(outbox->ListPending().empty());
  EXPECT_TRUE(outbox->ListDead().empty());
}

TEST_F(OutboxTest, ARequeuedMessageTakesItsPlaceByAcceptance) {
  auto outbox = Open();
  auto const first = outbox->Accept(MakeSubmission("webhook", "one"));
  auto failing = MakeSender([](Message const&, std::size_t) { return Outcome::PermanentFailure(13, "HTTP 400"); });
  outbox->Register("webhook", failing.AsSender());
  ASSERT_TRUE(Eventually([&] { return outbox->GetCounters("webhook").dead == 1; }));
  outbox->Unregister("webhook");
  auto const second = outbox->Accept(MakeSubmission("webhook", "two"));
  ASSERT_TRUE(outbox->Requeue(first));
  auto const pending = outbox->ListPending();
  ASSERT_EQ(pending.size(), 2U);
  EXPECT_EQ(pending[0].deliveryId, first);
  EXPECT_EQ(pending[1].deliveryId, second);
  auto sender = MakeSender();
  outbox->Register("webhook", sender.AsSender());
  ASSERT_TRUE(Eventually([&] { return outbox->GetCounters("webhook").sent == 2; }));
  EXPECT_EQ(sender.GetDelivered(), (std::vector<std::string>{first, second}));
}

}  // namespace
}  // namespace orv::outbox::test
