#include <gtest/gtest.h>

#include <atomic>
#include <map>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "fixture.hpp"

namespace orv::outbox::test {
namespace {

TEST_F(OutboxTest, ManyThreadsAcceptWhileSendersSendAndRetry) {
  constexpr int kThreads = 8;
  constexpr int kPerThread = 250;
  std::vector<std::string> const keys = {"a", "b", "c", "d"};
  auto settings = MakeSettings();
  settings.jitter = [] { return 0.0; };  // retry at once: the clock stands still
  Outbox outbox(settings);
  // Every fifth call fails; each failed message is tried again at once.
  auto sender = MakeSender([](Message const&, std::size_t call) {
    return call % 5 == 4 ? Outcome::TransientFailure(13, "HTTP 502") : Outcome::Sent();
  });
  for (auto const& key : keys) {
    outbox.Register(key, sender.AsSender());
  }

  std::vector<std::vector<std::string>> accepted(kThreads);
  std::atomic<bool> go{false};
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([&, t] {
      while (!go) {
      }
      for (int i = 0; i < kPerThread; ++i) {
        auto const& key = keys[static_cast<std::size_t>(i + t) % keys.size()];
        accepted[static_cast<std::size_t>(t)].push_back(outbox.Accept(MakeSubmission(key, std::to_string(i))));
        if (i % 50 == 0) {
          outbox.GetAllCounters();
          outbox.ListPending();
        }
      }
    });
  }
  // Readers and a flusher alongside.
  std::atomic<bool> done{false};
  std::thread reader([&] {
    while (!done) {
      outbox.Flush();
      outbox.ListDead();
      outbox.GetCounters("a");
    }
  });
  go = true;
  for (auto& thread : threads) {
    thread.join();
  }
  std::uint64_t const total = kThreads * kPerThread;
  ASSERT_TRUE(Eventually([&] {
    std::uint64_t sent = 0;
    for (auto const& [key, counters] : outbox.GetAllCounters()) {
      sent += counters.sent;
    }
    return sent == total;
  }));
  done = true;
  reader.join();

  std::set<std::string> all;
  for (auto const& ids : accepted) {
    all.insert(ids.begin(), ids.end());
  }
  ASSERT_EQ(all.size(), total);
  auto const delivered = sender.GetDelivered();
  EXPECT_EQ(delivered.size(), total);
  EXPECT_EQ(std::set<std::string>(delivered.begin(), delivered.end()), all);
  // Per action, in the order of acceptance.
  std::map<std::string, std::int64_t> last;
  for (auto const& attempt : sender.GetAttempts()) {
    if (attempt.outcome != Outcome::Kind::kSent) {
      continue;
    }
    auto const sequence = SequenceOf(attempt.deliveryId);
    EXPECT_LT(last[attempt.actionKey], sequence) << attempt.actionKey;
    last[attempt.actionKey] = sequence;
  }
  std::uint64_t retried = 0;
  for (auto const& key : keys) {
    auto const counters = outbox.GetCounters(key);
    EXPECT_EQ(counters.accepted, total / keys.size());
    EXPECT_EQ(counters.dead, 0U);
    EXPECT_EQ(counters.pending, 0U);
    retried += counters.retried;
  }
  EXPECT_EQ(retried, sender.CountAttempts() - total);
  outbox.Flush();
  outbox.Shutdown();
  Outbox reopened(settings);
  EXPECT_TRUE(reopened.ListPending().empty());
}

TEST_F(OutboxTest, RegisteringAndRequeueingWhileAccepting) {
  auto settings = MakeSettings();
  settings.maxPendingMessages = 64;
  Outbox outbox(settings);
  auto failing = MakeSender([](Message const&, std::size_t) { return Outcome::PermanentFailure(13, "HTTP 400"); });
  auto good = MakeSender();
  std::atomic<bool> done{false};
  std::thread acceptor([&] {
    for (int i = 0; i < 2000; ++i) {
      for (;;) {
        try {
          outbox.Accept(MakeSubmission(i % 2 == 0 ? "flaky" : "steady", std::to_string(i)));
          break;
        } catch (std::runtime_error const&) {
          outbox.Flush();  // this burst outran the disk: let it catch up
        }
      }
    }
    done = true;
  });
  std::thread registrar([&] {
    for (int i = 0; !done; ++i) {
      outbox.Register("flaky", i % 2 == 0 ? failing.AsSender() : good.AsSender());
      if (i % 3 == 0) {
        outbox.Unregister("flaky");
      }
    }
    outbox.Register("flaky", good.AsSender());
  });
  std::thread requeuer([&] {
    while (!done) {
      for (auto const& message : outbox.ListDead()) {
        try {
          outbox.Requeue(message.deliveryId);
        } catch (std::length_error const&) {
          // full for the moment: it stays dead
        }
      }
    }
  });
  outbox.Register("steady", good.AsSender());
  acceptor.join();
  registrar.join();
  requeuer.join();
  ASSERT_TRUE(Eventually(
      [&] { return outbox.GetCounters("flaky").pending == 0 && outbox.GetCounters("steady").pending == 0; }));
  // Every message was delivered or is dead, and each dead one is listed once.
  auto const dead = outbox.ListDead();
  std::set<std::string> deadIds;
  for (auto const& message : dead) {
    EXPECT_TRUE(deadIds.insert(message.deliveryId).second);
  }
  auto const delivered = good.GetDelivered();
  std::set<std::string> deliveredIds(delivered.begin(), delivered.end());
  EXPECT_EQ(deliveredIds.size(), delivered.size());
  for (auto const& id : deadIds) {
    EXPECT_EQ(deliveredIds.count(id), 0U);
  }
  EXPECT_EQ(deliveredIds.size() + deadIds.size(), 2000U);
}

}  // namespace
}  // namespace orv::outbox::test
