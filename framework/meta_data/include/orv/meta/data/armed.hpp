#pragma once

#include "orv/meta/data/export.hpp"
#include "orv/object/object.hpp"

namespace orv::meta::data {

// Whether the device was armed when the event was raised.
class ORV_META_DATA_API Armed : public orv::object::Object {
 public:
  static constexpr char const* kTypeName = orv::object::type_name::kArmed;

  explicit Armed(bool armed) noexcept : Object(orv::object::TypeIdOf<Armed>), armed_(armed) {}

  bool Get() const noexcept { return armed_; }

 private:
  bool armed_;
};

}  // namespace orv::meta::data
