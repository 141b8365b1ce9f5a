#include "database.hpp"

#include <algorithm>
#include <chrono>
#include <stdexcept>
#include <utility>

namespace orv::outbox::detail {

namespace {

// "orvo": tells an outbox database from any other SQLite file.
constexpr std::int64_t kApplicationId = 0x6f72766f;
constexpr std::int64_t kSchemaVersion = 1;

constexpr char const* kSchema = R"sql(
CREATE TABLE message(
  sequence INTEGER PRIMARY KEY AUTOINCREMENT,
  delivery_id TEXT NOT NULL,
  action_key TEXT NOT NULL,
  event_id INTEGER NOT NULL,
  destination TEXT NOT NULL,
  payload BLOB NOT NULL,
  accepted_at INTEGER NOT NULL,
  queued_at INTEGER NOT NULL,
  attempts INTEGER NOT NULL,
  next_attempt_at INTEGER NOT NULL,
  last_code INTEGER NOT NULL,
  last_detail TEXT NOT NULL,
  dead_reason INTEGER,
  died_at INTEGER);
CREATE INDEX message_dead ON message(died_at, sequence) WHERE dead_reason IS NOT NULL;
)sql";

constexpr char const* kColumns =
    "sequence, delivery_id, action_key, event_id, destination, payload, accepted_at, queued_at, attempts, "
    "next_attempt_at, "
    "last_code, last_detail, dead_reason, died_at";

// Times are stored as nanoseconds since the epoch.
std::int64_t ToStored(TimePoint time) {
  return std::chrono::duration_cast<std::chrono::nanoseconds>(time.time_since_epoch()).count();
}

// A damaged or hand-edited file may hold any number. Reading it as the
// nearest end of 1970-01-01 .. 2200-01-01 keeps the message (it is still
// delivered) and keeps every later sum and difference of times in range.
TimePoint FromStored(std::int64_t nanoseconds) {
  constexpr std::int64_t kLatest = 7'258'118'400LL * 1'000'000'000LL;  // 2200-01-01T00:00:00Z
  return TimePoint(std::chrono::duration_cast<TimePoint::duration>(
      std::chrono::nanoseconds(std::clamp<std::int64_t>(nanoseconds, 0, kLatest))));
}

std::string ColumnText(sqlite3_stmt* statement, int column) {
  auto const* text = sqlite3_column_blob(statement, column);
  auto const size = sqlite3_column_bytes(statement, column);
  return text == nullptr ? std::string() : std::string(static_cast<char const*>(text), static_cast<std::size_t>(size));
}

struct StatementDeleter {
  void operator()(sqlite3_stmt* statement) const { sqlite3_finalize(statement); }
};
using Statement = std::unique_ptr<sqlite3_stmt, StatementDeleter>;

// Resets a statement and its bindings when a use of it ends, however it ends.
class Use {
 public:
  explicit Use(sqlite3_stmt* statement) : statement_(statement) {}
  Use(Use const&) = delete;
  Use& operator=(Use const&) = delete;
  ~Use() {
    sqlite3_reset(statement_);
    sqlite3_clear_bindings(statement_);
  }

 private:
  sqlite3_stmt* statement_;
};

}  // namespace

struct Database::Connection {
  sqlite3* handle = nullptr;
  ~Connection() { sqlite3_close_v2(handle); }
};

struct Database::Statements {
  Statement begin, commit, rollback, insert, update, remove, pending, dead, findDead, oldestDead, nextSequence,
      flushCommits, relaxCommits;
};

Database::Database(std::filesystem::path path, Durability durability)
    : path_(std::move(path)), durability_(durability), connection_(std::make_unique<Connection>()) {
  Open();
}

Database::~Database() {
  statements_.reset();
  connection_.reset();
}

void Database::Fail(char const* doing) const {
  auto const code = sqlite3_extended_errcode(connection_->handle);
  std::string cause = sqlite3_errmsg(connection_->handle);
  if ((code & 0xff) == SQLITE_BUSY || (code & 0xff) == SQLITE_LOCKED) {
    throw std::runtime_error("the outbox database " + path_.string() + " is in use by another outbox");
  }
  throw std::runtime_error(std::string("cannot ") + doing + " the outbox database " + path_.string() + ": " + cause);
}

