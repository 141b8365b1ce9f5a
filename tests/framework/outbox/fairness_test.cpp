#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "fixture.hpp"

namespace orv::outbox::test {
namespace {

TEST_F(OutboxTest, OneActionsBackOffDoesNotDelayAnothersMessages) {
  auto outbox = Open();
  auto down = MakeSender([](Message const&, std::size_t) { return Outcome::TransientFailure(11, "host not found"); });
  auto up = MakeSender();
  outbox->Register("down", down.AsSender(), {.firstDelay = std::chrono::hours(1), .maxDelay = std::chrono::hours(1)});
  outbox->Register("up", up.AsSender());
  std::vector<std::string> ids;
  for (int i = 0; i < 20; ++i) {
    outbox->Accept(MakeSubmission("down", std::to_string(i)));
    ids.push_back(outbox->Accept(MakeSubmission("up", std::to_string(i))));
  }
  // The clock stands still: "down" waits an hour for its retry, "up" goes on.
  ASSERT_TRUE(
      Eventually([&] { return outbox->GetCounters("up").sent == 20 && outbox->GetCounters("down").retried == 1; }));
  EXPECT_EQ(up.GetDelivered(), ids);
  auto const counters = outbox->GetCounters("down");
  EXPECT_EQ(counters.pending, 20U);
  EXPECT_EQ(counters.sent, 0U);
  EXPECT_EQ(down.CountAttempts(), 1U);  // its later messages wait behind the first, in order
}

TEST_F(OutboxTest, OneActionsHangingSendDoesNotDelayAnothersMessages) {
  auto outbox = Open();
  Gate gate;
  outbox->Register("hanging", [gate](Message const&) {
    gate.Wait();
    return Outcome::Sent();
  });
  auto up = MakeSender();
  outbox->Register("up", up.AsSender());
  auto const stuck = outbox->Accept(MakeSubmission("hanging", "x"));
  ASSERT_TRUE(Eventually([&] { return gate.CountArrived() == 1; }));
  for (int i = 0; i < 10; ++i) {
    outbox->Accept(MakeSubmission("up", std::to_string(i)));
  }
  ASSERT_TRUE(Eventually([&] { return outbox->GetCounters("up").sent == 10; }));
  EXPECT_EQ(outbox->GetCounters("hanging").pending, 1U);
  EXPECT_EQ(outbox->ListPending().at(0).deliveryId, stuck);
  gate.Open();
  ASSERT_TRUE(Eventually([&] { return outbox->GetCounters("hanging").sent == 1; }));
}

}  // namespace
}  // namespace orv::outbox::test
