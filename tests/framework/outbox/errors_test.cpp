#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sqlite3.h>
#include <sys/resource.h>

#include <fstream>
#include <string>

#include "fixture.hpp"

namespace orv::outbox::test {
namespace {

using ::testing::HasSubstr;

// The text of the std::runtime_error that opening `settings` throws.
std::string OpeningError(Settings const& settings) {
  try {
    Outbox outbox(settings);
  } catch (std::runtime_error const& error) {
    return error.what();
  }
  return "opened";
}

void ExecuteSql(std::filesystem::path const& path, char const* sql) {
  sqlite3* database = nullptr;
  ASSERT_EQ(sqlite3_open(path.c_str(), &database), SQLITE_OK);
  EXPECT_EQ(sqlite3_exec(database, sql, nullptr, nullptr, nullptr), SQLITE_OK) << sqlite3_errmsg(database);
  sqlite3_close(database);
}

TEST_F(OutboxTest, APathThatCannotBeOpenedIsNamed) {
  auto settings = MakeSettings();
  settings.path = directory_ / "missing" / "outbox.db";
  EXPECT_EQ(OpeningError(settings),
            "cannot open the outbox database " + settings.path.string() + ": unable to open database file");
  settings.path = directory_.GetPath();
  EXPECT_THAT(OpeningError(settings), HasSubstr("cannot open the outbox database " + settings.path.string() + ": "));
}

TEST_F(OutboxTest, APathIsNeeded) {
  auto settings = MakeSettings();
  settings.path.clear();
  EXPECT_THROW(Outbox{settings}, std::invalid_argument);
}

TEST_F(OutboxTest, AnInMemoryDatabaseIsRefused) {
  auto settings = MakeSettings();
  settings.path = ":memory:";
  EXPECT_EQ(OpeningError(settings),
            "cannot use the outbox database :memory: in WAL mode: SQLite keeps it in mode memory");
}

TEST_F(OutboxTest, AFileThatIsNotADatabaseIsNamed) {
  auto settings = MakeSettings();
  std::ofstream(settings.path) << std::string(5000, 'x');
  EXPECT_EQ(OpeningError(settings),
            "cannot open the outbox database " + settings.path.string() + ": file is not a database");
}

TEST_F(OutboxTest, AnotherProgramsDatabaseIsRefusedUntouched) {
  auto settings = MakeSettings();
  ExecuteSql(settings.path, "CREATE TABLE people(name TEXT); INSERT INTO people VALUES('Ada');");
  EXPECT_EQ(OpeningError(settings),
            "the file " + settings.path.string() + " is an SQLite database of something else, not an outbox");
  sqlite3* database = nullptr;
  ASSERT_EQ(sqlite3_open(settings.path.c_str(), &database), SQLITE_OK);
  sqlite3_stmt* statement = nullptr;
  ASSERT_EQ(sqlite3_prepare_v2(database, "SELECT count(*) FROM sqlite_schema", -1, &statement, nullptr), SQLITE_OK);
  ASSERT_EQ(sqlite3_step(statement), SQLITE_ROW);
  EXPECT_EQ(sqlite3_column_int(statement, 0), 1);
  sqlite3_finalize(statement);
  sqlite3_close(database);
}

TEST_F(OutboxTest, ADatabaseOfANewerFormatIsRefused) {
  auto settings = MakeSettings();
  Outbox(settings).Accept(MakeSubmission("webhook", "x"));
  ExecuteSql(settings.path, "PRAGMA user_version=2");
  EXPECT_EQ(OpeningError(settings),
            "the outbox database " + settings.path.string() + " has format 2, newer than this program's 1");
}

TEST_F(OutboxTest, ACorruptDatabaseIsNamed) {
  auto settings = MakeSettings();
  {
    Outbox outbox(settings);
    for (int i = 0; i < 200; ++i) {
      outbox.Accept(MakeSubmission("webhook", std::string(1000, 'a')));
    }
  }
  auto const size = std::filesystem::file_size(settings.path);
  ASSERT_GT(size, 100'000U);
  {
    // Garbage over the middle pages, as a failing disk leaves them.
    std::fstream file(settings.path, std::ios::in | std::ios::out | std::ios::binary);
    file.seekp(static_cast<std::streamoff>(size / 2));
    for (int i = 0; i < 16384; ++i) {
      file.put(static_cast<char>(i * 7919 % 251));
    }
  }
  EXPECT_THAT(OpeningError(settings), HasSubstr("the outbox database " + settings.path.string() + " is corrupt: "));
}

// Found by fuzz_outbox: a database whose counter stood at the largest
// number made the next acceptance overflow it.
TEST_F(OutboxTest, ADatabaseThatUsedEverySequenceNumberRefusesNewMessages) {
  auto settings = MakeSettings();
  { Outbox outbox(settings); }
  ExecuteSql(settings.path,
             "UPDATE sqlite_sequence SET seq=9223372036854775807 WHERE name='message'; "
             "INSERT INTO sqlite_sequence(name, seq) SELECT 'message', 9223372036854775807 "
             "WHERE NOT EXISTS (SELECT 1 FROM sqlite_sequence WHERE name='message')");
  Outbox outbox(settings);
  try {
    outbox.Accept(MakeSubmission("webhook", "payload"));
    FAIL() << "accepted";
  } catch (std::runtime_error const& error) {
    EXPECT_EQ(std::string(error.what()),
              "the outbox database " + settings.path.string() + " has used every sequence number");
  }
  EXPECT_TRUE(outbox.ListPending().empty());
}

// Found by fuzz_outbox: a time stored as the smallest 64-bit number made the
// age of the oldest pending message overflow.
TEST_F(OutboxTest, StoredTimesOutOfRangeAreReadAsTheNearestEnd) {
  auto settings = MakeSettings();
  { Outbox outbox(settings); }
  ExecuteSql(settings.path,
             "INSERT INTO message(delivery_id, action_key, event_id, destination, payload, accepted_at, queued_at, "
             "attempts, next_attempt_at, last_code, last_detail) VALUES('d1', 'webhook', 7, 'https://x.test/', 'p', "
             "-9223372036854775808, 9223372036854775807, 1, 9223372036854775807, 13, 'HTTP 503')");
  Outbox outbox(settings);
  auto const pending = outbox.ListPending();
  ASSERT_EQ(pending.size(), 1U);
  EXPECT_EQ(pending[0].acceptedAt, TimePoint{});
  EXPECT_EQ(pending[0].queuedAt, TimePoint(std::chrono::seconds(7'258'118'400)));  // 2200-01-01
  EXPECT_EQ(pending[0].nextAttemptAt, TimePoint(std::chrono::seconds(7'258'118'400)));
  EXPECT_EQ(outbox.GetCounters("webhook").oldestPendingAge, FakeClock::kStart.time_since_epoch());
}

TEST_F(OutboxTest, RetryTimesBeyondTenYearsAreRefused) {
  auto outbox = Open();
  auto sender = MakeSender([](Message const&, std::size_t) { return Outcome::Sent(); });
  try {
    outbox->Register("webhook", sender.AsSender(), {.giveUpAfter = std::chrono::hours(24 * 3654)});
    FAIL() << "registered";
  } catch (std::invalid_argument const& error) {
    EXPECT_EQ(std::string(error.what()),
              "a retry policy's maximum delay (300000 ms) and give-up time (315705600000 ms) must not exceed "
              "315619200000 ms");
  }
}

TEST_F(OutboxTest, ADatabaseInUseByAnotherOutboxIsRefused) {
  auto settings = MakeSettings();
  Outbox first(settings);
  EXPECT_EQ(OpeningError(settings), "the outbox database " + settings.path.string() + " is in use by another outbox");
  first.Accept(MakeSubmission("webhook", "still works"));
  first.Flush();
}

// Limits the size of files this process writes, as a full disk would.
class FileSizeLimit {
 public:
  explicit FileSizeLimit(rlim_t bytes) {
    getrlimit(RLIMIT_FSIZE, &saved_);
    previous_ = signal(SIGXFSZ, SIG_IGN);
    rlimit limit = saved_;
    limit.rlim_cur = bytes;
    setrlimit(RLIMIT_FSIZE, &limit);
  }
  FileSizeLimit(FileSizeLimit const&) = delete;
  FileSizeLimit& operator=(FileSizeLimit const&) = delete;
  ~FileSizeLimit() { Lift(); }
  void Lift() {
    setrlimit(RLIMIT_FSIZE, &saved_);
    signal(SIGXFSZ, previous_);
  }

 private:
  rlimit saved_{};
  sighandler_t previous_{};
};

TEST_F(OutboxTest, AFullDiskIsReportedAndTheMessagesAreKeptAndSavedLater) {
  auto settings = MakeSettings();
  Outbox outbox(settings);
  outbox.Accept(MakeSubmission("webhook", "before"));
  outbox.Flush();
  FileSizeLimit limit(64 * 1024);
  for (int i = 0; i < 4; ++i) {
    outbox.Accept(MakeSubmission("webhook", std::string(40'000, static_cast<char>('a' + i))));
  }
  try {
    outbox.Flush();
    ADD_FAILURE() << "the commit did not fail";
  } catch (std::runtime_error const& error) {
    EXPECT_THAT(std::string(error.what()), HasSubstr("cannot write the outbox database " + settings.path.string()));
  }
  ASSERT_TRUE(Eventually([&] { return reports_.Count(Report::Kind::kDatabaseError) >= 1; }));
  for (auto const& report : reports_.Get()) {
    if (report.kind == Report::Kind::kDatabaseError) {
      EXPECT_THAT(report.text, HasSubstr("cannot write the outbox database " + settings.path.string()));
      EXPECT_THAT(report.text, HasSubstr("the outbox keeps trying"));
    }
  }
  EXPECT_EQ(outbox.ListPending().size(), 5U);

  limit.Lift();
  outbox.Wake();
  outbox.Flush();
  outbox.Shutdown();
  Outbox reopened(settings);
  auto const pending = reopened.ListPending();
  ASSERT_EQ(pending.size(), 5U);
  EXPECT_EQ(pending[0].payload, "before");
  EXPECT_EQ(pending[4].payload, std::string(40'000, 'd'));
}

}  // namespace
}  // namespace orv::outbox::test