void Database::Execute(char const* sql, char const* doing) {
  if (sqlite3_exec(connection_->handle, sql, nullptr, nullptr, nullptr) != SQLITE_OK) {
    Fail(doing);
  }
}

void Database::Open() {
  auto const rc = sqlite3_open_v2(path_.c_str(), &connection_->handle,
                                  SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE | SQLITE_OPEN_NOMUTEX, nullptr);
  if (rc != SQLITE_OK) {
    if (connection_->handle == nullptr) {
      throw std::runtime_error("cannot open the outbox database " + path_.string() + ": " + sqlite3_errstr(rc));
    }
    Fail("open");
  }
  sqlite3_extended_result_codes(connection_->handle, 1);
  if (sqlite3_db_readonly(connection_->handle, "main") == 1) {
    throw std::runtime_error("cannot open the outbox database " + path_.string() + " for writing");
  }
  // Locked for the life of the connection: a second outbox on the file fails
  // at once instead of sending the same messages, and WAL mode then needs no
  // shared-memory file.
  Execute("PRAGMA locking_mode=EXCLUSIVE", "open");
  Execute("BEGIN EXCLUSIVE", "open");
  try {
    CheckOrCreateSchema();
    Execute("COMMIT", "open");
  } catch (...) {
    sqlite3_exec(connection_->handle, "ROLLBACK", nullptr, nullptr, nullptr);
    throw;
  }
  {
    sqlite3_stmt* statement = nullptr;
    if (sqlite3_prepare_v2(connection_->handle, "PRAGMA journal_mode=WAL", -1, &statement, nullptr) != SQLITE_OK) {
      Fail("open");
    }
    Statement const owned(statement);
    if (sqlite3_step(statement) != SQLITE_ROW) {
      Fail("open");
    }
    if (auto const mode = ColumnText(statement, 0); mode != "wal") {
      throw std::runtime_error("cannot use the outbox database " + path_.string() +
                               " in WAL mode: SQLite keeps it in mode " + mode);
    }
  }
  Execute("PRAGMA synchronous=NORMAL", "open");
  // Keeps the log file from staying large after a burst.
  Execute("PRAGMA journal_size_limit=4194304", "open");

  auto const prepare = [this](char const* sql) {
    sqlite3_stmt* statement = nullptr;
    if (sqlite3_prepare_v3(connection_->handle, sql, -1, SQLITE_PREPARE_PERSISTENT, &statement, nullptr) != SQLITE_OK) {
      Fail("prepare statements for");
    }
    return Statement(statement);
  };
  statements_ = std::make_unique<Statements>();
  statements_->flushCommits = prepare("PRAGMA synchronous=FULL");
  statements_->relaxCommits = prepare("PRAGMA synchronous=NORMAL");
  statements_->begin = prepare("BEGIN");
  statements_->commit = prepare("COMMIT");
  statements_->rollback = prepare("ROLLBACK");
  statements_->insert = prepare(
      "INSERT INTO message(sequence, action_key, event_id, destination, payload, accepted_at, queued_at, attempts, "
      "next_attempt_at, last_code, last_detail, dead_reason, died_at, delivery_id) "
      "VALUES(?1, ?2, ?3, ?4, ?5, ?6, ?7, ?8, ?9, ?10, ?11, ?12, ?13, ?14)");
  statements_->update = prepare(
      "UPDATE message SET queued_at=?7, attempts=?8, next_attempt_at=?9, last_code=?10, last_detail=?11, "
      "dead_reason=?12, died_at=?13 WHERE sequence=?1");
  statements_->remove = prepare("DELETE FROM message WHERE sequence=?1");
  statements_->pending = prepare(
      (std::string("SELECT ") + kColumns + " FROM message WHERE dead_reason IS NULL ORDER BY sequence").c_str());
  statements_->dead = prepare(
      (std::string("SELECT ") + kColumns + " FROM message WHERE dead_reason IS NOT NULL ORDER BY died_at, sequence")
          .c_str());
  statements_->findDead = prepare((std::string("SELECT ") + kColumns +
                                   " FROM message WHERE sequence=?1 AND delivery_id=?2 AND dead_reason IS NOT NULL")
                                      .c_str());
  statements_->oldestDead = prepare(
      "SELECT sequence, action_key, delivery_id FROM message WHERE dead_reason IS NOT NULL "
      "ORDER BY died_at, sequence LIMIT ?1");
  statements_->nextSequence = prepare(
      "SELECT max(coalesce((SELECT seq FROM sqlite_sequence WHERE name='message'), 0), "
      "coalesce((SELECT max(sequence) FROM message), 0)) + 1");

  sqlite3_stmt* count = nullptr;
  if (sqlite3_prepare_v2(connection_->handle, "SELECT count(*) FROM message WHERE dead_reason IS NOT NULL", -1, &count,
                         nullptr) != SQLITE_OK) {
    Fail("read");
  }
  Statement const owned(count);
  if (sqlite3_step(count) != SQLITE_ROW) {
    Fail("read");
  }
  deadCount_ = static_cast<std::size_t>(sqlite3_column_int64(count, 0));
}

