#include "orv/system/plugin.hpp"

#include <dlfcn.h>
#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <boost/filesystem/operations.hpp>
#include <cerrno>
#include <climits>
#include <cstring>
#include <optional>
#include <stdexcept>
#include <string_view>
#include <system_error>
#include <thread>
#include <utility>

#include "orv/system/library_path.hpp"
#include "scan_protocol.hpp"

namespace orv::system::plugin {
namespace {

namespace fs = boost::filesystem;
using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

constexpr std::chrono::hours kMaximumTimeLimit(24);

bool IsCandidate(std::string const& fileName, std::string const& prefix) {
  std::string const head = "lib" + prefix;
  std::string_view const tail = ".so";
  return fileName.size() >= head.size() + tail.size() && fileName.compare(0, head.size(), head) == 0 &&
         fileName.compare(fileName.size() - tail.size(), tail.size(), tail) == 0;
}

// The candidate files of `directory` in name order; a directory that cannot
// be read is reported.
std::vector<fs::path> FindCandidates(std::string const& prefix, fs::path const& directory, Report& report) {
  std::vector<fs::path> files;
  boost::system::error_code error;
  fs::directory_iterator it(directory, error);
  for (; !error && it != fs::directory_iterator(); it.increment(error)) {
    if (IsCandidate(it->path().filename().string(), prefix)) {
      files.push_back(it->path());
    }
  }
  if (error) {
    report.failed.push_back({directory, error.message()});
  }
  std::sort(files.begin(), files.end(),
            [](fs::path const& a, fs::path const& b) { return a.filename().string() < b.filename().string(); });
  return files;
}

// strerror and strsignal are not safe while other threads run; these are.
std::string ErrorText(int error) { return std::generic_category().message(error); }

std::string SignalText(int signal) {
  char const* description = sigdescr_np(signal);
  return "signal " + std::to_string(signal) + " (" + (description != nullptr ? description : "unknown signal") + ")";
}

std::string LimitText(milliseconds limit) {
  return limit.count() % 1000 == 0 ? std::to_string(limit.count() / 1000) + " s"
                                   : std::to_string(limit.count()) + " ms";
}

class Descriptor {
 public:
  explicit Descriptor(int fd = -1) noexcept : fd_(fd) {}
  Descriptor(Descriptor&& other) noexcept : fd_(std::exchange(other.fd_, -1)) {}
  Descriptor& operator=(Descriptor&& other) noexcept {
    std::swap(fd_, other.fd_);
    return *this;
  }
  ~Descriptor() {
    if (fd_ >= 0) {
      close(fd_);
    }
  }
  int Get() const noexcept { return fd_; }

 private:
  int fd_;
};

// The scanner started on one file: its process id and the read end of its
// report pipe.
struct Scan {
  pid_t pid = -1;
  Descriptor report;
};

// Starts the scanner on `file` in a process group of its own, with default
// signal handling and an empty signal mask whatever this process's threads
// use, and no descriptor of this process but standard error and the report
// pipe. Returns the error number when it cannot be started.
int Start(fs::path const& scanner, fs::path const& file, std::vector<fs::path> const& preload, Scan& scan) {
  int ends[2];
  if (pipe2(ends, O_CLOEXEC) != 0) {
    return errno;
  }
  Descriptor readEnd(ends[0]);
  Descriptor const writeEnd(ends[1]);

  // Each set-up call fails only for want of memory; the first error stops the start.
  int error = 0;
  auto const check = [&error](int result) {
    if (error == 0) {
      error = result;
    }
  };
  posix_spawn_file_actions_t actions;
  check(posix_spawn_file_actions_init(&actions));
  // dup2 clears close-on-exec, also when the write end already is descriptor 3.
  check(posix_spawn_file_actions_adddup2(&actions, writeEnd.Get(), scan::kReportDescriptor));
  check(posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0));
  check(posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, "/dev/null", O_WRONLY, 0));
  check(posix_spawn_file_actions_addclosefrom_np(&actions, scan::kReportDescriptor + 1));

  posix_spawnattr_t attributes;
  check(posix_spawnattr_init(&attributes));
  check(posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETPGROUP | POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF));
  check(posix_spawnattr_setpgroup(&attributes, 0));
  sigset_t signals;
  sigemptyset(&signals);
  check(posix_spawnattr_setsigmask(&attributes, &signals));
  sigfillset(&signals);
  check(posix_spawnattr_setsigdefault(&attributes, &signals));

  std::vector<std::string> arguments{scanner.string()};
  for (auto const& library : preload) {
    arguments.emplace_back(scan::kPreloadOption);
    arguments.push_back(library.string());
  }
  arguments.push_back(file.string());
  std::vector<char*> argv;
  for (auto& argument : arguments) {
    argv.push_back(argument.data());
  }
  argv.push_back(nullptr);

  if (error == 0) {
    error = posix_spawn(&scan.pid, arguments.front().c_str(), &actions, &attributes, argv.data(), environ);
  }
  posix_spawnattr_destroy(&attributes);
  posix_spawn_file_actions_destroy(&actions);
  if (error == 0) {
    scan.report = std::move(readEnd);
  }
  return error;
}

// What the scanner said: whether it began, and its verdict once it gave one.
struct Said {
  bool trying = false;
  std::optional<std::string> verdict;
};

