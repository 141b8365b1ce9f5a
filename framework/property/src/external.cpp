#include "orv/property/external.hpp"

#include <stdexcept>

namespace orv::property::external::detail {

void ThrowMissing(char const* message) { throw std::invalid_argument(message); }

}  // namespace orv::property::external::detail