void Database::CheckOrCreateSchema() {
  auto const single = [this](char const* sql) {
    sqlite3_stmt* statement = nullptr;
    if (sqlite3_prepare_v2(connection_->handle, sql, -1, &statement, nullptr) != SQLITE_OK) {
      Fail("read");
    }
    Statement const owned(statement);
    if (sqlite3_step(statement) != SQLITE_ROW) {
      Fail("read");
    }
    return sqlite3_column_type(statement, 0) == SQLITE_TEXT ? -1 : sqlite3_column_int64(statement, 0);
  };
  auto const applicationId = single("PRAGMA application_id");
  auto const version = single("PRAGMA user_version");
  auto const objects = single("SELECT count(*) FROM sqlite_schema");
  auto const name = path_.string();

  if (applicationId == 0 && objects == 0) {
    Execute(kSchema, "create");
    Execute(("PRAGMA application_id=" + std::to_string(kApplicationId)).c_str(), "create");
    Execute(("PRAGMA user_version=" + std::to_string(kSchemaVersion)).c_str(), "create");
    return;
  }
  if (applicationId != kApplicationId) {
    throw std::runtime_error("the file " + name + " is an SQLite database of something else, not an outbox");
  }
  if (version > kSchemaVersion) {
    throw std::runtime_error("the outbox database " + name + " has format " + std::to_string(version) +
                             ", newer than this program's " + std::to_string(kSchemaVersion));
  }
  if (version != kSchemaVersion) {
    throw std::runtime_error("the outbox database " + name + " has the unknown format " + std::to_string(version));
  }

  // A quick check reads every page once: corruption shows here, with the
  // file's name, rather than as a failed commit later.
  {
    sqlite3_stmt* statement = nullptr;
    if (sqlite3_prepare_v2(connection_->handle, "PRAGMA quick_check(1)", -1, &statement, nullptr) != SQLITE_OK) {
      Fail("check");
    }
    Statement const owned(statement);
    if (sqlite3_step(statement) != SQLITE_ROW) {
      Fail("check");
    }
    auto const verdict = ColumnText(statement, 0);
    if (verdict != "ok") {
      throw std::runtime_error("the outbox database " + name + " is corrupt: " + verdict);
    }
  }
}

std::int64_t Database::GetNextSequence() {
  auto* const statement = statements_->nextSequence.get();
  Use const use(statement);
  if (sqlite3_step(statement) != SQLITE_ROW) {
    Fail("read");
  }
  return sqlite3_column_int64(statement, 0);
}

