#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>

namespace orv::outbox {

// What the outbox did with one action's messages. The five totals count since
// this Outbox object was made; pending and the oldest age describe the
// database's messages, including those of earlier runs.
struct Counters {
  std::uint64_t accepted = 0;  // taken by Accept
  std::uint64_t sent = 0;      // delivered
  std::uint64_t retried = 0;   // transient failures followed by another attempt
  std::uint64_t dead = 0;      // moved to the dead list, for any reason
  std::uint64_t skipped = 0;   // of those, moved unsent because the outbox was full
  std::size_t pending = 0;     // waiting or being sent
  // How long ago the oldest pending message was accepted; zero when none is.
  std::chrono::nanoseconds oldestPendingAge{0};
  // Whether a sender is registered; without one, pending messages wait.
  bool hasSender = false;
  // Events the action skipped for its cool-down, never handed over. Counted
  // by the action since it was made: GetActionCounters (process.hpp) fills
  // it in, Outbox::GetCounters leaves it 0.
  std::uint64_t cooledDown = 0;
};

}  // namespace orv::outbox
