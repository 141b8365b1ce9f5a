#include "state.hpp"

#include <algorithm>
#include <limits>

namespace orv::outbox::detail {

double State::Jitter() {
  auto const value = settings.jitter ? settings.jitter() : std::uniform_real_distribution<double>(0.0, 1.0)(random);
  return std::clamp(value, 0.0, 1.0);
}

Lane& State::LaneOf(std::string const& key) {
  auto found = lanes.find(key);
  if (found == lanes.end()) {
    auto lane = std::make_unique<Lane>();
    lane->key = key;
    found = lanes.emplace(key, std::move(lane)).first;
  }
  return *found->second;
}

void State::MarkDirty(EntryPointer const& entry) {
  ++changes;
  if (!entry->dirty) {
    entry->dirty = true;
    dirty.push_back(entry);
    if (writerIdle) {
      writerWake.notify_one();
    }
  }
}

EntryPointer State::Remove(Lane& lane, std::size_t index) {
  auto entry = lane.queue[index];
  lane.queue.erase(lane.queue.begin() + static_cast<std::ptrdiff_t>(index));
  --pendingCount;
  pendingBytes -= entry->bytes;
  return entry;
}

void State::Kill(Lane& lane, EntryPointer const& entry, DeadReason reason, TimePoint at) {
  entry->phase = Phase::kDead;
  entry->message.deadReason = reason;
  entry->message.diedAt = at;
  ++lane.totals.dead;
  deadUnwritten.emplace(entry->sequence, entry);
  MarkDirty(entry);
  auto const& message = entry->message;
  deaths.push_back({entry, reason, message.attempts, message.lastCode, message.lastDetail});
  if (writerIdle) {
    writerWake.notify_one();
  }
}

void State::MakeRoom(std::size_t count, std::size_t bytes, TimePoint now) {
  while (pendingCount + count > settings.maxPendingMessages || pendingBytes + bytes > settings.maxPendingBytes) {
    // The oldest pending message is the first of some lane's queue, or the
    // second where the first is being sent.
    Lane* oldestLane = nullptr;
    std::size_t oldestIndex = 0;
    auto oldestSequence = std::numeric_limits<std::int64_t>::max();
    for (auto& [key, lane] : lanes) {
      auto const& queue = lane->queue;
      std::size_t const index = !queue.empty() && queue.front()->inFlight ? 1 : 0;
      if (index < queue.size() && queue[index]->sequence < oldestSequence) {
        oldestLane = lane.get();
        oldestIndex = index;
        oldestSequence = queue[index]->sequence;
      }
    }
    if (oldestLane == nullptr) {
      return;  // only messages being sent are left: they finish first
    }
    auto const entry = Remove(*oldestLane, oldestIndex);
    ++oldestLane->totals.skipped;
    Kill(*oldestLane, entry, DeadReason::kOutboxFull, now);
    if (oldestIndex == 0 && oldestLane->idle) {
      oldestLane->wake.notify_one();  // its next message may be due sooner
    }
  }
}

void State::Enqueue(EntryPointer const& entry) {
  auto& lane = LaneOf(entry->message.actionKey);
  auto& queue = lane.queue;
  // Never in front of a message being sent.
  auto const first = queue.begin() + (!queue.empty() && queue.front()->inFlight ? 1 : 0);
  auto const place =
      std::upper_bound(first, queue.end(), entry->sequence,
                       [](std::int64_t sequence, EntryPointer const& e) { return sequence < e->sequence; });
  queue.insert(place, entry);
  ++pendingCount;
  pendingBytes += entry->bytes;
  if (lane.idle) {
    lane.wake.notify_one();
  }
}

}  // namespace orv::outbox::detail
