#pragma once

#include "orv/meta/data/export.hpp"
#include "orv/meta/data/value.hpp"

namespace orv::meta::data::object {

struct AreaType {
  static constexpr char const* kTypeName = orv::object::type_name::kArea;
};

// The area of a tracked object, normalised to the image (0 to 1).
using Area = Value<AreaType, float>;

}  // namespace orv::meta::data::object
