#pragma once

#include "orv/geometry/normalized.hpp"
#include "orv/geometry/point.hpp"
#include "orv/meta/data/export.hpp"
#include "orv/object/object.hpp"

namespace orv::meta::data::object {

// Where a tracked object touches the ground, in normalised image coordinates.
class ORV_META_DATA_API GroundPoint : public orv::object::Object {
 public:
  static constexpr char const* kTypeName = orv::object::type_name::kGroundPoint;
  using NormalizedPoint = geometry::Point<geometry::normalized::Value<unsigned short>, 2>;

  explicit GroundPoint(NormalizedPoint value) noexcept : Object(orv::object::TypeIdOf<GroundPoint>), value_(value) {}

  NormalizedPoint GetValue() const noexcept { return value_; }

 private:
  NormalizedPoint value_;
};

}  // namespace orv::meta::data::object
