#pragma once

#include <sqlite3.h>

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "orv/outbox/message.hpp"
#include "orv/outbox/settings.hpp"

namespace orv::outbox::detail {

// The fields of a message that change after it is accepted.
struct Progress {
  TimePoint queuedAt;
  std::uint32_t attempts = 0;
  TimePoint nextAttemptAt;
  std::uint32_t lastCode = 0;
  std::string lastDetail;
  std::optional<DeadReason> deadReason;
  TimePoint diedAt;
};

// One row to write: a message's state as it was when the writer took it.
struct Change {
  enum class Kind : std::uint8_t { kInsert, kUpdate, kDelete };
  Kind kind = Kind::kInsert;
  std::int64_t sequence = 0;
  // The fields fixed at acceptance; read by kInsert, and by kUpdate when the
  // row has gone. Never changes after Accept, so it is read without a lock.
  Message const* message = nullptr;
  Progress progress;
  // Whether the row holds a dead message before this change.
  bool wasDead = false;

  // Whether losing this change in a power cut would lose a message or its
  // record: a new row, or a dead message made pending again. Losing any
  // other change costs at most a duplicate send or an early retry.
  bool IsVital() const { return kind == Kind::kInsert || (wasDead && !progress.deadReason); }
};

// A message with its place in the order of acceptance.
struct StoredMessage {
  std::int64_t sequence = 0;
  Message message;
};

// A dead message that the dead list's limit deleted.
struct TrimmedMessage {
  std::int64_t sequence = 0;
  std::string actionKey;
  std::string deliveryId;
};

// The outbox's SQLite database: one file in WAL mode, locked for the life of
// this object. Not thread-safe: the caller serialises every call. Every error
// is a std::runtime_error naming the file.
class Database {
 public:
  Database(std::filesystem::path path, Durability durability);
  Database(Database const&) = delete;
  Database& operator=(Database const&) = delete;
  ~Database();

  std::filesystem::path const& GetPath() const noexcept { return path_; }
  // One above the largest sequence number the database ever held.
  std::int64_t GetNextSequence();

  // The pending messages, in sequence order.
  std::vector<StoredMessage> LoadPending();
  // The dead messages, in the order they died.
  std::vector<StoredMessage> ListDead();
  // The dead message `sequence`, if there is one and its delivery id is `deliveryId`.
  std::optional<StoredMessage> FindDead(std::int64_t sequence, std::string const& deliveryId);

  // Writes `changes` in one transaction, deleting the oldest dead messages
  // beyond `maxDead` in it too, and returns those. Nothing is written when it
  // throws. Under power-loss durability the commit is flushed to the device
  // only when a change is vital.
  std::vector<TrimmedMessage> Commit(std::vector<Change> const& changes, std::size_t maxDead);

 private:
  struct Connection;
  struct Statements;

  void Open();
  void CheckOrCreateSchema();
  void Execute(char const* sql, char const* doing);
  // Whether the row was there before.
  bool Apply(Change const& change);
  std::vector<TrimmedMessage> Trim(std::size_t maxDead);
  std::vector<StoredMessage> Select(sqlite3_stmt* statement, char const* doing);
  [[noreturn]] void Fail(char const* doing) const;

  std::filesystem::path path_;
  Durability durability_;
  bool flushing_ = false;  // synchronous=FULL is in force
  std::size_t deadCount_ = 0;
  std::unique_ptr<Connection> connection_;
  std::unique_ptr<Statements> statements_;
};

}  // namespace orv::outbox::detail
