#pragma once

#include "orv/meta/data/export.hpp"
#include "orv/meta/data/value.hpp"

namespace orv::meta::data::object {

struct SpeedType {
  static constexpr char const* kTypeName = orv::object::type_name::kSpeed;
};

// The calibrated speed of a tracked object, in metres per second.
using Speed = Value<SpeedType, float>;

}  // namespace orv::meta::data::object
