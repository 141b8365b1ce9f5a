#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "fixture.hpp"

namespace orv::outbox::test {
namespace {

using std::chrono::seconds;

TEST_F(OutboxTest, DeliversEveryMessageInOrderThroughASenderThatFailsForAWhile) {
  auto outbox = Open();
  std::vector<std::string> accepted;
  for (int i = 0; i < 40; ++i) {
    accepted.push_back(outbox->Accept(MakeSubmission("webhook", "message " + std::to_string(i))));
  }
  // Down for the first 6 calls (the first message's attempts), then up.
  auto sender = MakeSender([](Message const&, std::size_t call) {
    return call < 6 ? Outcome::TransientFailure(12, "connection timed out") : Outcome::Sent();
  });
  outbox->Register("webhook", sender.AsSender());

  ASSERT_TRUE(Eventually([&] {
    if (outbox->GetCounters("webhook").sent == accepted.size()) {
      return true;
    }
    // Move past whatever retry is due, as time would.
    if (auto const pending = outbox->ListPending(); !pending.empty() && pending.front().nextAttemptAt > clock_.Now()) {
      AdvanceTo(*outbox, pending.front().nextAttemptAt);
    }
    return false;
  }));

  EXPECT_EQ(sender.GetDelivered(), accepted);
  auto const attempts = sender.GetAttempts();
  ASSERT_EQ(attempts.size(), 46U);
  for (std::size_t i = 0; i < 7; ++i) {
    EXPECT_EQ(attempts[i].deliveryId, accepted[0]);
    EXPECT_EQ(attempts[i].attemptsBefore, i);
  }
  auto const counters = outbox->GetCounters("webhook");
  EXPECT_EQ(counters.accepted, 40U);
  EXPECT_EQ(counters.sent, 40U);
  EXPECT_EQ(counters.retried, 6U);
  EXPECT_EQ(counters.dead, 0U);
  EXPECT_EQ(counters.pending, 0U);
  EXPECT_EQ(counters.oldestPendingAge, std::chrono::nanoseconds(0));
  EXPECT_TRUE(counters.hasSender);
  EXPECT_TRUE(outbox->ListPending().empty());
  EXPECT_TRUE(outbox->ListDead().empty());
}

TEST_F(OutboxTest, HandsTheSenderEverythingTheActionGave) {
  auto outbox = Open();
  auto const id = outbox->Accept({"mail", 4242, "smtp://mail.example.com", std::string("a\0b\xff", 4)});
  Gate gate;
  std::vector<Message> seen;
  std::mutex mutex;
  outbox->Register("mail", [&](Message const& message) {
    {
      std::lock_guard const lock(mutex);
      seen.push_back(message);
    }
    gate.Wait();
    return Outcome::Sent();
  });
  ASSERT_TRUE(Eventually([&] { return gate.CountArrived() == 1; }));
  {
    std::lock_guard const lock(mutex);
    auto const& message = seen.at(0);
    EXPECT_EQ(message.deliveryId, id);
    EXPECT_EQ(message.actionKey, "mail");
    EXPECT_EQ(message.eventId, 4242U);
    EXPECT_EQ(message.destination, "smtp://mail.example.com");
    EXPECT_EQ(message.payload, std::string("a\0b\xff", 4));
    EXPECT_EQ(message.acceptedAt, FakeClock::kStart);
    EXPECT_EQ(message.queuedAt, FakeClock::kStart);
    EXPECT_EQ(message.attempts, 0U);
    EXPECT_FALSE(message.deadReason.has_value());
  }
  auto const pending = outbox->ListPending();
  ASSERT_EQ(pending.size(), 1U);
  EXPECT_EQ(pending[0].deliveryId, id);
  gate.Open();
  ASSERT_TRUE(Eventually([&] { return outbox->GetCounters("mail").sent == 1; }));
}

// Event ids are 64 bits on every target, also where long has 32.
TEST_F(OutboxTest, KeepsTheLargestEventIdsAcrossARestart) {
  std::uint64_t const ids[] = {4294967296U, 9223372036854775808U, 18446744073709551615U};
  {
    auto outbox = Open();
    for (std::uint64_t const id : ids) {
      outbox->Accept({"webhook", id, "https://a.example/", "payload"});
    }
    outbox->Flush();
  }
  auto outbox = Open();
  auto const after = outbox->ListPending();
  ASSERT_EQ(after.size(), 3U);
  EXPECT_EQ(after[0].eventId, 4294967296U);
  EXPECT_EQ(after[1].eventId, 9223372036854775808U);
  EXPECT_EQ(after[2].eventId, 18446744073709551615U);
}

TEST_F(OutboxTest, KeepsPendingMessagesAcrossARestart) {
  std::vector<Message> before;
  {
    auto outbox = Open();
    for (int i = 0; i < 5; ++i) {
      outbox->Accept({"webhook", static_cast<std::uint64_t>(i), "https://a.example/" + std::to_string(i),
                      "payload " + std::to_string(i)});
      clock_.Advance(seconds(1));
    }
    outbox->Flush();
    before = outbox->ListPending();
  }
  auto outbox = Open();
  auto const after = outbox->ListPending();
  ASSERT_EQ(after.size(), 5U);
  for (std::size_t i = 0; i < after.size(); ++i) {
    EXPECT_EQ(after[i].deliveryId, before[i].deliveryId);
    EXPECT_EQ(after[i].eventId, i);
    EXPECT_EQ(after[i].destination, "https://a.example/" + std::to_string(i));
    EXPECT_EQ(after[i].payload, "payload " + std::to_string(i));
    EXPECT_EQ(after[i].acceptedAt, FakeClock::kStart + seconds(i));
  }
  auto const counters = outbox->GetCounters("webhook");
  EXPECT_EQ(counters.accepted, 0U);
  EXPECT_EQ(counters.pending, 5U);
  EXPECT_FALSE(counters.hasSender);
  EXPECT_EQ(counters.oldestPendingAge, seconds(5));

  auto sender = MakeSender();
  outbox->Register("webhook", sender.AsSender());
  ASSERT_TRUE(Eventually([&] { return outbox->GetCounters("webhook").sent == 5; }));
  std::vector<std::string> ids;
  for (auto const& message : before) {
    ids.push_back(message.deliveryId);
  }
  EXPECT_EQ(sender.GetDelivered(), ids);
}

TEST_F(OutboxTest, NeverReusesADeliveryId) {
  // Messages sent before they were ever written leave no row behind: the
  // next run must still not hand out their ids again.
  std::set<std::string> ids;
  std::set<std::string> prefixes;
  for (int run = 0; run < 3; ++run) {
    auto outbox = Open();
    auto sender = MakeSender();
    outbox->Register("webhook", sender.AsSender());
    std::int64_t previous = 0;
    for (int i = 0; i < 3; ++i) {
      auto const id = outbox->Accept(MakeSubmission("webhook", "x"));
      EXPECT_TRUE(ids.insert(id).second) << id;
      EXPECT_GT(SequenceOf(id), previous);
      previous = SequenceOf(id);
      prefixes.insert(id.substr(0, id.rfind('-')));
    }
    ASSERT_TRUE(Eventually([&] { return outbox->GetCounters("webhook").sent == 3; }));
  }
  EXPECT_EQ(ids.size(), 9U);
  EXPECT_EQ(prefixes.size(), 3U);
  for (auto const& prefix : prefixes) {
    EXPECT_EQ(prefix.size(), 32U);
    EXPECT_EQ(prefix.find_first_not_of("0123456789abcdef"), std::string::npos);
  }
}

TEST_F(OutboxTest, MessagesOfAKeyWithoutASenderWaitUntilOneIsRegistered) {
  auto outbox = Open();
  auto const first = outbox->Accept(MakeSubmission("mail", "one"));
  clock_.Advance(seconds(30));
  auto counters = outbox->GetCounters("mail");
  EXPECT_EQ(counters.pending, 1U);
  EXPECT_FALSE(counters.hasSender);
  EXPECT_EQ(counters.oldestPendingAge, seconds(30));

  auto sender = MakeSender();
  outbox->Register("mail", sender.AsSender());
  ASSERT_TRUE(Eventually([&] { return outbox->GetCounters("mail").sent == 1; }));

  outbox->Unregister("mail");
  EXPECT_FALSE(outbox->GetCounters("mail").hasSender);
  auto const second = outbox->Accept(MakeSubmission("mail", "two"));
  outbox->Flush();
  EXPECT_EQ(outbox->GetCounters("mail").pending, 1U);
  EXPECT_EQ(sender.CountAttempts(), 1U);

  outbox->Register("mail", sender.AsSender());
  ASSERT_TRUE(Eventually([&] { return outbox->GetCounters("mail").sent == 2; }));
  EXPECT_EQ(sender.GetDelivered(), (std::vector<std::string>{first, second}));
}

TEST_F(OutboxTest, ASenderThatThrowsFailsTransiently) {
  auto outbox = Open();
  outbox->Accept(MakeSubmission("webhook", "x"));
  // A throwing call is not recorded: count calls here.
  auto calls = std::make_shared<std::atomic<int>>(0);
  auto sender = MakeSender([calls](Message const&, std::size_t) -> Outcome {
    if ((*calls)++ == 0) {
      throw std::runtime_error("socket closed");
    }
    return Outcome::Sent();
  });
  outbox->Register("webhook", sender.AsSender());
  ASSERT_TRUE(Eventually([&] { return outbox->GetCounters("webhook").retried == 1; }));
  auto const pending = outbox->ListPending();
  ASSERT_EQ(pending.size(), 1U);
  EXPECT_EQ(pending[0].lastCode, 0U);
  EXPECT_EQ(pending[0].lastDetail, "socket closed");
  EXPECT_EQ(pending[0].attempts, 1U);
  EXPECT_EQ(pending[0].nextAttemptAt, FakeClock::kStart + seconds(1));
  AdvanceTo(*outbox, pending[0].nextAttemptAt);
  ASSERT_TRUE(Eventually([&] { return outbox->GetCounters("webhook").sent == 1; }));
}

TEST_F(OutboxTest, RejectsBadArguments) {
  auto outbox = Open();
  EXPECT_THROW(outbox->Accept(MakeSubmission("", "x")), std::invalid_argument);
  EXPECT_THROW(outbox->Register("", MakeSender().AsSender()), std::invalid_argument);
  EXPECT_THROW(outbox->Register("webhook", Sender()), std::invalid_argument);
  auto const sender = MakeSender().AsSender();
  EXPECT_THROW(outbox->Register("webhook", sender, {.firstDelay = seconds(0)}), std::invalid_argument);
  EXPECT_THROW(outbox->Register("webhook", sender, {.factor = 0.5}), std::invalid_argument);
  EXPECT_THROW(outbox->Register("webhook", sender, {.firstDelay = seconds(10), .maxDelay = seconds(5)}),
               std::invalid_argument);
  EXPECT_THROW(outbox->Register("webhook", sender, {.giveUpAfter = seconds(-1)}), std::invalid_argument);
  EXPECT_FALSE(outbox->GetCounters("webhook").hasSender);
  EXPECT_FALSE(outbox->Requeue("not-an-id"));
  EXPECT_FALSE(outbox->Requeue(""));

  for (auto const limit : {&Settings::maxPendingMessages, &Settings::maxPendingBytes, &Settings::maxDeadMessages}) {
    auto settings = MakeSettings();
    settings.path = directory_ / "other.db";
    settings.*limit = 0;
    EXPECT_THROW(Outbox{settings}, std::invalid_argument);
  }
}

TEST(DeadReasonTest, HasAText) {
  EXPECT_EQ(GetText(DeadReason::kPermanentFailure), "permanent failure");
  EXPECT_EQ(GetText(DeadReason::kGaveUp), "gave up");
  EXPECT_EQ(GetText(DeadReason::kOutboxFull), "outbox full");
  EXPECT_EQ(GetText(static_cast<DeadReason>(0)), "unknown");
}

}  // namespace
}  // namespace orv::outbox::test
