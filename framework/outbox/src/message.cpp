#include "orv/outbox/message.hpp"

namespace orv::outbox {

std::string_view GetText(DeadReason reason) noexcept {
  switch (reason) {
    case DeadReason::kPermanentFailure:
      return "permanent failure";
    case DeadReason::kGaveUp:
      return "gave up";
    case DeadReason::kOutboxFull:
      return "outbox full";
  }
  return "unknown";
}

}  // namespace orv::outbox
