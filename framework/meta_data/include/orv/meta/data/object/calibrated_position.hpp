#pragma once

#include "orv/geometry/point.hpp"
#include "orv/meta/data/export.hpp"
#include "orv/meta/data/value.hpp"

namespace orv::meta::data::object {

struct CalibratedPositionType {
  static constexpr char const* kTypeName = orv::object::type_name::kCalibratedPosition;
};

// Where a tracked object stands on the calibrated ground plane, in metres.
using CalibratedPosition = Value<CalibratedPositionType, geometry::Point<float, 2>>;

}  // namespace orv::meta::data::object
