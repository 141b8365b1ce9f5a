#include <algorithm>
#include <chrono>
#include <exception>

#include "schedule.hpp"
#include "state.hpp"

namespace orv::outbox::detail {

namespace {

// A clock that jumps is noticed within this time even without Wake.
constexpr auto kLongestWait = std::chrono::seconds(1);

Outcome Send(Sender const& sender, Message const& message) {
  try {
    return sender(message);
  } catch (std::exception const& failure) {
    return Outcome::TransientFailure(0, failure.what());
  } catch (...) {
    return Outcome::TransientFailure(0, "the sender threw something that is not a std::exception");
  }
}

// Applies what sending the first message of `lane` came to.
void Record(State& state, Lane& lane, Outcome const& outcome, TimePoint at) {
  auto const& entry = lane.queue.front();
  auto& message = entry->message;
  ++message.attempts;
  switch (outcome.kind) {
    case Outcome::Kind::kSent: {
      auto const sent = state.Remove(lane, 0);
      sent->phase = Phase::kSent;
      ++lane.totals.sent;
      state.MarkDirty(sent);
      return;
    }
    case Outcome::Kind::kPermanentFailure: {
      message.lastCode = outcome.code;
      message.lastDetail = outcome.detail;
      auto const dead = state.Remove(lane, 0);
      state.Kill(lane, dead, DeadReason::kPermanentFailure, at);
      return;
    }
    case Outcome::Kind::kTransientFailure: {
      message.lastCode = outcome.code;
      message.lastDetail = outcome.detail;
      auto const next =
          NextAttempt(lane.policy, message.queuedAt, at, message.attempts, state.Jitter(), outcome.retryAfter);
      if (!next) {
        auto const dead = state.Remove(lane, 0);
        state.Kill(lane, dead, DeadReason::kGaveUp, at);
        return;
      }
      message.nextAttemptAt = *next;
      ++lane.totals.retried;
      state.MarkDirty(entry);
      return;
    }
  }
}

}  // namespace

void RunLane(std::shared_ptr<State> state, Lane* lane) {
  std::unique_lock lock(state->mutex);
  while (!lane->stopping && !state->closed) {
    if (lane->queue.empty() || !lane->sender) {
      lane->idle = true;
      lane->wake.wait(lock);
      lane->idle = false;
      continue;
    }
    auto const entry = lane->queue.front();
    auto const now = state->Now();
    if (entry->message.nextAttemptAt > now) {
      auto const wait = std::min<TimePoint::duration>(entry->message.nextAttemptAt - now, kLongestWait);
      lane->idle = true;
      lane->wake.wait_for(lock, wait);
      lane->idle = false;
      continue;
    }
    entry->inFlight = true;
    auto const sender = lane->sender;
    lock.unlock();
    auto const outcome = Send(*sender, entry->message);
    auto const finished = state->Now();
    lock.lock();
    entry->inFlight = false;
    if (state->closed) {
      break;  // abandoned at shutdown: the database still holds the message
    }
    Record(*state, *lane, outcome, finished);
  }
  lane->running = false;
  state->laneExited.notify_all();
}

}  // namespace orv::outbox::detail
