#include "stop_signals.hpp"

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <stdexcept>
#include <string>

namespace orv::tool {
namespace {

// What the handler may touch: a descriptor to write to and an atomic flag.
int stopPipe[2] = {-1, -1};
volatile std::sig_atomic_t received = 0;

extern "C" void OnStopSignal(int signal) {
  int const saved = errno;
  if (received == 0) {
    received = signal;
    char const byte = 1;
    [[maybe_unused]] auto const written = ::write(stopPipe[1], &byte, 1);
  }
  errno = saved;
}

}  // namespace

StopSignals::StopSignals() {
  if (::pipe2(stopPipe, O_CLOEXEC | O_NONBLOCK) != 0) {
    throw std::runtime_error(std::string("cannot make a pipe for signals: ") + std::strerror(errno));
  }
  received = 0;
  struct sigaction action {};
  action.sa_handler = OnStopSignal;
  sigemptyset(&action.sa_mask);
  action.sa_flags = 0;  // no SA_RESTART: a blocked read returns at once
  sigaction(SIGINT, &action, &previousInterrupt_);
  sigaction(SIGTERM, &action, &previousTerminate_);
}

StopSignals::~StopSignals() {
  sigaction(SIGINT, &previousInterrupt_, nullptr);
  sigaction(SIGTERM, &previousTerminate_, nullptr);
  ::close(stopPipe[0]);
  ::close(stopPipe[1]);
  stopPipe[0] = stopPipe[1] = -1;
}

int StopSignals::GetDescriptor() const noexcept { return stopPipe[0]; }

int StopSignals::Received() const noexcept { return received; }

char const* StopSignals::Name(int signal) noexcept {
  switch (signal) {
    case SIGINT:
      return "SIGINT";
    case SIGTERM:
      return "SIGTERM";
    default:
      return "a signal";
  }
}

bool IsReadable(int descriptor) noexcept {
  if (descriptor < 0) {
    return false;
  }
  pollfd entry{descriptor, POLLIN, 0};
  return ::poll(&entry, 1, 0) > 0 && (entry.revents & POLLIN) != 0;
}

}  // namespace orv::tool
