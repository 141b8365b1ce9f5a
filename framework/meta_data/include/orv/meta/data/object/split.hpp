#pragma once

#include <cstdint>
#include <utility>
#include <vector>

#include "orv/meta/data/export.hpp"
#include "orv/object/object.hpp"

namespace orv::meta::data::object {

// One tracked object became several.
class ORV_META_DATA_API Split : public orv::object::Object {
 public:
  static constexpr char const* kTypeName = orv::object::type_name::kSplit;

  Split(std::uint32_t inId, std::vector<std::uint32_t> outIds)
      : Object(orv::object::TypeIdOf<Split>), inId_(inId), outIds_(std::move(outIds)) {}

  std::uint32_t GetInId() const noexcept { return inId_; }
  std::vector<std::uint32_t> const& GetOutIds() const noexcept { return outIds_; }

 private:
  std::uint32_t inId_;
  std::vector<std::uint32_t> outIds_;
};

}  // namespace orv::meta::data::object
