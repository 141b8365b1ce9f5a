// orv-plugin-scan: tries to load one plug-in file in a process of its own and
// tells liborv_system the outcome on descriptor 3 (see scan_protocol.hpp).
// Started by orv::system::plugin::LoadAll, not by people.
#include <dlfcn.h>
#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <exception>
#include <string>
#include <string_view>
#include <vector>

#include "scan_protocol.hpp"

namespace {

namespace scan = orv::system::plugin::scan;

void WriteAll(std::string_view text) noexcept {
  while (!text.empty()) {
    ssize_t const written = write(scan::kReportDescriptor, text.data(), text.size());
    if (written < 0 && errno == EINTR) {
      continue;
    }
    if (written <= 0) {
      return;  // the library stopped listening: nothing left to tell
    }
    text.remove_prefix(static_cast<std::size_t>(written));
  }
}

void Send(std::string_view message) noexcept {
  WriteAll(message);
  WriteAll(std::string_view("", 1));
}

[[noreturn]] void Fail(std::string_view head, char const* reason) noexcept {
  WriteAll(scan::kFailed);
  WriteAll(head);
  Send(reason != nullptr ? reason : "the dynamic loader refused the file");
  _exit(1);
}

// The dynamic loader cannot pass an exception out of an initialiser: it ends
// in std::terminate, which lands here and says what was thrown.
[[noreturn]] void ReportTermination() noexcept {
  std::string reason = "the initialiser ended the process";
  if (std::exception_ptr const thrown = std::current_exception()) {
    try {
      std::rethrow_exception(thrown);
    } catch (std::exception const& exception) {
      reason = std::string("the initialiser threw: ") + exception.what();
    } catch (...) {
      reason = "the initialiser threw an exception that is not a std::exception";
    }
  }
  WriteAll(scan::kFailed);
  Send(reason);
  _exit(2);
}

int Usage() {
  std::fputs(
      "usage: orv-plugin-scan [--preload LIBRARY]... FILE\n\n"
      "Loads the preloaded libraries, then tries to load FILE, and reports the outcome on\n"
      "descriptor 3. liborv_system starts it to try each plug-in before loading it.\n",
      stderr);
  return 2;
}

}  // namespace

int main(int argc, char** argv) {
  std::vector<char const*> preload;
  int next = 1;
  while (next + 2 < argc && argv[next] == scan::kPreloadOption) {
    preload.push_back(argv[next + 1]);
    next += 2;
  }
  if (next != argc - 1 || fcntl(scan::kReportDescriptor, F_GETFD) == -1) {
    return Usage();
  }
  char const* const file = argv[next];
  // A program that an initialiser starts must not hold the pipe open.
  fcntl(scan::kReportDescriptor, F_SETFD, FD_CLOEXEC);
  Send(scan::kTrying);

  std::set_terminate(&ReportTermination);
  for (char const* library : preload) {
    if (dlopen(library, scan::kPreloadFlags) == nullptr) {
      Fail(std::string("could not load ") + library + " first: ", dlerror());
    }
  }
  if (dlopen(file, scan::kLoadFlags) == nullptr) {
    Fail("", dlerror());
  }
  Send(scan::kLoaded);
  // The trial is about loading: the plug-in's finalisers do not run here.
  _exit(0);
}