std::vector<StoredMessage> Database::Select(sqlite3_stmt* statement, char const* doing) {
  std::vector<StoredMessage> messages;
  for (;;) {
    auto const rc = sqlite3_step(statement);
    if (rc == SQLITE_DONE) {
      return messages;
    }
    if (rc != SQLITE_ROW) {
      Fail(doing);
    }
    StoredMessage stored;
    stored.sequence = sqlite3_column_int64(statement, 0);
    auto& message = stored.message;
    message.deliveryId = ColumnText(statement, 1);
    message.actionKey = ColumnText(statement, 2);
    message.eventId = static_cast<std::uint64_t>(sqlite3_column_int64(statement, 3));
    message.destination = ColumnText(statement, 4);
    message.payload = ColumnText(statement, 5);
    message.acceptedAt = FromStored(sqlite3_column_int64(statement, 6));
    message.queuedAt = FromStored(sqlite3_column_int64(statement, 7));
    message.attempts = static_cast<std::uint32_t>(sqlite3_column_int64(statement, 8));
    message.nextAttemptAt = FromStored(sqlite3_column_int64(statement, 9));
    message.lastCode = static_cast<std::uint32_t>(sqlite3_column_int64(statement, 10));
    message.lastDetail = ColumnText(statement, 11);
    if (sqlite3_column_type(statement, 12) != SQLITE_NULL) {
      auto const reason = sqlite3_column_int64(statement, 12);
      if (reason < static_cast<int>(DeadReason::kPermanentFailure) ||
          reason > static_cast<int>(DeadReason::kOutboxFull)) {
        throw std::runtime_error("the outbox database " + path_.string() + " is corrupt: message " +
                                 std::to_string(stored.sequence) + " has the unknown dead reason " +
                                 std::to_string(reason));
      }
      message.deadReason = static_cast<DeadReason>(reason);
      message.diedAt = FromStored(sqlite3_column_int64(statement, 13));
    }
    messages.push_back(std::move(stored));
  }
}

std::vector<StoredMessage> Database::LoadPending() {
  Use const use(statements_->pending.get());
  return Select(statements_->pending.get(), "read");
}

std::vector<StoredMessage> Database::ListDead() {
  Use const use(statements_->dead.get());
  return Select(statements_->dead.get(), "read");
}

std::optional<StoredMessage> Database::FindDead(std::int64_t sequence, std::string const& deliveryId) {
  auto* const statement = statements_->findDead.get();
  Use const use(statement);
  sqlite3_bind_int64(statement, 1, sequence);
  sqlite3_bind_text(statement, 2, deliveryId.data(), static_cast<int>(deliveryId.size()), SQLITE_STATIC);
  auto found = Select(statement, "read");
  if (found.empty()) {
    return std::nullopt;
  }
  return std::move(found.front());
}

bool Database::Apply(Change const& change) {
  auto const run = [this](sqlite3_stmt* statement) {
    if (sqlite3_step(statement) != SQLITE_DONE) {
      Fail("write");
    }
  };
  if (change.kind == Change::Kind::kDelete) {
    auto* const statement = statements_->remove.get();
    Use const use(statement);
    sqlite3_bind_int64(statement, 1, change.sequence);
    run(statement);
    return sqlite3_changes(connection_->handle) > 0;
  }
  auto const bindProgress = [&change](sqlite3_stmt* statement) {
    auto const& progress = change.progress;
    sqlite3_bind_int64(statement, 1, change.sequence);
    sqlite3_bind_int64(statement, 7, ToStored(progress.queuedAt));
    sqlite3_bind_int64(statement, 8, progress.attempts);
    sqlite3_bind_int64(statement, 9, ToStored(progress.nextAttemptAt));
    sqlite3_bind_int64(statement, 10, progress.lastCode);
    sqlite3_bind_text(statement, 11, progress.lastDetail.data(), static_cast<int>(progress.lastDetail.size()),
                      SQLITE_STATIC);
    if (progress.deadReason) {
      sqlite3_bind_int64(statement, 12, static_cast<int>(*progress.deadReason));
      sqlite3_bind_int64(statement, 13, ToStored(progress.diedAt));
    }
  };
  if (change.kind == Change::Kind::kUpdate) {
    auto* const statement = statements_->update.get();
    Use const use(statement);
    bindProgress(statement);
    run(statement);
    if (sqlite3_changes(connection_->handle) > 0) {
      return true;
    }
    // The row has gone (the dead list's limit took it): write it whole again.
  }
  auto const& message = *change.message;
  auto* const statement = statements_->insert.get();
  Use const use(statement);
  bindProgress(statement);
  sqlite3_bind_text(statement, 2, message.actionKey.data(), static_cast<int>(message.actionKey.size()), SQLITE_STATIC);
  sqlite3_bind_int64(statement, 3, static_cast<std::int64_t>(message.eventId));
  sqlite3_bind_text(statement, 4, message.destination.data(), static_cast<int>(message.destination.size()),
                    SQLITE_STATIC);
  sqlite3_bind_blob(statement, 5, message.payload.data(), static_cast<int>(message.payload.size()), SQLITE_STATIC);
  sqlite3_bind_int64(statement, 6, ToStored(message.acceptedAt));
  sqlite3_bind_text(statement, 14, message.deliveryId.data(), static_cast<int>(message.deliveryId.size()),
                    SQLITE_STATIC);
  run(statement);
  return false;
}

