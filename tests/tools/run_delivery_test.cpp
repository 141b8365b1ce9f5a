// `orv-action run` with network actions and their outbox, `orv-action
// outbox`, and a run stopped by a signal while it waits for input.

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdint>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "program.hpp"
#include "servers.hpp"

namespace orv::tool {
namespace {

using testing::Outcome;
using testing::Program;
namespace fs = std::filesystem;

std::string const kCertificates = ORV_TEST_WORK_DIR "/run-delivery-certificates";

std::string EventLine(std::string const& name, std::uint32_t rule) {
  return R"({"name": ")" + name +
         R"(", "type": "motion", "category": "c", "start": "2024-05-06T07:08:09.000000000Z",)" +
         R"( "objects": [{"kind": "Observable", "id": )" + std::to_string(rule) + "}]}\n";
}

// A device with one Request action "hook" posting the event's name to `uri`.
std::string HookDevice(std::string const& uri, int cooldownS = 0) {
  return R"({"armed": true, "actions": [{"type": "orv.action.Request", "name": "hook", "rules": [17, 18],
    "properties": {"uri": ")" +
         uri + R"(", "body": "{{the_event.name}}", "cooldown_s": )" + std::to_string(cooldownS) + "}}]}";
}

std::string HeaderOf(nlohmann::json const& request, std::string const& name) {
  for (auto const& header : request["headers"]) {
    if (header[0] == name) {
      return header[1];
    }
  }
  return "<none>";
}

// The delivery ids an `outbox` listing names, in its order.
std::vector<std::string> IdsIn(std::string const& listing) {
  std::vector<std::string> ids;
  std::size_t at = 0;
  while ((at = listing.find("\n  ", at)) != std::string::npos) {
    at += 3;
    if (listing[at] != ' ') {
      ids.push_back(listing.substr(at, listing.find(' ', at) - at));
    }
  }
  return ids;
}

class RunDelivery : public Program {
 protected:
  static void SetUpTestSuite() {
    test::MakeCertificates(kCertificates);
    server_ = std::make_unique<test::ServerProcess>("http_server.py", kCertificates);
  }
  static void TearDownTestSuite() { server_.reset(); }

  std::string Http(std::string const& path) const {
    return "http://127.0.0.1:" + std::to_string(server_->Port("http")) + path;
  }

  static inline std::unique_ptr<test::ServerProcess> server_;
};

TEST_F(RunDelivery, KeepsWhatItCannotSendAndSendsItOnTheNextRun) {
  int const port = test::RefusedPort();
  std::string const uri = "http://127.0.0.1:" + std::to_string(port) + "/hook";
  Write("device.json", HookDevice(uri, 600));
  Outcome const first = Run({"run", "device.json", "--outbox", "box.db", "--wait", "0"},
                            EventLine("one", 17) + EventLine("two", 17) + EventLine("three", 18));
  EXPECT_EQ(first.exit, 0) << first.err;
  std::string const head =
      "audit: action_id:0:rule_id:17 name:hook\n"
      "audit: action_id:0:rule_id:17 name:hook skipped (cool-down)\n"
      "audit: action_id:0:rule_id:18 name:hook\n"
      "events read: 3\n"
      "events of rules without actions: 0\n"
      "actions fired: 2\n"
      "skipped (cool-down): 1\n"
      "failures: none\n"
      "outbox box.db:\n"
      "  orv.action.Request/hook: accepted 2, sent 0, retried ";
  EXPECT_EQ(first.out.substr(0, head.size()), head);
  EXPECT_TRUE(first.out.ends_with(", dead 0, pending 2\n")) << first.out;

  Outcome const listing = Run({"outbox", "box.db"});
  EXPECT_EQ(listing.exit, 0) << listing.err;
  EXPECT_TRUE(listing.out.starts_with("pending: 2\n")) << listing.out;
  EXPECT_TRUE(listing.out.ends_with("dead: 0\n")) << listing.out;
  EXPECT_NE(listing.out.find("    to " + uri + "\n"), std::string::npos);
  std::vector<std::string> const ids = IdsIn(listing.out);
  ASSERT_EQ(ids.size(), 2U);

  test::ServerProcess server("http_server.py", kCertificates, port);
  Outcome const second = Run({"run", "device.json", "--outbox", "box.db"}, "");
  EXPECT_EQ(second.exit, 0) << second.err;
  auto const one = server.Next();
  auto const three = server.Next();
  EXPECT_EQ(one["body"], "one");
  EXPECT_EQ(three["body"], "three");
  EXPECT_EQ(HeaderOf(one, "Idempotency-Key"), ids[0]);
  EXPECT_EQ(HeaderOf(three, "Idempotency-Key"), ids[1]);
  EXPECT_TRUE(
      second.out.ends_with("outbox box.db:\n"
                           "  orv.action.Request/hook: accepted 0, sent 2, retried 0, dead 0, pending 0\n"))
      << second.out;
  EXPECT_EQ(Run({"outbox", "box.db"}).out, "pending: 0\ndead: 0\n");
}

