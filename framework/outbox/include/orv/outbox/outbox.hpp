#pragma once

#include <map>
#include <memory>
#include <string>
#include <vector>

#include "orv/outbox/counters.hpp"
#include "orv/outbox/export.hpp"
#include "orv/outbox/message.hpp"
#include "orv/outbox/outcome.hpp"
#include "orv/outbox/retry_policy.hpp"
#include "orv/outbox/settings.hpp"

namespace orv::outbox {

namespace detail {
struct State;
}  // namespace detail

// A persistent queue of messages that actions hand over on the publishing
// thread and that the outbox sends from threads of its own, at least once.
//
// Accept only queues the message in memory; a writer thread commits it to the
// SQLite database (WAL mode) with whatever else arrived meanwhile, normally
// within one commit of the call (see docs/outbox.md for what a crash or power
// cut can lose, and when). Every message has a delivery id, stable across
// attempts and restarts.
//
// Each action key has its own sending thread, started by Register: an action's
// messages go out one at a time in the order they were accepted, and one
// action's slow or failing destination never delays another action. A failed
// message waits for its retry, and the action's later messages wait behind it.
//
// The database is locked for the life of the object: a second Outbox on the
// same file, in this process or another, fails to open. All member functions
// may be called from any thread at once.
//
//   orv::outbox::Outbox outbox({.path = "/var/lib/device/outbox.db"});
//   outbox.Register("door webhook", [](orv::outbox::Message const& m) { return Post(m); });
//   outbox.Accept({.actionKey = "door webhook", .eventId = 17, .destination = url, .payload = request});
class ORV_OUTBOX_API Outbox {
 public:
  // Opens or makes the database at settings.path, loads its pending messages
  // and starts the writer. Throws std::runtime_error naming the file when it
  // cannot be opened or created, is not an outbox database, was written by a
  // newer version, is corrupt, or is in use by another Outbox; and
  // std::invalid_argument for an empty path and limits of 0.
  explicit Outbox(Settings settings);
  Outbox(Outbox const&) = delete;
  Outbox& operator=(Outbox const&) = delete;
  // Shutdown.
  ~Outbox();

  // Queues `submission` for its action and returns its delivery id; never
  // waits for the disk or a sender. When the outbox is full, the oldest
  // pending message moves to the dead list first. Throws std::invalid_argument
  // for an empty action key, std::length_error for a message larger than
  // maxPendingBytes, std::logic_error after Shutdown, and std::runtime_error
  // when the database has fallen more than maxPendingMessages dead messages
  // behind (a full or failing disk) or has used every sequence number (a
  // damaged or edited file).
  std::string Accept(Submission submission);

  // Sends the messages of `actionKey` with `sender` from now on, under
  // `policy`. Replaces an earlier sender of that key; a send already running
  // finishes with the old one. Throws std::invalid_argument for an empty key,
  // an empty sender or a policy outside its documented ranges, and
  // std::logic_error after Shutdown.
  void Register(std::string const& actionKey, Sender sender, RetryPolicy policy = {});

  // Stops sending the messages of `actionKey`; they wait until a sender is
  // registered again. Returns once a send that was running has finished.
  // Throws std::logic_error when called from that sender itself.
  void Unregister(std::string const& actionKey);

  // The counters of one action key; all zero for a key never seen.
  Counters GetCounters(std::string const& actionKey) const;
  // The counters of every action key seen, by key.
  std::map<std::string, Counters> GetAllCounters() const;

  // The pending messages, in the order they were accepted.
  std::vector<Message> ListPending() const;
  // The dead messages, in the order they died. Throws std::runtime_error
  // naming the file when the database cannot be read, std::logic_error after
  // Shutdown.
  std::vector<Message> ListDead() const;

  // Moves the dead message `deliveryId` back to its action's queue, in its
  // place by acceptance, with a new series of attempts starting now. Returns
  // false when no dead message has that id. Throws std::length_error when the
  // outbox is full, std::runtime_error naming the file when the database
  // cannot be read, std::logic_error after Shutdown.
  bool Requeue(std::string const& deliveryId);

  // Waits until everything accepted or changed before the call is committed
  // to the database. Throws std::runtime_error naming the file when that
  // commit fails, std::logic_error after Shutdown.
  void Flush();

  // Makes the sending threads read the clock again at once, and the writer
  // retry a failed commit now. For a host whose clock jumped, and for tests
  // that advance a fake clock. (Without it they look again within a second.)
  void Wake();

  // Stops accepting, lets sends that are running finish for at most
  // settings.shutdownGrace, commits what they and the others left, and closes
  // the database. Messages not sent stay in it for the next run. A send still
  // running after the grace time is abandoned: its thread is detached and its
  // outcome ignored, so a sender must own whatever it uses. Idempotent.
  void Shutdown();

 private:
  std::shared_ptr<detail::State> state_;
};

}  // namespace orv::outbox
