#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "fixture.hpp"

namespace orv::outbox::test {
namespace {

std::vector<std::string> IdsOf(std::vector<Message> const& messages) {
  std::vector<std::string> ids;
  for (auto const& message : messages) {
    ids.push_back(message.deliveryId);
  }
  return ids;
}

TEST_F(OutboxTest, WhenFullTheOldestPendingMessageGoesToTheDeadList) {
  auto settings = MakeSettings();
  settings.maxPendingMessages = 3;
  Outbox outbox(settings);
  std::vector<std::string> ids;
  ids.push_back(outbox.Accept(MakeSubmission("webhook", "0")));
  ids.push_back(outbox.Accept(MakeSubmission("mail", "1")));
  clock_.Advance(std::chrono::seconds(1));
  for (int i = 2; i < 5; ++i) {
    ids.push_back(outbox.Accept(MakeSubmission(i % 2 == 0 ? "webhook" : "mail", std::to_string(i))));
  }
  EXPECT_EQ(IdsOf(outbox.ListPending()), (std::vector<std::string>{ids[2], ids[3], ids[4]}));
  auto const dead = outbox.ListDead();
  EXPECT_EQ(IdsOf(dead), (std::vector<std::string>{ids[0], ids[1]}));
  for (auto const& message : dead) {
    EXPECT_EQ(message.deadReason, DeadReason::kOutboxFull);
    EXPECT_EQ(message.attempts, 0U);
    EXPECT_EQ(message.diedAt, FakeClock::kStart + std::chrono::seconds(1));
  }
  auto const webhook = outbox.GetCounters("webhook");
  EXPECT_EQ(webhook.accepted, 3U);
  EXPECT_EQ(webhook.dead, 1U);
  EXPECT_EQ(webhook.skipped, 1U);
  EXPECT_EQ(webhook.pending, 2U);
  auto const mail = outbox.GetCounters("mail");
  EXPECT_EQ(mail.accepted, 2U);
  EXPECT_EQ(mail.skipped, 1U);
  EXPECT_EQ(mail.pending, 1U);

  outbox.Flush();
  ASSERT_TRUE(Eventually([&] { return reports_.Count(Report::Kind::kDead) == 2; }));
  auto const reports = reports_.Get();
  EXPECT_EQ(reports[0].deliveryId, ids[0]);
  EXPECT_EQ(reports[0].actionKey, "webhook");
  EXPECT_EQ(reports[0].text, "message " + ids[0] +
                                 " of action \"webhook\" to https://receiver.example/hook is dead (outbox full) after "
                                 "0 attempts");
  EXPECT_EQ(reports[1].deliveryId, ids[1]);

  // Recorded in the database, not only in memory.
  outbox.Shutdown();
  Outbox reopened(settings);
  EXPECT_EQ(IdsOf(reopened.ListDead()), (std::vector<std::string>{ids[0], ids[1]}));
  EXPECT_EQ(IdsOf(reopened.ListPending()), (std::vector<std::string>{ids[2], ids[3], ids[4]}));
}

TEST_F(OutboxTest, TheByteLimitCountsPayloadDestinationAndKey) {
  auto settings = MakeSettings();
  settings.maxPendingBytes = 100;
  Outbox outbox(settings);
  // 3 + 4 + 33 = 40 bytes each: two fit, the third pushes the first out.
  auto const submission = [] { return Submission{"key", 1, "dest", std::string(33, 'x')}; };
  auto const first = outbox.Accept(submission());
  auto const second = outbox.Accept(submission());
  EXPECT_EQ(outbox.ListPending().size(), 2U);
  auto const third = outbox.Accept(submission());
  EXPECT_EQ(IdsOf(outbox.ListPending()), (std::vector<std::string>{second, third}));
  EXPECT_EQ(IdsOf(outbox.ListDead()), std::vector<std::string>{first});

  // Exactly the limit fits; one byte more never can.
  EXPECT_NO_THROW(outbox.Accept({"key", 1, "dest", std::string(93, 'x')}));
  EXPECT_EQ(outbox.ListPending().size(), 1U);
  EXPECT_THROW(outbox.Accept({"key", 1, "dest", std::string(94, 'x')}), std::length_error);
  EXPECT_EQ(outbox.GetCounters("key").accepted, 4U);
}

TEST_F(OutboxTest, AMessageBeingSentIsNotPushedOut) {
  auto settings = MakeSettings();
  settings.maxPendingMessages = 2;
  Outbox outbox(settings);
  Gate gate;
  auto const first = outbox.Accept(MakeSubmission("webhook", "0"));
  outbox.Register("webhook", [gate](Message const&) {
    gate.Wait();
    return Outcome::Sent();
  });
  ASSERT_TRUE(Eventually([&] { return gate.CountArrived() == 1; }));
  auto const second = outbox.Accept(MakeSubmission("webhook", "1"));
  auto const third = outbox.Accept(MakeSubmission("webhook", "2"));
  EXPECT_EQ(IdsOf(outbox.ListPending()), (std::vector<std::string>{first, third}));
  EXPECT_EQ(IdsOf(outbox.ListDead()), std::vector<std::string>{second});
  gate.Open();
  ASSERT_TRUE(Eventually([&] { return outbox.GetCounters("webhook").sent == 2; }));
}

TEST_F(OutboxTest, TheDeadListKeepsItsNewestMessagesAndReportsTheOthers) {
  auto settings = MakeSettings();
  settings.maxDeadMessages = 2;
  Outbox outbox(settings);
  std::vector<std::string> ids;
  for (int i = 0; i < 4; ++i) {
    ids.push_back(outbox.Accept(MakeSubmission("webhook", std::to_string(i))));
  }
  outbox.Register("webhook", MakeSender([](Message const&, std::size_t) {
                               return Outcome::PermanentFailure(9, "no URI");
                             }).AsSender());
  ASSERT_TRUE(Eventually([&] { return outbox.GetCounters("webhook").dead == 4; }));
  ASSERT_TRUE(Eventually([&] {
    outbox.Flush();
    return reports_.Count(Report::Kind::kDeadListTrimmed) == 2;
  }));
  EXPECT_EQ(IdsOf(outbox.ListDead()), (std::vector<std::string>{ids[2], ids[3]}));
  std::vector<std::string> trimmed;
  for (auto const& report : reports_.Get()) {
    if (report.kind == Report::Kind::kDeadListTrimmed) {
      trimmed.push_back(report.deliveryId);
      EXPECT_EQ(report.text, "dead message " + report.deliveryId +
                                 " of action \"webhook\" deleted: the dead list holds at most 2 messages");
    }
  }
  EXPECT_EQ(trimmed, (std::vector<std::string>{ids[0], ids[1]}));
  EXPECT_FALSE(outbox.Requeue(ids[0]));
}

TEST_F(OutboxTest, LimitsLoweredSinceTheLastRunApplyAtOpening) {
  std::vector<std::string> ids;
  {
    auto outbox = Open();
    for (int i = 0; i < 5; ++i) {
      ids.push_back(outbox->Accept(MakeSubmission("webhook", std::to_string(i))));
    }
  }
  auto settings = MakeSettings();
  settings.maxPendingMessages = 2;
  Outbox outbox(settings);
  EXPECT_EQ(IdsOf(outbox.ListPending()), (std::vector<std::string>{ids[3], ids[4]}));
  EXPECT_EQ(IdsOf(outbox.ListDead()), (std::vector<std::string>{ids[0], ids[1], ids[2]}));
  EXPECT_EQ(outbox.GetCounters("webhook").skipped, 3U);
  outbox.Flush();
  ASSERT_TRUE(Eventually([&] { return reports_.Count(Report::Kind::kDead) == 3; }));
}

}  // namespace
}  // namespace orv::outbox::test
