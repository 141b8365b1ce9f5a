#include <gtest/gtest.h>

#include <chrono>
#include <future>
#include <memory>
#include <string>
#include <thread>

#include "fixture.hpp"

namespace orv::outbox::test {
namespace {

using std::chrono::milliseconds;

TEST_F(OutboxTest, AfterShutdownNothingIsAcceptedAndTheCountersStayReadable) {
  auto outbox = Open();
  outbox->Accept(MakeSubmission("webhook", "x"));
  outbox->Shutdown();
  outbox->Shutdown();
  EXPECT_THROW(outbox->Accept(MakeSubmission("webhook", "y")), std::logic_error);
  EXPECT_THROW(outbox->Register("webhook", MakeSender().AsSender()), std::logic_error);
  EXPECT_THROW(outbox->Flush(), std::logic_error);
  EXPECT_THROW(outbox->ListDead(), std::logic_error);
  EXPECT_THROW(outbox->Requeue(outbox->ListPending().at(0).deliveryId), std::logic_error);
  EXPECT_EQ(outbox->GetCounters("webhook").accepted, 1U);
  EXPECT_EQ(outbox->GetCounters("webhook").pending, 1U);
  outbox->Wake();
  outbox->Unregister("webhook");
}

TEST_F(OutboxTest, ShutdownLetsARunningSendFinishAndRecordsIt) {
  auto settings = MakeSettings();
  settings.shutdownGrace = std::chrono::minutes(5);
  auto outbox = std::make_unique<Outbox>(settings);
  Gate gate;
  outbox->Register("webhook", [gate](Message const&) {
    gate.Wait();
    return Outcome::Sent();
  });
  outbox->Accept(MakeSubmission("webhook", "sent during shutdown"));
  auto const waiting = outbox->Accept(MakeSubmission("webhook", "never started"));
  ASSERT_TRUE(Eventually([&] { return gate.CountArrived() == 1; }));
  std::thread opener([&] {
    // Open the gate once Shutdown has stopped accepting.
    Eventually([&] {
      try {
        outbox->Accept(MakeSubmission("webhook", "probe"));
        return false;
      } catch (std::logic_error const&) {
        return true;
      }
    });
    gate.Open();
  });
  outbox->Shutdown();
  opener.join();
  EXPECT_EQ(outbox->GetCounters("webhook").sent, 1U);
  EXPECT_EQ(gate.CountArrived(), 1U);

  outbox = std::make_unique<Outbox>(settings);
  auto const pending = outbox->ListPending();
  // The one never started, and the probes accepted before Shutdown began.
  ASSERT_GE(pending.size(), 1U);
  EXPECT_EQ(pending[0].deliveryId, waiting);
  EXPECT_EQ(pending[0].payload, "never started");
}

TEST_F(OutboxTest, ASendStillRunningAfterTheGraceIsAbandonedAndKept) {
  auto settings = MakeSettings();
  settings.shutdownGrace = milliseconds(50);
  auto outbox = std::make_unique<Outbox>(settings);
  Gate gate;
  auto const id = outbox->Accept(MakeSubmission("webhook", "x"));
  outbox->Register("webhook", [gate](Message const&) {
    gate.Wait();
    return Outcome::Sent();
  });
  ASSERT_TRUE(Eventually([&] { return gate.CountArrived() == 1; }));
  auto const started = std::chrono::steady_clock::now();
  outbox->Shutdown();
  EXPECT_LT(std::chrono::steady_clock::now() - started, std::chrono::seconds(10));
  outbox.reset();

  auto reopened = std::make_unique<Outbox>(settings);
  auto const pending = reopened->ListPending();
  ASSERT_EQ(pending.size(), 1U);
  EXPECT_EQ(pending[0].deliveryId, id);
  // The abandoned send returns into nothing: its outcome is not recorded.
  gate.Open();
  auto sender = MakeSender();
  reopened->Register("webhook", sender.AsSender());
  ASSERT_TRUE(Eventually([&] { return reopened->GetCounters("webhook").sent == 1; }));
  EXPECT_EQ(sender.GetDelivered(), std::vector<std::string>{id});
}

TEST_F(OutboxTest, ASenderCannotUnregisterItself) {
  auto outbox = Open();
  std::promise<std::string> caught;
  auto future = caught.get_future();
  Outbox* self = outbox.get();
  outbox->Register("webhook",
                   [self, promise = std::make_shared<std::promise<std::string>>(std::move(caught))](Message const&) {
                     try {
                       self->Unregister("webhook");
                       promise->set_value("returned");
                     } catch (std::logic_error const& error) {
                       promise->set_value(error.what());
                     }
                     return Outcome::Sent();
                   });
  outbox->Accept(MakeSubmission("webhook", "x"));
  EXPECT_EQ(future.get(), "the sender of action \"webhook\" cannot unregister itself");
}

}  // namespace
}  // namespace orv::outbox::test