TEST_F(RunDelivery, DoesNotWaitForMessagesOfActionsItNoLongerHas) {
  int const port = test::RefusedPort();
  Write("device.json", HookDevice("http://127.0.0.1:" + std::to_string(port) + "/hook"));
  Outcome const first = Run({"run", "device.json", "--outbox", "box.db", "--wait", "0"}, EventLine("one", 17));
  EXPECT_EQ(first.exit, 0) << first.err;
  // The device no longer has "hook"; its message stays, and is not waited for.
  Write("device.json", R"({"armed": true, "actions": [{"type": "orv.action.Request", "name": "other",
    "rules": [17], "properties": {"uri": ")" +
                           Http("/other") + R"("}}]})");
  auto const start = std::chrono::steady_clock::now();
  Outcome const second = Run({"run", "device.json", "--outbox", "box.db", "--wait", "120"}, "");
  EXPECT_EQ(second.exit, 0) << second.err;
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(60));
  EXPECT_EQ(second.out,
            "events read: 0\nevents of rules without actions: 0\nactions fired: 0\nfailures: none\n"
            "outbox box.db:\n"
            "  orv.action.Request/hook: accepted 0, sent 0, retried 0, dead 0, pending 1\n"
            "  orv.action.Request/other: accepted 0, sent 0, retried 0, dead 0, pending 0\n");
  EXPECT_TRUE(Run({"outbox", "box.db"}).out.starts_with("pending: 1\n"));
}

TEST_F(RunDelivery, APermanentFailureIsDeadListedAndCanBeRequeued) {
  Write("device.json", HookDevice(Http("/status/404")));
  Outcome const run = Run({"run", "device.json"}, EventLine("one", 17));
  EXPECT_EQ(run.exit, 0) << run.err;
  EXPECT_EQ(server_->Next()["target"], "/status/404");
  EXPECT_TRUE(
      run.out.ends_with("outbox device.outbox.db:\n"
                        "  orv.action.Request/hook: accepted 1, sent 0, retried 0, dead 1, pending 0\n"))
      << run.out;
  EXPECT_TRUE(fs::exists(dir_ / "device.outbox.db"));

  Outcome const listing = Run({"outbox", "device.outbox.db"});
  EXPECT_EQ(listing.exit, 0) << listing.err;
  std::vector<std::string> const ids = IdsIn(listing.out);
  ASSERT_EQ(ids.size(), 1U);
  EXPECT_NE(run.err.find("orv-action run: orv.action.Request: \"hook\": delivery " + ids[0] +
                         " failed (permanent, code 13): HTTP status 404, expected 2xx: status 404 from the test "
                         "server\n"),
            std::string::npos)
      << run.err;
  EXPECT_TRUE(listing.out.starts_with("pending: 0\ndead: 1\n  " + ids[0] + " orv.action.Request/hook event "))
      << listing.out;
  EXPECT_NE(listing.out.find(" attempts 1 died "), std::string::npos) << listing.out;
  EXPECT_TRUE(listing.out.ends_with(" (permanent failure)\n    to " + Http("/status/404") +
                                    "\n    last failure: code 13: HTTP status 404, expected 2xx: status 404 from the "
                                    "test server\n"))
      << listing.out;

  Outcome const unknown = Run({"outbox", "device.outbox.db", "--requeue", "nope"});
  EXPECT_EQ(unknown.exit, 1);
  EXPECT_EQ(unknown.err, "orv-action outbox: device.outbox.db: no dead message nope\n");

  Outcome const requeued = Run({"outbox", "device.outbox.db", "--requeue", ids[0]});
  EXPECT_EQ(requeued.exit, 0) << requeued.err;
  EXPECT_TRUE(requeued.out.starts_with("requeued " + ids[0] + "\npending: 1\n  " + ids[0])) << requeued.out;
  EXPECT_TRUE(requeued.out.ends_with("dead: 0\n")) << requeued.out;

  Outcome const missing = Run({"outbox", "nothing.db"});
  EXPECT_EQ(missing.exit, 1);
  EXPECT_EQ(missing.err, "orv-action outbox: nothing.db: no such outbox file\n");
  EXPECT_FALSE(fs::exists(dir_ / "nothing.db"));
}

