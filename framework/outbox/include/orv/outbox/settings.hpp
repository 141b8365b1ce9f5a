#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <functional>

#include "orv/outbox/message.hpp"
#include "orv/outbox/report.hpp"

namespace orv::outbox {

// The current time. Must be callable from any thread and must not call into the outbox.
using Clock = std::function<TimePoint()>;

// A uniform random number in [0, 1), for the retry delay's jitter. Called with
// the outbox's lock held, so it needs no lock of its own and must not call
// into the outbox.
using Jitter = std::function<double()>;

// What a commit guarantees.
enum class Durability : std::uint8_t {
  // Each commit is flushed to the storage device (fsync): a committed message
  // survives a power cut. SQLite's synchronous=FULL.
  kPowerLoss,
  // Commits reach the operating system, not the device: a committed message
  // survives the process being killed, but a power cut may lose the commits
  // since the last checkpoint. SQLite's synchronous=NORMAL.
  kProcessCrash,
};

// How the host sets up an outbox. Only the path has no default.
struct Settings {
  // The SQLite database file; made when it does not exist.
  std::filesystem::path path{};
  // Pending messages, and their bytes (payload, destination and key), the
  // outbox holds at most; past either, the oldest pending message that is
  // not being sent moves to the dead list ("outbox full").
  std::size_t maxPendingMessages = 10'000;
  std::size_t maxPendingBytes = 64 * 1024 * 1024;
  // Dead messages kept; past that, the oldest one is deleted and reported.
  std::size_t maxDeadMessages = 10'000;
  Durability durability = Durability::kPowerLoss;
  // How long Shutdown lets sends that are running finish.
  std::chrono::milliseconds shutdownGrace = std::chrono::seconds(5);
  // Empty: std::chrono::system_clock::now.
  Clock clock{};
  // Empty: a std::mt19937_64 seeded from std::random_device.
  Jitter jitter{};
  // Empty: reports are dropped (the counters still count).
  ReportHandler report{};
};

}  // namespace orv::outbox
