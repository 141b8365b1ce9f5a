#pragma once

#include <cstdint>
#include <string>
#include <utility>

#include "orv/geometry/normalized.hpp"
#include "orv/geometry/point.hpp"
#include "orv/meta/data/export.hpp"
#include "orv/object/object.hpp"

namespace orv::meta::data::count {

// A counter's value and its change since the last report.
class ORV_META_DATA_API Value : public orv::object::Object {
 public:
  static constexpr char const* kTypeName = orv::object::type_name::kCountValue;
  using NormalizedPoint = geometry::Point<geometry::normalized::Value<unsigned short>, 2>;

  Value(std::uint32_t id, std::string name, std::int32_t value, std::int32_t difference, NormalizedPoint position)
      : Object(orv::object::TypeIdOf<Value>),
        id_(id),
        name_(std::move(name)),
        value_(value),
        difference_(difference),
        position_(position) {}

  std::uint32_t GetId() const noexcept { return id_; }
  std::string const& GetName() const noexcept { return name_; }
  std::int32_t GetValue() const noexcept { return value_; }
  std::int32_t GetDifference() const noexcept { return difference_; }
  // Where the counter is shown in the image.
  NormalizedPoint GetPosition() const noexcept { return position_; }

  // Writes the object header, "id", "name", "value" and "difference" (signed
  // decimal text) and "position" (a node with "x" and "y").
  void Save(templating::serialize::archive::output::Data& archive) const;

 private:
  std::uint32_t id_;
  std::string name_;
  std::int32_t value_;
  std::int32_t difference_;
  NormalizedPoint position_;
};

}  // namespace orv::meta::data::count
