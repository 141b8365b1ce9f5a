#include "orv/system/plugin.hpp"

#include <dlfcn.h>
#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <boost/filesystem/operations.hpp>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <exception>
#include <optional>
#include <string_view>

namespace orv::system::plugin {
namespace {

namespace fs = boost::filesystem;

constexpr int kLoadFlags = RTLD_NOW | RTLD_LOCAL;

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

void WriteAll(int fd, std::string_view text) noexcept {
  while (!text.empty()) {
    ssize_t const written = write(fd, text.data(), text.size());
    if (written < 0 && errno == EINTR) {
      continue;
    }
    if (written <= 0) {
      return;
    }
    text.remove_prefix(static_cast<std::size_t>(written));
  }
}

std::string ReadAll(int fd) {
  std::string text;
  char buffer[512];
  for (;;) {
    ssize_t const got = read(fd, buffer, sizeof buffer);
    if (got < 0 && errno == EINTR) {
      continue;
    }
    if (got <= 0) {
      return text;
    }
    text.append(buffer, static_cast<std::size_t>(got));
  }
}

// The write end of the trial child's pipe, for its terminate handler.
int gTrialPipe = -1;

// Runs in the trial child when an initialiser lets an exception out (the
// dynamic loader turns that into std::terminate): says what was thrown.
[[noreturn]] void ReportTermination() noexcept {
  std::string message = "the initialiser ended the process";
  if (std::exception_ptr const thrown = std::current_exception()) {
    try {
      std::rethrow_exception(thrown);
    } catch (std::exception const& exception) {
      message = std::string("the initialiser threw: ") + exception.what();
    } catch (...) {
      message = "the initialiser threw an exception that is not a std::exception";
    }
  }
  WriteAll(gTrialPipe, message);
  _exit(2);
}

[[noreturn]] void RunTrial(fs::path const& file, int pipe) noexcept {
  gTrialPipe = pipe;
  std::set_terminate(&ReportTermination);
  if (dlopen(file.c_str(), kLoadFlags) == nullptr) {
    char const* error = dlerror();
    WriteAll(pipe, error != nullptr ? error : "the dynamic loader refused the file");
    _exit(1);
  }
  _exit(0);
}

// Loads `file` in a child process first: the error text when that fails,
// nothing when it loads (or when no child can be started, in which case the
// file is loaded directly).
std::optional<std::string> Try(fs::path const& file) {
  int fds[2];
  if (pipe2(fds, O_CLOEXEC) != 0) {
    return std::nullopt;
  }
  pid_t const child = fork();
  if (child == 0) {
    close(fds[0]);
    RunTrial(file, fds[1]);
  }
  close(fds[1]);
  if (child < 0) {
    close(fds[0]);
    return std::nullopt;
  }
  std::string const output = ReadAll(fds[0]);
  close(fds[0]);
  int status = 0;
  while (waitpid(child, &status, 0) < 0 && errno == EINTR) {
  }
  if (WIFEXITED(status) && WEXITSTATUS(status) == 0) {
    return std::nullopt;
  }
  if (!output.empty()) {
    return output;
  }
  if (WIFSIGNALED(status)) {
    return "the initialiser was ended by signal " + std::to_string(WTERMSIG(status)) + " (" +
           strsignal(WTERMSIG(status)) + ")";
  }
  return "the trial load failed with exit status " + std::to_string(WEXITSTATUS(status));
}

void Load(fs::path const& file, Report& report) {
  if (auto error = Try(file)) {
    report.failed.push_back({file, std::move(*error)});
    return;
  }
  if (dlopen(file.c_str(), kLoadFlags) == nullptr) {
    char const* error = dlerror();
    report.failed.push_back({file, error != nullptr ? error : "the dynamic loader refused the file"});
    return;
  }
  report.loaded.push_back(file);
}

}  // namespace

Report LoadAll(std::string const& prefix, std::vector<fs::path> const& directories) {
  Report report;
  for (auto const& directory : directories) {
    for (auto const& file : FindCandidates(prefix, directory, report)) {
      Load(file, report);
    }
  }
  return report;
}

}  // namespace orv::system::plugin
