#include "orv/property/context.hpp"

#include <stdexcept>

namespace orv::property::context {

void Check(std::shared_ptr<void const> const& owner) {
  if (!owner) {
    throw std::invalid_argument("Cannot write an external property that has no owner");
  }
}

}  // namespace orv::property::context
