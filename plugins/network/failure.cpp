#include "network/failure.hpp"

#include "orv/log/sink.hpp"

namespace orv::plugins::network {

void Report(std::string_view source, std::string_view actionName, Failure const& failure) {
  if (actionName.empty()) {
    log::Write(source, failure.detail);
  } else {
    log::Write(source, "\"" + std::string(actionName) + "\": " + failure.detail);
  }
  throw action::Exception(failure.code);
}

}  // namespace orv::plugins::network