// Reads the scanner's messages until its verdict, the end of the pipe or the
// deadline; true when the deadline came first.
bool Listen(int report, Clock::time_point deadline, Said& said) {
  std::string pending;
  char chunk[512];
  while (!said.verdict) {
    auto const left = std::chrono::ceil<milliseconds>(deadline - Clock::now());
    if (left.count() <= 0) {
      return true;
    }
    pollfd ready{report, POLLIN, 0};
    int const count = poll(&ready, 1, static_cast<int>(std::min<milliseconds::rep>(left.count(), INT_MAX)));
    if (count < 0 && errno != EINTR) {
      return false;
    }
    if (count <= 0) {
      continue;
    }
    ssize_t const got = read(report, chunk, sizeof chunk);
    if (got < 0 && errno == EINTR) {
      continue;
    }
    if (got <= 0) {
      return false;
    }
    pending.append(chunk, static_cast<std::size_t>(got));
    for (std::size_t end; !said.verdict && (end = pending.find('\0')) != std::string::npos;) {
      std::string message = pending.substr(0, end);
      pending.erase(0, end + 1);
      if (message == scan::kTrying) {
        said.trying = true;
      } else {
        said.verdict = std::move(message);
      }
    }
  }
  return false;
}

// How the scanner ended, once it has, without reaping it (so its process
// group stays its own until it is killed): nothing when the deadline came
// first; `error` is set when the end cannot be known.
std::optional<siginfo_t> AwaitEnd(pid_t pid, Clock::time_point deadline, int& error) {
  auto pause = std::chrono::microseconds(100);
  for (;;) {
    siginfo_t end{};
    if (waitid(P_PID, static_cast<id_t>(pid), &end, WEXITED | WNOHANG | WNOWAIT) != 0) {
      if (errno == EINTR) {
        continue;
      }
      error = errno;
      return std::nullopt;
    }
    if (end.si_pid == pid) {
      return end;
    }
    if (Clock::now() >= deadline) {
      return std::nullopt;
    }
    std::this_thread::sleep_for(pause);
    pause = std::min<std::chrono::microseconds>(pause * 2, milliseconds(10));
  }
}

// Kills the scanner's process group (the scanner and whatever an initialiser
// started) and reaps the scanner.
void Finish(pid_t pid) {
  kill(-pid, SIGKILL);
  while (waitpid(pid, nullptr, 0) < 0 && errno == EINTR) {
  }
}

// The reason a trial that gave no verdict failed.
std::string DescribeEnd(Said const& said, siginfo_t const& end, fs::path const& scanner) {
  bool const exited = end.si_code == CLD_EXITED;
  if (!said.trying) {
    return "the plug-in scanner " + scanner.string() + " ended before trying the file (" +
           (exited ? "exit status " + std::to_string(end.si_status) : SignalText(end.si_status)) + ")";
  }
  return exited ? "the initialiser ended the process with exit status " + std::to_string(end.si_status)
                : "the initialiser was ended by " + SignalText(end.si_status);
}

// Tries `file` in the scanner: nothing when it loaded there, else the reason.
std::optional<std::string> Try(fs::path const& file, Options const& options, fs::path const& scanner) {
  Clock::time_point const deadline = Clock::now() + options.timeLimit;
  Scan scan;
  if (int const error = Start(scanner, file, options.preload, scan); error != 0) {
    return "could not start the plug-in scanner " + scanner.string() + ": " + ErrorText(error);
  }
  Said said;
  bool const late = Listen(scan.report.Get(), deadline, said);
  int waitError = 0;
  // Only a trial without a verdict is described by how its process ended.
  std::optional<siginfo_t> const end = late || said.verdict ? std::nullopt : AwaitEnd(scan.pid, deadline, waitError);
  Finish(scan.pid);

  if (said.verdict == scan::kLoaded) {
    return std::nullopt;
  }
  if (said.verdict) {
    if (said.verdict->starts_with(scan::kFailed)) {
      return said.verdict->substr(scan::kFailed.size());
    }
    return "the plug-in scanner sent an unknown verdict '" + *said.verdict + "'";
  }
  if (end) {
    return DescribeEnd(said, *end, scanner);
  }
  if (waitError != 0) {
    return "could not learn how the trial ended: " + ErrorText(waitError);
  }
  return "the trial load did not finish within " + LimitText(options.timeLimit);
}

void Load(fs::path const& file, Options const& options, fs::path const& scanner, Report& report) {
  if (auto error = Try(file, options, scanner)) {
    report.failed.push_back({file, std::move(*error)});
    return;
  }
  if (dlopen(file.c_str(), scan::kLoadFlags) == nullptr) {
    char const* error = dlerror();
    report.failed.push_back({file, error != nullptr ? error : "the dynamic loader refused the file"});
    return;
  }
  report.loaded.push_back(file);
}

}  // namespace

fs::path GetScannerPath() {
  fs::path const scanner = GetLibraryPath("orv_system").parent_path() / ORV_SYSTEM_SCANNER_FROM_LIBRARY;
  boost::system::error_code error;
  fs::path normal = fs::weakly_canonical(scanner, error);
  return error ? scanner : normal;
}

Report LoadAll(std::string const& prefix, std::vector<fs::path> const& directories) {
  return LoadAll(prefix, directories, Options{});
}

Report LoadAll(std::string const& prefix, std::vector<fs::path> const& directories, Options const& options) {
  if (options.timeLimit <= milliseconds::zero() || options.timeLimit > kMaximumTimeLimit) {
    throw std::invalid_argument("the trial time limit must be from 1 ms to one day, not " +
                                std::to_string(options.timeLimit.count()) + " ms");
  }
  Report report;
  fs::path scanner;
  for (auto const& directory : directories) {
    for (auto const& file : FindCandidates(prefix, directory, report)) {
      if (scanner.empty()) {
        scanner = options.scanner.empty() ? GetScannerPath() : options.scanner;
      }
      Load(file, options, scanner, report);
    }
  }
  return report;
}

}  // namespace orv::system::plugin
