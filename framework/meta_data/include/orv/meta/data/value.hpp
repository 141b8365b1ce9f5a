#pragma once

#include <utility>

#include "orv/meta/data/export.hpp"
#include "orv/object/object.hpp"

namespace orv::meta::data {

// A record holding one value of type T; `Tag` names the kind through its
// static `kTypeName`, so one template serves many kinds (pixel count,
// calibrated position, area, ...).
template <class Tag, class T>
class ORV_META_DATA_API Value : public orv::object::Object {
 public:
  static constexpr char const* kTypeName = Tag::kTypeName;

  explicit Value(T value) : Object(orv::object::TypeIdOf<Value>), value_(std::move(value)) {}

  T const& GetValue() const noexcept { return value_; }

 private:
  T value_;
};

// A record that holds nothing but its kind, named by `Tag::kTypeName`.
template <class Tag>
class ORV_META_DATA_API Empty : public orv::object::Object {
 public:
  static constexpr char const* kTypeName = Tag::kTypeName;

  Empty() noexcept : Object(orv::object::TypeIdOf<Empty>) {}
};

}  // namespace orv::meta::data
