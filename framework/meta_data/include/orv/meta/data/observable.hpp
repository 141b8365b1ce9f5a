#pragma once

#include <cstdint>

#include "orv/meta/data/export.hpp"
#include "orv/object/object.hpp"

namespace orv::meta::data {

// The rule that fired, as carried by an event: its id is the rule id.
class ORV_META_DATA_API Observable : public orv::object::Object {
 public:
  static constexpr char const* kTypeName = orv::object::type_name::kMetaObservable;

  explicit Observable(std::uint32_t id) noexcept : Object(orv::object::TypeIdOf<Observable>), id_(id) {}

  std::uint32_t const& GetId() const noexcept { return id_; }

 private:
  std::uint32_t id_;
};

}  // namespace orv::meta::data
