#pragma once

#include <cstdint>
#include <functional>
#include <string>

namespace orv::outbox {

// Something the host's log should hear about.
struct Report {
  enum class Kind : std::uint8_t {
    kDead,             // a message moved to the dead list
    kDeadListTrimmed,  // the dead list was over its limit: its oldest message was deleted
    kDatabaseError,    // the database could not be written; the outbox keeps trying
  };

  Kind kind = Kind::kDead;
  // Empty for database errors.
  std::string actionKey{};
  std::string deliveryId{};
  // One line for a log, naming the message or the database file and the cause.
  std::string text{};
};

// Receives reports on the outbox's writer thread, one at a time, with no lock
// of the outbox held. It may call the outbox's reading functions and
// Requeue, but not Flush (which waits for this thread), Shutdown or the
// destructor.
using ReportHandler = std::function<void(Report const& report)>;

}  // namespace orv::outbox
