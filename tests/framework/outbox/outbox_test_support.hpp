#pragma once

#include <stdlib.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "orv/outbox/outbox.hpp"

namespace orv::outbox::test {

// A directory of its own under the system's temporary directory, removed with its contents.
class TemporaryDirectory {
 public:
  TemporaryDirectory() {
    auto pattern = (std::filesystem::temp_directory_path() / "orv-outbox-XXXXXX").string();
    path_ = mkdtemp(pattern.data());
  }
  TemporaryDirectory(TemporaryDirectory const&) = delete;
  TemporaryDirectory& operator=(TemporaryDirectory const&) = delete;
  ~TemporaryDirectory() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }
  std::filesystem::path const& GetPath() const { return path_; }
  std::filesystem::path operator/(std::string const& name) const { return path_ / name; }

 private:
  std::filesystem::path path_;
};

// A clock that moves only when told to.
class FakeClock {
 public:
  static constexpr TimePoint kStart = TimePoint(std::chrono::seconds(1'700'000'000));

  TimePoint Now() const { return TimePoint(TimePoint::duration(nanoseconds_.load())); }
  void Advance(TimePoint::duration by) { nanoseconds_ += by.count(); }
  void Set(TimePoint to) { nanoseconds_ = to.time_since_epoch().count(); }
  Clock AsClock() {
    return [this] { return Now(); };
  }

 private:
  std::atomic<TimePoint::duration::rep> nanoseconds_{kStart.time_since_epoch().count()};
};

// Jitter values handed out in turn, the last one repeated.
inline Jitter ScriptedJitter(std::vector<double> values) {
  auto next = std::make_shared<std::size_t>(0);
  return [values = std::move(values), next] {
    auto const value = values[std::min(*next, values.size() - 1)];
    ++*next;
    return value;
  };
}

// Polls `condition` until it holds or `timeout` passes; true when it held.
template <class Condition>
bool Eventually(Condition condition, std::chrono::milliseconds timeout = std::chrono::seconds(30)) {
  auto const deadline = std::chrono::steady_clock::now() + timeout;
  while (!condition()) {
    if (std::chrono::steady_clock::now() > deadline) {
      return false;
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
  return true;
}

// One call of a recording sender.
struct Attempt {
  std::string deliveryId;
  std::string actionKey;
  std::string payload;
  TimePoint at;
  std::uint32_t attemptsBefore = 0;
  Outcome::Kind outcome = Outcome::Kind::kSent;
};

// A sender that records every call and answers as `decide` says (by default: sent).
class RecordingSender {
 public:
  using Decide = std::function<Outcome(Message const& message, std::size_t call)>;

  explicit RecordingSender(Clock clock, Decide decide = {}) : log_(std::make_shared<Log>()) {
    log_->clock = std::move(clock);
    log_->decide = std::move(decide);
  }

  Sender AsSender() const {
    return [log = log_](Message const& message) {
      std::unique_lock lock(log->mutex);
      auto const call = log->attempts.size();
      auto decide = log->decide;
      lock.unlock();
      auto outcome = decide ? decide(message, call) : Outcome::Sent();
      lock.lock();
      log->attempts.push_back(
          {message.deliveryId, message.actionKey, message.payload, log->clock(), message.attempts, outcome.kind});
      return outcome;
    };
  }

  std::vector<Attempt> GetAttempts() const {
    std::lock_guard const lock(log_->mutex);
    return log_->attempts;
  }

  std::size_t CountAttempts() const {
    std::lock_guard const lock(log_->mutex);
    return log_->attempts.size();
  }

  // The delivery ids of the successful calls, in order.
  std::vector<std::string> GetDelivered() const {
    std::lock_guard const lock(log_->mutex);
    std::vector<std::string> delivered;
    for (auto const& attempt : log_->attempts) {
      if (attempt.outcome == Outcome::Kind::kSent) {
        delivered.push_back(attempt.deliveryId);
      }
    }
    return delivered;
  }

 private:
  struct Log {
    std::mutex mutex;
    Clock clock;
    Decide decide;
    std::vector<Attempt> attempts;
  };
  std::shared_ptr<Log> log_;
};

// A gate that a sender waits at until the test opens it.
class Gate {
 public:
  void Open() {
    std::lock_guard const lock(state_->mutex);
    state_->open = true;
    state_->changed.notify_all();
  }
  // Blocks until opened; counts the threads that arrived.
  void Wait() const {
    std::unique_lock lock(state_->mutex);
    ++state_->arrived;
    state_->changed.notify_all();
    state_->changed.wait(lock, [this] { return state_->open; });
  }
  std::size_t CountArrived() const {
    std::lock_guard const lock(state_->mutex);
    return state_->arrived;
  }

 private:
  struct Shared {
    std::mutex mutex;
    std::condition_variable changed;
    bool open = false;
    std::size_t arrived = 0;
  };
  std::shared_ptr<Shared> state_ = std::make_shared<Shared>();
};

// Reports received, safe to read from the test's thread.
class ReportLog {
 public:
  ReportHandler AsHandler() const {
    return [shared = shared_](Report const& report) {
      std::lock_guard const lock(shared->mutex);
      shared->reports.push_back(report);
    };
  }
  std::vector<Report> Get() const {
    std::lock_guard const lock(shared_->mutex);
    return shared_->reports;
  }
  std::size_t Count(Report::Kind kind) const {
    std::lock_guard const lock(shared_->mutex);
    return static_cast<std::size_t>(std::count_if(shared_->reports.begin(), shared_->reports.end(),
                                                  [kind](Report const& report) { return report.kind == kind; }));
  }

 private:
  struct Shared {
    std::mutex mutex;
    std::vector<Report> reports;
  };
  std::shared_ptr<Shared> shared_ = std::make_shared<Shared>();
};

inline Submission MakeSubmission(std::string key, std::string payload, std::uint64_t eventId = 7) {
  return {std::move(key), eventId, "https://receiver.example/hook", std::move(payload)};
}

// The sequence number at the end of a delivery id.
inline std::int64_t SequenceOf(std::string const& deliveryId) {
  return std::stoll(deliveryId.substr(deliveryId.rfind('-') + 1));
}

}  // namespace orv::outbox::test
