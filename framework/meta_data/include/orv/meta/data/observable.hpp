#pragma once

#include <cstdint>

#include "orv/object/object.hpp"

namespace orv::meta::data {

// The rule that fired, as carried by an event: its id is the rule id.
class Observable : public object::Object {
 public:
  static constexpr char const* kTypeName = object::type_name::kMetaObservable;

  explicit Observable(std::uint32_t id) noexcept : Object(object::TypeIdOf<Observable>), id_(id) {}

  std::uint32_t const& GetId() const noexcept { return id_; }

 private:
  std::uint32_t id_;
};

}  // namespace orv::meta::data
