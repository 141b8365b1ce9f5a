#include "network/failure.hpp"

#include "network/text.hpp"
#include "orv/log/sink.hpp"

namespace orv::plugins::network {

void Report(std::string_view source, std::string_view actionName, Failure const& failure,
            std::vector<std::string_view> const& secrets) {
  std::string const detail = Redact(failure.detail, secrets);
  if (actionName.empty()) {
    log::Write(source, detail);
  } else {
    log::Write(source, "\"" + std::string(actionName) + "\": " + detail);
  }
  throw action::Exception(failure.code);
}

}  // namespace orv::plugins::network
