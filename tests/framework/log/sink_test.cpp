#include "orv/log/sink.hpp"

#include <gtest/gtest.h>

#include <atomic>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

namespace {

// Restores the default sink when a test ends, whatever happened.
class SinkTest : public ::testing::Test {
 protected:
  void TearDown() override { orv::log::SetSink(nullptr); }
};

TEST_F(SinkTest, DefaultWritesSourceAndTextToStandardError) {
  ::testing::internal::CaptureStderr();
  orv::log::Write("orv.action.Request", "HTTP status 500");
  EXPECT_EQ(::testing::internal::GetCapturedStderr(), "orv.action.Request: HTTP status 500\n");
}

TEST_F(SinkTest, ReplacedSinkReceivesEveryRecord) {
  std::vector<std::string> received;
  orv::log::SetSink([&](orv::log::Record const& record) {
    received.push_back(std::string(record.source) + "|" + std::string(record.text));
  });
  orv::log::Write("a", "one");
  orv::log::Write("b", "");
  EXPECT_EQ(received, (std::vector<std::string>{"a|one", "b|"}));
}

TEST_F(SinkTest, SetSinkReturnsThePreviousSink) {
  int first = 0;
  orv::log::SetSink([&](orv::log::Record const&) { ++first; });
  orv::log::Sink const previous = orv::log::SetSink([](orv::log::Record const&) {});
  previous(orv::log::Record{"x", "y"});
  EXPECT_EQ(first, 1);
  orv::log::Write("x", "y");
  EXPECT_EQ(first, 1);
}

TEST_F(SinkTest, EmptySinkRestoresStandardError) {
  int calls = 0;
  orv::log::SetSink([&](orv::log::Record const&) { ++calls; });
  orv::log::SetSink(nullptr);
  ::testing::internal::CaptureStderr();
  orv::log::Write("s", "t");
  EXPECT_EQ(::testing::internal::GetCapturedStderr(), "s: t\n");
  EXPECT_EQ(calls, 0);
}

TEST_F(SinkTest, ExceptionOfTheSinkReachesTheWriter) {
  orv::log::SetSink([](orv::log::Record const&) { throw std::runtime_error("full"); });
  EXPECT_THROW(orv::log::Write("s", "t"), std::runtime_error);
  // The lock was released: the sink can still be replaced.
  orv::log::SetSink(nullptr);
}

TEST_F(SinkTest, ConcurrentWritersAndReplacementsLoseNothing) {
  std::atomic<int> first{0};
  std::atomic<int> second{0};
  orv::log::SetSink([&](orv::log::Record const&) { ++first; });
  constexpr int kThreads = 4;
  constexpr int kRecords = 500;
  std::vector<std::thread> writers;
  for (int t = 0; t < kThreads; ++t) {
    writers.emplace_back([] {
      for (int i = 0; i < kRecords; ++i) {
        orv::log::Write("w", "record");
      }
    });
  }
  for (int i = 0; i < 50; ++i) {
    orv::log::SetSink([&first, &second, i](orv::log::Record const&) { ++(i % 2 == 0 ? second : first); });
  }
  for (auto& writer : writers) {
    writer.join();
  }
  EXPECT_EQ(first + second, kThreads * kRecords);
}

TEST_F(SinkTest, OldSinkIsNeverCalledOnceReplaced) {
  std::atomic<bool> replaced{false};
  std::atomic<int> lateCalls{0};
  orv::log::SetSink([&](orv::log::Record const&) {
    std::this_thread::yield();
    if (replaced) {
      ++lateCalls;
    }
  });
  std::thread writer([] {
    for (int i = 0; i < 2000; ++i) {
      orv::log::Write("w", "r");
    }
  });
  orv::log::SetSink([](orv::log::Record const&) {});
  replaced = true;
  writer.join();
  EXPECT_EQ(lateCalls, 0);
}

}  // namespace
