// What the outbox reads back from its database. The outbox parses none of
// its payloads (they are the senders' bytes); what it reads are the rows:
// texts, numbers and times, which a damaged or hand-edited file may hold in
// any form SQLite stores. Each input writes rows of its own choosing into an
// outbox database, then opens it, lists it, counts, requeues, accepts and
// sends: everything either works or fails with an error naming the file.

#include <fuzzer/FuzzedDataProvider.h>
#include <sqlite3.h>
#include <unistd.h>

#include <chrono>
#include <condition_variable>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <mutex>
#include <stdexcept>
#include <string>
#include <vector>

#include "fuzz_support.hpp"
#include "orv/outbox/outbox.hpp"

namespace {

using namespace orv;
namespace fs = std::filesystem;

// 2024-05-06T07:08:09Z: the device's clock, which is no input.
constexpr auto kNow = outbox::TimePoint(std::chrono::seconds(1'714'979'289));

fs::path& Directory() {
  static fs::path directory;
  return directory;
}

fs::path DatabasePath() { return Directory() / "outbox.db"; }

std::string& EmptyDatabase() {
  static std::string bytes;
  return bytes;
}

void RemoveDirectory() {
  std::error_code ignored;
  fs::remove_all(Directory(), ignored);
}

outbox::Settings MakeSettings() {
  outbox::Settings settings;
  settings.path = DatabasePath();
  settings.durability = outbox::Durability::kProcessCrash;
  settings.shutdownGrace = std::chrono::milliseconds(200);
  settings.clock = [] { return kNow; };
  settings.jitter = [] { return 0.5; };
  return settings;
}

// Binds a value of the storage class the input chooses: what a column of
// any declared type may hold.
void BindAny(FuzzedDataProvider& input, sqlite3_stmt* statement, int index, bool integer) {
  switch (input.ConsumeIntegralInRange(0, integer ? 7 : 4)) {
    case 0:
      sqlite3_bind_null(statement, index);
      break;
    case 1: {
      std::string const text = input.ConsumeRandomLengthString(40);
      sqlite3_bind_text(statement, index, text.data(), static_cast<int>(text.size()), SQLITE_TRANSIENT);
      break;
    }
    case 2: {
      std::string const blob = input.ConsumeRandomLengthString(40);
      sqlite3_bind_blob(statement, index, blob.data(), static_cast<int>(blob.size()), SQLITE_TRANSIENT);
      break;
    }
    case 3:
      sqlite3_bind_double(statement, index, input.ConsumeFloatingPoint<double>());
      break;
    case 4:
      sqlite3_bind_int64(statement, index, input.ConsumeIntegral<std::int64_t>());
      break;
    case 5:  // the ends of the range
      sqlite3_bind_int64(
          statement, index,
          input.PickValueInArray<std::int64_t>({INT64_MIN, INT64_MIN + 1, -1, 0, 1, INT64_MAX - 1, INT64_MAX}));
      break;
    default: {  // near the clock: times that make sense
      auto const now = std::chrono::duration_cast<std::chrono::nanoseconds>(kNow.time_since_epoch()).count();
      sqlite3_bind_int64(statement, index,
                         now + input.ConsumeIntegralInRange<std::int64_t>(-1'000'000'000'000, 1'000'000'000'000));
      break;
    }
  }
}

void Execute(sqlite3* database, std::string const& sql) {
  sqlite3_exec(database, sql.c_str(), nullptr, nullptr, nullptr);
}

// Rows of the input's choosing, written with SQLite itself.
void WriteRows(FuzzedDataProvider& input) {
  sqlite3* database = nullptr;
  if (sqlite3_open(DatabasePath().c_str(), &database) != SQLITE_OK) {
    fuzz::Fail("cannot open the fuzzed database", sqlite3_errmsg(database));
  }
  static bool const kInteger[] = {true, false, false, true, false, false, true,
                                  true, true,  true,  true, false, true,  true};
  sqlite3_stmt* statement = nullptr;
  sqlite3_prepare_v2(database,
                     "INSERT INTO message(sequence, delivery_id, action_key, event_id, destination, payload, "
                     "accepted_at, queued_at, attempts, next_attempt_at, last_code, last_detail, dead_reason, died_at) "
                     "VALUES(?,?,?,?,?,?,?,?,?,?,?,?,?,?)",
                     -1, &statement, nullptr);
  for (int rows = input.ConsumeIntegralInRange(0, 4); rows > 0; --rows) {
    for (int column = 0; column < 14; ++column) {
      // Mostly a value of the column's own kind, so that rows get in.
      if (input.ConsumeBool()) {
        BindAny(input, statement, column + 1, kInteger[column]);
      } else if (column == 2) {
        sqlite3_bind_text(statement, 3, input.ConsumeBool() ? "a" : "b", 1, SQLITE_STATIC);
      } else if (column == 12) {
        sqlite3_bind_int64(statement, 13, input.ConsumeIntegralInRange(0, 4));
      } else if (kInteger[column]) {
        sqlite3_bind_int64(statement, column + 1, input.ConsumeIntegralInRange<std::int64_t>(0, 5));
      } else {
        std::string const text = input.ConsumeRandomLengthString(20);
        sqlite3_bind_text(statement, column + 1, text.data(), static_cast<int>(text.size()), SQLITE_TRANSIENT);
      }
    }
    sqlite3_step(statement);  // a row that breaks a constraint stays out
    sqlite3_reset(statement);
    sqlite3_clear_bindings(statement);
  }
  sqlite3_finalize(statement);
  // The counter of sequence numbers, which the next message continues.
  if (input.ConsumeBool()) {
    Execute(database, "UPDATE sqlite_sequence SET seq=" + std::to_string(input.ConsumeIntegral<std::int64_t>()) +
                          " WHERE name='message'");
  }
  sqlite3_close(database);
}

struct Calls {
  std::mutex mutex;
  std::condition_variable called;
  int count = 0;
};

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  std::string pattern =
      (fs::is_directory("/dev/shm") ? "/dev/shm" : fs::temp_directory_path().string()) + "/orv-fuzz-outbox-XXXXXX";
  if (mkdtemp(pattern.data()) == nullptr) {
    fuzz::Fail("cannot make a temporary directory", pattern);
  }
  Directory() = pattern;
  std::atexit(RemoveDirectory);
  { outbox::Outbox made(MakeSettings()); }
  std::ifstream file(DatabasePath(), std::ios::binary);
  EmptyDatabase().assign(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
  fuzz::Check(!EmptyDatabase().empty() && !fs::exists(DatabasePath().string() + "-wal"),
              "the empty outbox database is not one file");
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
  FuzzedDataProvider input(data, size);
  std::error_code ignored;
  fs::remove(DatabasePath().string() + "-wal", ignored);
  fs::remove(DatabasePath().string() + "-shm", ignored);
  {
    std::ofstream file(DatabasePath(), std::ios::binary | std::ios::trunc);
    file.write(EmptyDatabase().data(), static_cast<std::streamsize>(EmptyDatabase().size()));
  }
  WriteRows(input);
  std::string const path = DatabasePath().string();
  auto const namesFile = [&path](std::exception const& error) {
    fuzz::Check(std::string_view(error.what()).find(path) != std::string_view::npos, "an outbox error names no file",
                error.what());
  };

  std::optional<outbox::Outbox> box;
  try {
    box.emplace(MakeSettings());
  } catch (std::runtime_error const& error) {
    namesFile(error);
    return 0;
  }
  try {
    std::vector<outbox::Message> const pending = box->ListPending();
    std::vector<outbox::Message> const dead = box->ListDead();
    box->GetAllCounters();
    box->GetCounters("a");
    // A delivery id as a person would type it, or one of a listed message.
    std::string deliveryId = input.ConsumeRandomLengthString(30);
    if (!dead.empty() && input.ConsumeBool()) {
      deliveryId = dead[input.ConsumeIntegralInRange<std::size_t>(0, dead.size() - 1)].deliveryId;
    }
    try {
      box->Requeue(deliveryId);
    } catch (std::length_error const&) {
      // The outbox is full.
    }
    if (input.ConsumeBool()) {
      box->Accept({"a", 1, "https://example.test/", "payload"});
    }
    // One sending thread: its first message is sent once if it is due.
    auto calls = std::make_shared<Calls>();
    auto const kind = input.ConsumeIntegralInRange(0, 2);
    auto const retryAfter = input.ConsumeIntegral<std::int32_t>();
    box->Register("a",
                  [calls, kind, retryAfter](outbox::Message const&) {
                    {
                      std::lock_guard const lock(calls->mutex);
                      ++calls->count;
                    }
                    calls->called.notify_all();
                    switch (kind) {
                      case 0:
                        return outbox::Outcome::Sent();
                      case 1:
                        return outbox::Outcome::TransientFailure(13, "busy", std::chrono::milliseconds(retryAfter));
                      default:
                        return outbox::Outcome::PermanentFailure(13, "refused");
                    }
                  },
                  {});
    box->GetAllCounters();
    std::vector<outbox::Message> const now = box->ListPending();
    bool due = false;
    for (auto const& message : now) {
      if (message.actionKey == "a") {
        due = message.nextAttemptAt <= kNow;
        break;
      }
    }
    if (due) {
      std::unique_lock lock(calls->mutex);
      calls->called.wait_for(lock, std::chrono::seconds(5), [&] { return calls->count > 0; });
      fuzz::Check(calls->count > 0, "a due message was not sent");
    }
    box->Flush();
    box->Shutdown();
  } catch (std::runtime_error const& error) {
    namesFile(error);
  }
  return 0;
}
