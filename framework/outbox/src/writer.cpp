#include <chrono>
#include <exception>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "state.hpp"

namespace orv::outbox::detail {

namespace {

// How long the writer waits before it tries a failed commit again, unless woken.
constexpr auto kRetryInterval = std::chrono::seconds(1);

// The writer lets go of the lock after this many messages, so that Accept
// never waits long behind a large batch.
constexpr std::size_t kLockedRun = 64;

// Lets threads waiting for `lock` in between.
void Yield(std::unique_lock<std::mutex>& lock) {
  lock.unlock();
  std::this_thread::yield();
  lock.lock();
}

// Words the report of a message moved to the dead list. Only fields fixed at
// acceptance are read from the message itself.
Report DescribeDeath(State::Death const& death) {
  auto const& message = death.entry->message;
  auto text = "message " + message.deliveryId + " of action \"" + message.actionKey + "\" to " + message.destination +
              " is dead (" + std::string(GetText(death.reason)) + ") after " + std::to_string(death.attempts) +
              (death.attempts == 1 ? " attempt" : " attempts");
  if (death.lastCode != 0 || !death.lastDetail.empty()) {
    text += "; last failure " + std::to_string(death.lastCode) + ": " + death.lastDetail;
  }
  return {Report::Kind::kDead, message.actionKey, message.deliveryId, std::move(text)};
}

struct Batch {
  std::vector<Change> changes;
  // The message of each change, kept alive until the commit ends.
  std::vector<EntryPointer> entries;
  std::uint64_t number = 0;
  std::uint64_t through = 0;  // the last change it holds
};

// Takes every dirty message, with `lock` held on entry and on return. A
// message changed while the lock is let go is taken in its newer state, or
// by the next batch.
Batch TakeBatch(State& state, std::unique_lock<std::mutex>& lock) {
  Batch batch;
  batch.number = ++state.batchesStarted;
  batch.through = state.changes;
  auto dirty = std::move(state.dirty);
  state.dirty.clear();
  std::size_t run = 0;
  for (auto& entry : dirty) {
    if (++run % kLockedRun == 0) {
      Yield(lock);
    }
    entry->dirty = false;
    Change change;
    change.sequence = entry->sequence;
    change.message = &entry->message;
    change.wasDead = entry->stored == Phase::kDead;
    if (entry->phase == Phase::kSent) {
      if (!entry->stored) {
        state.resident.erase(entry->sequence);  // sent before it was ever written: nothing to undo
        continue;
      }
      change.kind = Change::Kind::kDelete;
    } else {
      auto const& message = entry->message;
      change.kind = entry->stored ? Change::Kind::kUpdate : Change::Kind::kInsert;
      change.progress = {message.queuedAt,   message.attempts,   message.nextAttemptAt, message.lastCode,
                         message.lastDetail, message.deadReason, message.diedAt};
    }
    batch.changes.push_back(std::move(change));
    batch.entries.push_back(std::move(entry));
  }
  // A change made while the lock was let go either was taken here (its
  // message had not been reached yet) or made its message dirty again. When
  // none is dirty again, this batch holds every change so far.
  if (state.dirty.empty()) {
    batch.through = state.changes;
  }
  return batch;
}

// Records how the commit of `batch` went, with `lock` held on entry and on
// return (the database's lock is held throughout).
void Finish(State& state, Batch const& batch, bool committed, std::unique_lock<std::mutex>& lock) {
  for (std::size_t i = 0; i < batch.entries.size(); ++i) {
    if ((i + 1) % kLockedRun == 0) {
      Yield(lock);
    }
    auto const& entry = batch.entries[i];
    auto const& change = batch.changes[i];
    if (!committed) {
      if (!entry->dirty) {
        entry->dirty = true;
        state.dirty.push_back(entry);
      }
      continue;
    }
    if (change.kind == Change::Kind::kDelete) {
      entry->stored.reset();
    } else {
      entry->stored = change.progress.deadReason ? Phase::kDead : Phase::kPending;
    }
    if (entry->dirty) {
      continue;  // changed again meanwhile: the next batch writes it
    }
    if (entry->phase == Phase::kDead && entry->stored == Phase::kDead) {
      state.deadUnwritten.erase(entry->sequence);
      state.resident.erase(entry->sequence);
    } else if (entry->phase == Phase::kSent && !entry->stored) {
      state.resident.erase(entry->sequence);
    }
  }
}

std::size_t CountUnsaved(State const& state) {
  std::size_t unsaved = 0;
  for (auto const& entry : state.dirty) {
    unsaved += entry->phase != Phase::kSent && entry->stored != entry->phase ? 1 : 0;
  }
  return unsaved;
}

}  // namespace

void RunWriter(State& state) {
  std::unique_lock lock(state.mutex);
  bool failing = false;
  for (;;) {
    if (failing && !state.writerStop) {
      state.writerIdle = true;
      state.writerWake.wait_for(lock, kRetryInterval, [&] { return state.writerStop || state.writerRetryNow; });
      state.writerIdle = false;
    }
    state.writerRetryNow = false;
    state.writerIdle = true;
    state.writerWake.wait(lock, [&] {
      return state.writerStop || !state.dirty.empty() || !state.reports.empty() || !state.deaths.empty();
    });
    state.writerIdle = false;
    if (state.dirty.empty() && state.reports.empty() && state.deaths.empty()) {
      break;  // stopping, with everything written
    }
    auto deaths = std::move(state.deaths);
    state.deaths.clear();
    auto batch = TakeBatch(state, lock);
    auto reports = std::move(state.reports);
    state.reports.clear();
    lock.unlock();
    // Each death is reported once the commit meant to record it has ended.
    for (auto const& death : deaths) {
      reports.push_back(DescribeDeath(death));
    }

    std::string error;
    std::vector<TrimmedMessage> trimmed;
    {
      std::lock_guard const databaseLock(state.databaseMutex);
      if (!batch.changes.empty()) {
        try {
          trimmed = state.database->Commit(batch.changes, state.settings.maxDeadMessages);
        } catch (std::exception const& failure) {
          error = failure.what();
        }
      }
      lock.lock();
      Finish(state, batch, error.empty(), lock);
      if (error.empty()) {
        state.committed = batch.through;
      } else {
        state.failedBatch = batch.number;
        state.failedThrough = batch.through;
        state.lastError = error;
      }
      state.committedChanged.notify_all();
    }
    auto const stopping = state.writerStop;
    auto const unsaved = error.empty() ? 0 : CountUnsaved(state);
    lock.unlock();

    for (auto const& message : trimmed) {
      reports.push_back({Report::Kind::kDeadListTrimmed, message.actionKey, message.deliveryId,
                         "dead message " + message.deliveryId + " of action \"" + message.actionKey +
                             "\" deleted: the dead list holds at most " +
                             std::to_string(state.settings.maxDeadMessages) + " messages"});
    }
    if (!error.empty() && stopping) {
      reports.push_back({Report::Kind::kDatabaseError,
                         {},
                         {},
                         error + "; at shutdown, " + std::to_string(unsaved) + " changed messages were not saved"});
    } else if (!error.empty() && !failing) {
      reports.push_back({Report::Kind::kDatabaseError, {}, {}, error + "; the outbox keeps trying"});
    }
    if (state.settings.report) {
      for (auto const& report : reports) {
        try {
          state.settings.report(report);
        } catch (...) {
          // A failing log must not stop the writer.
        }
      }
    }

    lock.lock();
    failing = !error.empty();
    if (failing && stopping) {
      break;
    }
  }
  state.writerGone = true;
  state.committedChanged.notify_all();
}

}  // namespace orv::outbox::detail
