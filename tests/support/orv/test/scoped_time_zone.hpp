#pragma once

#include <cstdlib>
#include <ctime>
#include <optional>
#include <string>

namespace orv::test {

// Sets the process's TZ for the lifetime of the object and restores it after:
// the local zone is process-wide state.
class ScopedTimeZone {
 public:
  explicit ScopedTimeZone(char const* zone) {
    if (char const* previous = std::getenv("TZ")) {
      previous_ = previous;
    }
    ::setenv("TZ", zone, 1);
    ::tzset();
  }
  ScopedTimeZone(ScopedTimeZone const&) = delete;
  ScopedTimeZone& operator=(ScopedTimeZone const&) = delete;
  ~ScopedTimeZone() {
    if (previous_) {
      ::setenv("TZ", previous_->c_str(), 1);
    } else {
      ::unsetenv("TZ");
    }
    ::tzset();
  }

 private:
  std::optional<std::string> previous_;
};

}  // namespace orv::test
