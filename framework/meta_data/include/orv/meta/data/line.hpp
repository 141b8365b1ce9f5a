#pragma once

#include <map>
#include <string>

#include "orv/meta/data/export.hpp"
#include "orv/type/strings.hpp"

namespace orv::meta::data::line {

// The direction in which a counting line counts crossings. Texts: "a_to_b",
// "b_to_a", "both".
enum class Direction {
  AToB = 0,
  BToA = 1,
  Both = 2,
};

// The text of `direction`; throws std::invalid_argument (as
// orv::type::ToString) for a value without one.
ORV_META_DATA_API std::string ToString(Direction direction);

}  // namespace orv::meta::data::line

template <>
struct ORV_META_DATA_API orv::type::Strings<orv::meta::data::line::Direction> {
  static std::map<orv::meta::data::line::Direction, std::string> const& GetMap();
};
