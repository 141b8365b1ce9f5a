#pragma once

#include "orv/meta/data/export.hpp"
#include "orv/meta/data/value.hpp"

namespace orv::meta::data::object {

struct HeightType {
  static constexpr char const* kTypeName = orv::object::type_name::kHeight;
};

// The calibrated height of a tracked object, in metres.
using Height = Value<HeightType, float>;

}  // namespace orv::meta::data::object
