#pragma once

#include <csignal>

namespace orv::tool {

// Catches SIGINT and SIGTERM while it exists, so that a command can stop
// cleanly: the first such signal makes GetDescriptor() readable, which a
// waiting read or poll notices at once. The handlers in place before are put
// back on destruction. At most one may exist at a time.
class StopSignals {
 public:
  // Throws std::runtime_error when the pipe or the handlers cannot be set up.
  StopSignals();
  StopSignals(StopSignals const&) = delete;
  StopSignals& operator=(StopSignals const&) = delete;
  ~StopSignals();

  // Readable once a signal arrived; never read from.
  int GetDescriptor() const noexcept;
  // The first signal that arrived, or 0.
  int Received() const noexcept;

  // "SIGINT", "SIGTERM"; "a signal" for any other.
  static char const* Name(int signal) noexcept;

 private:
  struct sigaction previousInterrupt_ {};
  struct sigaction previousTerminate_ {};
};

// Whether `descriptor` is readable now; false for -1.
bool IsReadable(int descriptor) noexcept;

}  // namespace orv::tool
