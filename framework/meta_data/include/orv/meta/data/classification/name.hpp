#pragma once

#include <string>
#include <utility>

#include "orv/meta/data/export.hpp"
#include "orv/object/object.hpp"

namespace orv::meta::data::classification {

// The class an object was classified as ("person", "vehicle", ...).
class ORV_META_DATA_API Name : public orv::object::Object {
 public:
  static constexpr char const* kTypeName = orv::object::type_name::kClassificationName;

  explicit Name(std::string value) : Object(orv::object::TypeIdOf<Name>), value_(std::move(value)) {}

  std::string const& GetValue() const noexcept { return value_; }

 private:
  std::string value_;
};

}  // namespace orv::meta::data::classification
