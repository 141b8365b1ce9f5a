#include "orv/type/strings.hpp"

namespace orv::type::detail {

void ThrowEnumOutOfRange() {
  throw std::invalid_argument(
      "Cannot convert the enum into its string representation as the value is out of range of the string "
      "representation map");
}

}  // namespace orv::type::detail
