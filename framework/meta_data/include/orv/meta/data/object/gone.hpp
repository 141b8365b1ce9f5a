#pragma once

#include <cstdint>

#include "orv/meta/data/export.hpp"
#include "orv/object/object.hpp"

namespace orv::meta::data::object {

// A tracked object has left the scene.
class ORV_META_DATA_API Gone : public orv::object::Object {
 public:
  static constexpr char const* kTypeName = orv::object::type_name::kGone;

  explicit Gone(std::uint32_t id) noexcept : Object(orv::object::TypeIdOf<Gone>), id_(id) {}

  std::uint32_t GetId() const noexcept { return id_; }

 private:
  std::uint32_t id_;
};

}  // namespace orv::meta::data::object
