#include "orv/outbox/outbox.hpp"

#include <algorithm>
#include <chrono>
#include <limits>
#include <stdexcept>
#include <utility>

#include "delivery_id.hpp"
#include "schedule.hpp"
#include "state.hpp"

namespace orv::outbox {

namespace {

using detail::Entry;
using detail::EntryPointer;
using detail::Phase;
using detail::State;

void CheckLimit(std::size_t value, char const* name) {
  if (value == 0) {
    throw std::invalid_argument(std::string("the outbox's ") + name + " must be at least 1");
  }
}

std::logic_error ShutDownError(State const& state) {
  return std::logic_error("the outbox " + state.path + " is shut down");
}

Counters CountersOf(State const& state, detail::Lane const& lane) {
  auto counters = lane.totals;
  counters.pending = lane.queue.size();
  counters.hasSender = lane.sender != nullptr;
  if (!lane.queue.empty()) {
    auto const oldest = std::min_element(
        lane.queue.begin(), lane.queue.end(),
        [](EntryPointer const& a, EntryPointer const& b) { return a->message.acceptedAt < b->message.acceptedAt; });
    counters.oldestPendingAge = std::max(std::chrono::nanoseconds::zero(), state.Now() - (*oldest)->message.acceptedAt);
  }
  return counters;
}

}  // namespace

Outbox::Outbox(Settings settings) : state_(std::make_shared<State>()) {
  if (settings.path.empty()) {
    throw std::invalid_argument("the outbox needs the path of its database");
  }
  CheckLimit(settings.maxPendingMessages, "maximum of pending messages");
  CheckLimit(settings.maxPendingBytes, "maximum of pending bytes");
  CheckLimit(settings.maxDeadMessages, "maximum of dead messages");
  auto& state = *state_;
  state.settings = std::move(settings);
  state.path = state.settings.path.string();
  state.database = std::make_unique<detail::Database>(state.settings.path, state.settings.durability);
  state.runId = detail::MakeRunId();
  state.nextSequence = state.database->GetNextSequence();
  for (auto& stored : state.database->LoadPending()) {
    auto entry = std::make_shared<Entry>();
    entry->sequence = stored.sequence;
    entry->message = std::move(stored.message);
    auto const& message = entry->message;
    entry->bytes = message.payload.size() + message.destination.size() + message.actionKey.size();
    entry->stored = Phase::kPending;
    state.resident.emplace(entry->sequence, entry);
    auto& lane = state.LaneOf(message.actionKey);
    lane.queue.push_back(std::move(entry));
    ++state.pendingCount;
    state.pendingBytes += lane.queue.back()->bytes;
  }
  // Limits lowered since the last run apply at once.
  state.MakeRoom(0, 0, state.Now());
  state.writer = std::thread(detail::RunWriter, std::ref(state));
}

Outbox::~Outbox() { Shutdown(); }

std::string Outbox::Accept(Submission submission) {
  auto& state = *state_;
  if (submission.actionKey.empty()) {
    throw std::invalid_argument("a message for the outbox needs an action key");
  }
  auto entry = std::make_shared<Entry>();
  entry->bytes = submission.payload.size() + submission.destination.size() + submission.actionKey.size();
  if (entry->bytes > state.settings.maxPendingBytes) {
    throw std::length_error("a message of " + std::to_string(entry->bytes) + " bytes for action \"" +
                            submission.actionKey + "\" exceeds the outbox's limit of " +
                            std::to_string(state.settings.maxPendingBytes) + " bytes");
  }
  auto& message = entry->message;
  message.actionKey = std::move(submission.actionKey);
  message.eventId = submission.eventId;
  message.destination = std::move(submission.destination);
  message.payload = std::move(submission.payload);
  auto const now = state.Now();
  message.acceptedAt = message.queuedAt = message.nextAttemptAt = now;

  std::lock_guard const lock(state.mutex);
  if (!state.accepting) {
    throw ShutDownError(state);
  }
  if (state.deadUnwritten.size() > state.settings.maxPendingMessages) {
    throw std::runtime_error(
        "the outbox database " + state.path + " has fallen " + std::to_string(state.deadUnwritten.size()) +
        " dead messages behind: " + (state.lastError.empty() ? "the disk is too slow" : state.lastError));
  }
  // A damaged or edited database may say that every number was used; the
  // last one is never handed out, so that counting on cannot overflow.
  if (state.nextSequence == std::numeric_limits<std::int64_t>::max()) {
    throw std::runtime_error("the outbox database " + state.path + " has used every sequence number");
  }
  entry->sequence = state.nextSequence++;
  message.deliveryId = detail::MakeDeliveryId(state.runId, entry->sequence);
  auto& lane = state.LaneOf(message.actionKey);
  state.MakeRoom(1, entry->bytes, now);
  lane.queue.push_back(entry);
  state.resident.emplace(entry->sequence, entry);
  ++state.pendingCount;
  state.pendingBytes += entry->bytes;
  ++lane.totals.accepted;
  state.MarkDirty(entry);
  if (lane.idle) {
    lane.wake.notify_one();
  }
  return message.deliveryId;
}

void Outbox::Register(std::string const& actionKey, Sender sender, RetryPolicy policy) {
  if (actionKey.empty()) {
    throw std::invalid_argument("a sender needs an action key");
  }
  if (!sender) {
    throw std::invalid_argument("the sender for action \"" + actionKey + "\" is empty");
  }
  detail::Validate(policy);
  auto& state = *state_;
  std::lock_guard const registration(state.registrationMutex);
  std::lock_guard const lock(state.mutex);
  if (state.shutDown) {
    throw ShutDownError(state);
  }
  auto& lane = state.LaneOf(actionKey);
  lane.sender = std::make_shared<Sender const>(std::move(sender));
  lane.policy = policy;
  if (lane.running) {
    if (lane.idle) {
      lane.wake.notify_one();
    }
    return;
  }
  if (lane.thread.joinable()) {
    lane.thread.join();  // it has returned: `running` is false
  }
  lane.stopping = false;
  lane.running = true;
  lane.thread = std::thread(detail::RunLane, state_, &lane);
}

void Outbox::Unregister(std::string const& actionKey) {
  auto& state = *state_;
  std::lock_guard const registration(state.registrationMutex);
  std::unique_lock lock(state.mutex);
  auto const found = state.lanes.find(actionKey);
  if (found == state.lanes.end()) {
    return;
  }
  auto& lane = *found->second;
  if (lane.thread.joinable()) {
    if (lane.thread.get_id() == std::this_thread::get_id()) {
      throw std::logic_error("the sender of action \"" + actionKey + "\" cannot unregister itself");
    }
    lane.stopping = true;
    lane.wake.notify_all();
    auto thread = std::move(lane.thread);
    lock.unlock();
    thread.join();
    lock.lock();
    lane.stopping = false;
  }
  lane.sender.reset();
}

Counters Outbox::GetCounters(std::string const& actionKey) const {
  auto const& state = *state_;
  std::lock_guard const lock(state_->mutex);
  auto const found = state.lanes.find(actionKey);
  return found == state.lanes.end() ? Counters{} : CountersOf(state, *found->second);
}

std::map<std::string, Counters> Outbox::GetAllCounters() const {
  auto const& state = *state_;
  std::lock_guard const lock(state_->mutex);
  std::map<std::string, Counters> all;
  for (auto const& [key, lane] : state.lanes) {
    all.emplace(key, CountersOf(state, *lane));
  }
  return all;
}

std::vector<Message> Outbox::ListPending() const {
  std::lock_guard const lock(state_->mutex);
  std::vector<EntryPointer> entries;
  for (auto const& [key, lane] : state_->lanes) {
    entries.insert(entries.end(), lane->queue.begin(), lane->queue.end());
  }
  std::sort(entries.begin(), entries.end(),
            [](EntryPointer const& a, EntryPointer const& b) { return a->sequence < b->sequence; });
  std::vector<Message> messages;
  messages.reserve(entries.size());
  for (auto const& entry : entries) {
    messages.push_back(entry->message);  // the mutable fields need the lock
  }
  return messages;
}

std::vector<Message> Outbox::ListDead() const {
  auto& state = *state_;
  std::lock_guard const databaseLock(state.databaseMutex);
  if (!state.database) {
    throw ShutDownError(state);
  }
  auto stored = state.database->ListDead();
  std::lock_guard const lock(state.mutex);
  // The rows of messages held in memory may be stale: memory holds.
  std::erase_if(stored, [&state](detail::StoredMessage const& row) { return state.resident.count(row.sequence) != 0; });
  for (auto const& [sequence, entry] : state.deadUnwritten) {
    stored.push_back({sequence, entry->message});
  }
  std::sort(stored.begin(), stored.end(), [](detail::StoredMessage const& a, detail::StoredMessage const& b) {
    return std::tie(a.message.diedAt, a.sequence) < std::tie(b.message.diedAt, b.sequence);
  });
  std::vector<Message> messages;
  messages.reserve(stored.size());
  for (auto& row : stored) {
    messages.push_back(std::move(row.message));
  }
  return messages;
}

bool Outbox::Requeue(std::string const& deliveryId) {
  auto& state = *state_;
  auto const sequence = detail::ParseSequence(deliveryId);
  if (!sequence) {
    return false;
  }
  // Holding the database's lock keeps the writer from committing meanwhile:
  // a message not in memory now is as the database says until this returns.
  std::lock_guard const databaseLock(state.databaseMutex);
  if (!state.database) {
    throw ShutDownError(state);
  }
  auto const revive = [&state](EntryPointer const& entry) {
    if (state.pendingCount + 1 > state.settings.maxPendingMessages ||
        state.pendingBytes + entry->bytes > state.settings.maxPendingBytes) {
      throw std::length_error("the outbox " + state.path + " is full: message " + entry->message.deliveryId +
                              " stays dead");
    }
    auto& message = entry->message;
    auto const now = state.Now();
    entry->phase = Phase::kPending;
    message.deadReason.reset();
    message.diedAt = {};
    message.attempts = 0;
    message.queuedAt = message.nextAttemptAt = now;
    state.deadUnwritten.erase(entry->sequence);
    state.resident.emplace(entry->sequence, entry);
    state.Enqueue(entry);
    state.MarkDirty(entry);
  };
  {
    std::lock_guard const lock(state.mutex);
    if (auto const found = state.resident.find(*sequence); found != state.resident.end()) {
      if (found->second->phase != Phase::kDead || found->second->message.deliveryId != deliveryId) {
        return false;
      }
      revive(found->second);
      return true;
    }
  }
  auto row = state.database->FindDead(*sequence, deliveryId);
  if (!row) {
    return false;
  }
  auto entry = std::make_shared<Entry>();
  entry->sequence = row->sequence;
  entry->message = std::move(row->message);
  entry->bytes = entry->message.payload.size() + entry->message.destination.size() + entry->message.actionKey.size();
  entry->phase = Phase::kDead;
  entry->stored = Phase::kDead;
  std::lock_guard const lock(state.mutex);
  revive(entry);
  return true;
}

void Outbox::Flush() {
  auto& state = *state_;
  std::unique_lock lock(state.mutex);
  if (state.shutDown) {
    throw ShutDownError(state);
  }
  auto const target = state.changes;
  auto const started = state.batchesStarted;
  state.committedChanged.wait(lock, [&] {
    return state.committed >= target || (state.failedBatch > started && state.failedThrough >= target) ||
           state.writerGone;
  });
  if (state.committed < target) {
    throw std::runtime_error(state.lastError.empty() ? "the outbox " + state.path + " was shut down before a commit"
                                                     : state.lastError);
  }
}

void Outbox::Wake() {
  auto& state = *state_;
  std::lock_guard const lock(state.mutex);
  for (auto const& [key, lane] : state.lanes) {
    lane->wake.notify_all();
  }
  state.writerRetryNow = true;
  state.writerWake.notify_all();
}

void Outbox::Shutdown() {
  auto& state = *state_;
  std::lock_guard const registration(state.registrationMutex);
  std::vector<std::thread> finished;
  {
    std::unique_lock lock(state.mutex);
    if (state.shutDown) {
      return;
    }
    state.shutDown = true;
    state.accepting = false;
    for (auto const& [key, lane] : state.lanes) {
      lane->stopping = true;
      lane->wake.notify_all();
    }
    auto const deadline = std::chrono::steady_clock::now() + state.settings.shutdownGrace;
    state.laneExited.wait_until(lock, deadline, [&state] {
      return std::none_of(state.lanes.begin(), state.lanes.end(),
                          [](auto const& lane) { return lane.second->running; });
    });
    for (auto const& [key, lane] : state.lanes) {
      if (!lane->thread.joinable()) {
        continue;
      }
      if (lane->running) {
        lane->thread.detach();  // abandoned: it keeps the state alive until its send returns
      } else {
        finished.push_back(std::move(lane->thread));
      }
    }
    state.closed = true;
  }
  for (auto& thread : finished) {
    thread.join();
  }
  {
    std::lock_guard const lock(state.mutex);
    state.writerStop = true;
    state.writerWake.notify_all();
  }
  state.writer.join();
  std::lock_guard const databaseLock(state.databaseMutex);
  state.database.reset();
}

}  // namespace orv::outbox
