#pragma once

#include "orv/meta/data/export.hpp"
#include "orv/meta/data/value.hpp"

namespace orv::meta::data::object {

struct PixelCountType {
  static constexpr char const* kTypeName = orv::object::type_name::kPixelCount;
};

// How many pixels a tracked object covers.
using PixelCount = Value<PixelCountType, unsigned int>;

}  // namespace orv::meta::data::object
