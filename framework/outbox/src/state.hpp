#pragma once

#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <random>
#include <string>
#include <thread>
#include <unordered_map>
#include <vector>

#include "database.hpp"
#include "orv/outbox/counters.hpp"
#include "orv/outbox/message.hpp"
#include "orv/outbox/outcome.hpp"
#include "orv/outbox/report.hpp"
#include "orv/outbox/retry_policy.hpp"
#include "orv/outbox/settings.hpp"

namespace orv::outbox::detail {

enum class Phase : std::uint8_t { kPending, kSent, kDead };

// One message in memory: every pending one, and a dead one until its row is committed.
struct Entry {
  std::int64_t sequence = 0;
  std::size_t bytes = 0;
  // The fields fixed at acceptance never change; the others change only
  // under State::mutex, and never while the message is being sent.
  Message message;
  Phase phase = Phase::kPending;
  bool inFlight = false;
  // Waiting in State::dirty for the writer.
  bool dirty = false;
  // What the database's row says as of the last commit; nothing when there is no row.
  std::optional<Phase> stored;
};
using EntryPointer = std::shared_ptr<Entry>;

// The messages of one action key, and the thread that sends them.
struct Lane {
  std::string key;
  // Pending messages in sequence order; only the first can be in flight.
  std::deque<EntryPointer> queue;
  std::shared_ptr<Sender const> sender;
  RetryPolicy policy;
  std::thread thread;
  std::condition_variable wake;
  bool running = false;   // the thread has not returned yet
  bool stopping = false;  // the thread is asked to return after its current send
  bool idle = false;      // the thread waits on `wake`
  Counters totals;        // accepted, sent, retried, dead, skipped
};

// Everything an Outbox shares with its threads. The sending threads own a
// reference, so that a send abandoned at shutdown can still return into it.
struct State {
  Settings settings;

  // Serialises the connection between the writer and the readers. Taken before `mutex`, never after.
  std::mutex databaseMutex;
  std::unique_ptr<Database> database;
  // Begins the delivery ids of the messages this object accepts.
  std::string runId;
  std::string path;

  // Serialises Register, Unregister and Shutdown. Taken before the other two.
  std::mutex registrationMutex;

  // Guards everything below.
  std::mutex mutex;
  std::unordered_map<std::string, std::unique_ptr<Lane>> lanes;
  std::int64_t nextSequence = 1;
  std::size_t pendingCount = 0;
  std::size_t pendingBytes = 0;
  // Every message held in memory, by sequence: pending ones, and dead or
  // sent ones until their final row is committed. For these the database
  // may lag behind; what memory says holds.
  std::unordered_map<std::int64_t, EntryPointer> resident;
  // The dead ones among them, by sequence.
  std::map<std::int64_t, EntryPointer> deadUnwritten;
  // Messages whose row the writer has to bring up to date, and reports for it to deliver.
  std::vector<EntryPointer> dirty;
  std::vector<Report> reports;
  // Messages moved to the dead list, with what their report needs that may
  // change later; the writer words the reports, off the publishing thread.
  struct Death {
    EntryPointer entry;
    DeadReason reason;
    std::uint32_t attempts;
    std::uint32_t lastCode;
    std::string lastDetail;
  };
  std::vector<Death> deaths;
  // Flush's bookkeeping: changes are numbered; every change up to `committed`
  // is in the database; batch `failedBatch`, which held the changes up to
  // `failedThrough`, failed with `lastError`.
  std::uint64_t changes = 0;
  std::uint64_t committed = 0;
  std::uint64_t batchesStarted = 0;
  std::uint64_t failedBatch = 0;
  std::uint64_t failedThrough = 0;
  std::string lastError;
  bool accepting = true;
  bool shutDown = false;
  bool closed = false;  // sends that return now are not recorded any more
  bool writerStop = false;
  bool writerIdle = false;
  bool writerRetryNow = false;
  bool writerGone = false;
  std::condition_variable writerWake;
  std::condition_variable committedChanged;
  std::condition_variable laneExited;
  std::thread writer;
  std::mt19937_64 random{std::random_device{}()};

  TimePoint Now() const { return settings.clock ? settings.clock() : std::chrono::system_clock::now(); }
  // Called with `mutex` held.
  double Jitter();
  Lane& LaneOf(std::string const& key);
  void MarkDirty(EntryPointer const& entry);
  // Takes the message at `index` of `lane` out of its queue.
  EntryPointer Remove(Lane& lane, std::size_t index);
  // Moves a message that has left its queue to the dead list.
  void Kill(Lane& lane, EntryPointer const& entry, DeadReason reason, TimePoint at);
  // Moves the oldest pending messages not being sent to the dead list until
  // `count` more messages of `bytes` more bytes fit.
  void MakeRoom(std::size_t count, std::size_t bytes, TimePoint now);
  // Puts a message that is not in any queue into its lane's, in sequence order.
  void Enqueue(EntryPointer const& entry);
};

// The writer thread's loop: commits dirty messages in batches and delivers reports.
void RunWriter(State& state);

// A sending thread's loop for `lane`.
void RunLane(std::shared_ptr<State> state, Lane* lane);

}  // namespace orv::outbox::detail