std::vector<TrimmedMessage> Database::Trim(std::size_t maxDead) {
  std::vector<TrimmedMessage> trimmed;
  if (deadCount_ <= maxDead) {
    return trimmed;
  }
  {
    auto* const statement = statements_->oldestDead.get();
    Use const use(statement);
    sqlite3_bind_int64(statement, 1, static_cast<std::int64_t>(deadCount_ - maxDead));
    for (int rc; (rc = sqlite3_step(statement)) != SQLITE_DONE;) {
      if (rc != SQLITE_ROW) {
        Fail("write");
      }
      trimmed.push_back({sqlite3_column_int64(statement, 0), ColumnText(statement, 1), ColumnText(statement, 2)});
    }
  }
  for (auto const& message : trimmed) {
    auto* const statement = statements_->remove.get();
    Use const use(statement);
    sqlite3_bind_int64(statement, 1, message.sequence);
    if (sqlite3_step(statement) != SQLITE_DONE) {
      Fail("write");
    }
  }
  deadCount_ -= trimmed.size();
  return trimmed;
}

std::vector<TrimmedMessage> Database::Commit(std::vector<Change> const& changes, std::size_t maxDead) {
  auto const deadBefore = deadCount_;
  auto const step = [this](sqlite3_stmt* statement) {
    Use const use(statement);
    for (int rc; (rc = sqlite3_step(statement)) != SQLITE_DONE;) {
      if (rc != SQLITE_ROW) {  // a pragma answers with a row
        Fail("write");
      }
    }
  };
  // A flushed commit also makes the relaxed ones before it durable: the log is written in order.
  auto const flush = durability_ == Durability::kPowerLoss &&
                     std::any_of(changes.begin(), changes.end(), [](Change const& change) { return change.IsVital(); });
  if (flush != flushing_) {
    step(flush ? statements_->flushCommits.get() : statements_->relaxCommits.get());
    flushing_ = flush;
  }
  step(statements_->begin.get());
  try {
    for (auto const& change : changes) {
      auto const wasDead = Apply(change) && change.wasDead;
      auto const isDead = change.kind != Change::Kind::kDelete && change.progress.deadReason.has_value();
      if (isDead && !wasDead) {
        ++deadCount_;
      } else if (!isDead && wasDead) {
        --deadCount_;
      }
    }
    auto trimmed = Trim(maxDead);
    step(statements_->commit.get());
    return trimmed;
  } catch (...) {
    deadCount_ = deadBefore;
    if (sqlite3_get_autocommit(connection_->handle) == 0) {
      Use const use(statements_->rollback.get());
      sqlite3_step(statements_->rollback.get());
    }
    throw;
  }
}

}  // namespace orv::outbox::detail