// orv-action run as a child with standard input and output on pipes.
class Child {
 public:
  Child(fs::path const& directory, fs::path const& stage, std::vector<std::string> const& arguments) {
    int input[2];
    int output[2];
    EXPECT_EQ(pipe2(input, O_CLOEXEC), 0);
    EXPECT_EQ(pipe2(output, O_CLOEXEC), 0);
    std::string command = "cd " + testing::ShellQuote(directory.string()) +
                          " && LD_LIBRARY_PATH=" + testing::ShellQuote(stage.string()) + " exec " +
                          testing::ShellQuote(ORV_ACTION_PROGRAM);
    for (auto const& argument : arguments) {
      command += " " + testing::ShellQuote(argument);
    }
    command += " 2>/dev/null";
    pid_ = fork();
    if (pid_ == 0) {
      dup2(input[0], 0);
      dup2(output[1], 1);
      execl("/bin/sh", "sh", "-c", command.c_str(), static_cast<char*>(nullptr));
      _exit(127);
    }
    close(input[0]);
    close(output[1]);
    input_ = input[1];
    output_ = output[0];
  }
  ~Child() {
    close(input_);
    close(output_);
    if (pid_ > 0) {
      kill(pid_, SIGKILL);
      waitpid(pid_, nullptr, 0);
    }
  }
  void Send(std::string const& text) const {
    EXPECT_EQ(write(input_, text.data(), text.size()), static_cast<ssize_t>(text.size()));
  }
  // What the child printed until `text` appeared; fails after 10 s.
  std::string ReadUntil(std::string const& text) {
    auto const deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
    while (read_.find(text) == std::string::npos && std::chrono::steady_clock::now() < deadline) {
      pollfd entry{output_, POLLIN, 0};
      if (poll(&entry, 1, 100) > 0) {
        char buffer[4096];
        ssize_t const count = read(output_, buffer, sizeof buffer);
        if (count <= 0) {
          break;
        }
        read_.append(buffer, static_cast<std::size_t>(count));
      }
    }
    return read_;
  }
  // The exit code once it ended, -1 when a signal ended it.
  int Wait() {
    int status = 0;
    waitpid(pid_, &status, 0);
    pid_ = -1;
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  }
  pid_t GetPid() const { return pid_; }

 private:
  pid_t pid_ = -1;
  int input_ = -1;
  int output_ = -1;
  std::string read_;
};

TEST_F(RunDelivery, ActsOnEachLineAsItArrivesAndStopsCleanlyOnASignal) {
  Write("device.json", R"({"armed": true, "actions": [{"type": "orv.action.File", "name": "log", "rules": [17],
    "properties": {"path": "-", "template": "got {{the_event.name}}\n"}}]})");
  for (int const signal : {SIGTERM, SIGINT}) {
    Child child(dir_, stage_, {"run", "device.json"});
    child.Send(EventLine("one", 17));
    // Printed while standard input is still open: the line was acted on at once.
    EXPECT_EQ(child.ReadUntil("name:log\n"), "got one\naudit: action_id:0:rule_id:17 name:log\n");
    child.Send(EventLine("two", 17));
    EXPECT_EQ(child.ReadUntil("got two\naudit: action_id:0:rule_id:17 name:log\n").size(), 94U);
    kill(child.GetPid(), signal);
    std::string const out = child.ReadUntil("failures: none\n");
    EXPECT_EQ(child.Wait(), 0);
    EXPECT_EQ(out.substr(94), std::string("stopped by ") + (signal == SIGTERM ? "SIGTERM" : "SIGINT") +
                                  "\n"
                                  "events read: 2\n"
                                  "events of rules without actions: 0\n"
                                  "actions fired: 2\n"
                                  "failures: none\n");
  }
}

TEST_F(RunDelivery, MessagesOfARunKilledWithSignal9AreDeliveredByTheNextRun) {
  int const port = test::RefusedPort();
  Write("device.json", HookDevice("http://127.0.0.1:" + std::to_string(port) + "/hook"));
  {
    Child child(dir_, stage_, {"run", "device.json", "--outbox", "box.db"});
    child.Send(EventLine("one", 17) + EventLine("two", 18) + EventLine("three", 17));
    std::string const audit =
        "audit: action_id:0:rule_id:17 name:hook\n"
        "audit: action_id:0:rule_id:18 name:hook\n"
        "audit: action_id:0:rule_id:17 name:hook\n";
    EXPECT_EQ(child.ReadUntil(audit), audit);
    // The writer commits what was accepted within milliseconds of the
    // hand-over; a second leaves room for a loaded or sanitized build.
    std::this_thread::sleep_for(std::chrono::seconds(1));
    kill(child.GetPid(), SIGKILL);
    EXPECT_EQ(child.Wait(), -1);
  }
  test::ServerProcess server("http_server.py", kCertificates, port);
  Outcome const next = Run({"run", "device.json", "--outbox", "box.db"}, "");
  EXPECT_EQ(next.exit, 0) << next.err;
  std::vector<std::string> keys;
  for (char const* name : {"one", "two", "three"}) {
    auto const request = server.Next();
    EXPECT_EQ(request["body"], name);
    keys.push_back(HeaderOf(request, "Idempotency-Key"));
  }
  EXPECT_EQ(std::set<std::string>(keys.begin(), keys.end()).size(), 3U);
  EXPECT_TRUE(
      next.out.ends_with("outbox box.db:\n"
                         "  orv.action.Request/hook: accepted 0, sent 3, retried 0, dead 0, pending 0\n"))
      << next.out;
}

}  // namespace
}  // namespace orv::tool
