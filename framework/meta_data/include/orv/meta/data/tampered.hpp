#pragma once

#include "orv/meta/data/export.hpp"
#include "orv/meta/data/value.hpp"

namespace orv::meta::data {

struct TamperedType {
  static constexpr char const* kTypeName = orv::object::type_name::kTampered;
};

// The camera has been tampered with (covered, moved, defocused).
using Tampered = Empty<TamperedType>;

}  // namespace orv::meta::data
