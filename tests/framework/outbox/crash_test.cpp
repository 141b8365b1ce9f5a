#include <gtest/gtest.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <fstream>
#include <set>
#include <string>
#include <vector>

#include "fixture.hpp"

extern char** environ;

namespace orv::outbox::test {
namespace {

// The helper program, started with its standard output on a pipe.
class Helper {
 public:
  explicit Helper(std::vector<std::string> arguments) {
    int fds[2];
    EXPECT_EQ(pipe(fds), 0);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, fds[1], STDOUT_FILENO);
    posix_spawn_file_actions_addclose(&actions, fds[0]);
    arguments.insert(arguments.begin(), ORV_OUTBOX_CRASH_HELPER);
    std::vector<char*> argv;
    for (auto& argument : arguments) {
      argv.push_back(argument.data());
    }
    argv.push_back(nullptr);
    EXPECT_EQ(posix_spawn(&pid_, argv[0], &actions, nullptr, argv.data(), environ), 0);
    posix_spawn_file_actions_destroy(&actions);
    close(fds[1]);
    output_ = fds[0];
  }
  Helper(Helper const&) = delete;
  Helper& operator=(Helper const&) = delete;
  ~Helper() {
    if (pid_ > 0) {
      Kill();
    }
    close(output_);
  }

  // The lines it printed up to "flushed" (false when it ended or took too long).
  bool ReadUntilFlushed(std::vector<std::string>& lines) {
    std::string pending;
    auto const deadline = std::chrono::steady_clock::now() + std::chrono::seconds(60);
    while (std::chrono::steady_clock::now() < deadline) {
      pollfd ready{output_, POLLIN, 0};
      if (poll(&ready, 1, 100) <= 0) {
        continue;
      }
      char buffer[4096];
      auto const got = read(output_, buffer, sizeof buffer);
      if (got <= 0) {
        return false;
      }
      pending.append(buffer, static_cast<std::size_t>(got));
      for (std::size_t end; (end = pending.find('\n')) != std::string::npos;) {
        auto line = pending.substr(0, end);
        pending.erase(0, end + 1);
        if (line == "flushed") {
          return true;
        }
        lines.push_back(std::move(line));
      }
    }
    return false;
  }

  // kill -9, and whether it died of it.
  bool Kill() {
    kill(pid_, SIGKILL);
    int status = 0;
    waitpid(pid_, &status, 0);
    pid_ = -1;
    return WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL;
  }

 private:
  pid_t pid_ = -1;
  int output_ = -1;
};

std::vector<std::string> ReadLines(std::filesystem::path const& path) {
  std::vector<std::string> lines;
  std::ifstream file(path);
  for (std::string line; std::getline(file, line);) {
    lines.push_back(line);
  }
  return lines;
}

TEST_F(OutboxTest, PendingMessagesSurviveKillDashNine) {
  auto const path = directory_ / "outbox.db";
  std::vector<std::string> accepted;
  {
    Helper helper({path.string(), "300"});
    ASSERT_TRUE(helper.ReadUntilFlushed(accepted));
    ASSERT_TRUE(helper.Kill());
  }
  ASSERT_EQ(accepted.size(), 300U);
  // The helper's times come from the real clock: so must ours.
  auto settings = MakeSettings();
  settings.clock = {};
  auto outbox = std::make_unique<Outbox>(settings);
  auto const pending = outbox->ListPending();
  ASSERT_EQ(pending.size(), 300U);
  for (std::size_t i = 0; i < pending.size(); ++i) {
    EXPECT_EQ(pending[i].deliveryId, accepted[i]);
    EXPECT_EQ(pending[i].payload, "message " + std::to_string(i));
    EXPECT_EQ(pending[i].eventId, i);
  }
  auto sender = RecordingSender([] { return std::chrono::system_clock::now(); });
  outbox->Register("crash", sender.AsSender());
  ASSERT_TRUE(Eventually([&] { return outbox->GetCounters("crash").sent == 300; }));
  EXPECT_EQ(sender.GetDelivered(), accepted);
}

TEST_F(OutboxTest, MessagesOfAProcessKilledWhileSendingAreAllDeliveredAtLeastOnce) {
  auto const path = directory_ / "outbox.db";
  auto const log = directory_ / "delivered.log";
  std::vector<std::string> accepted;
  {
    Helper helper({path.string(), "200", log.string()});
    ASSERT_TRUE(helper.ReadUntilFlushed(accepted));
    // Killed in the middle of its sending.
    ASSERT_TRUE(Eventually([&] { return ReadLines(log).size() >= 40; }));
    ASSERT_TRUE(helper.Kill());
  }
  auto const before = ReadLines(log);
  ASSERT_LT(before.size(), 200U);

  auto settings = MakeSettings();
  settings.clock = {};
  auto outbox = std::make_unique<Outbox>(settings);
  auto sender = RecordingSender([] { return std::chrono::system_clock::now(); });
  outbox->Register("crash", sender.AsSender());
  ASSERT_TRUE(Eventually([&] { return outbox->GetCounters("crash").pending == 0; }));
  auto const after = sender.GetDelivered();

  std::set<std::string> delivered(before.begin(), before.end());
  delivered.insert(after.begin(), after.end());
  EXPECT_EQ(delivered, std::set<std::string>(accepted.begin(), accepted.end()));
  // What the restart sends is the tail of the acceptance order.
  ASSERT_FALSE(after.empty());
  auto const first = std::find(accepted.begin(), accepted.end(), after.front());
  ASSERT_NE(first, accepted.end());
  EXPECT_EQ(after, std::vector<std::string>(first, accepted.end()));
  // The killed process sent in order too.
  EXPECT_EQ(before,
            std::vector<std::string>(accepted.begin(), accepted.begin() + static_cast<std::ptrdiff_t>(before.size())));
}

}  // namespace
}  // namespace orv::outbox::test
