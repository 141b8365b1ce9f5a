#pragma once

#include <cstdint>
#include <utility>
#include <vector>

#include "orv/meta/data/export.hpp"
#include "orv/object/object.hpp"

namespace orv::meta::data::object {

// Several tracked objects became one.
class ORV_META_DATA_API Merged : public orv::object::Object {
 public:
  static constexpr char const* kTypeName = orv::object::type_name::kMerged;

  Merged(std::vector<std::uint32_t> inIds, std::uint32_t outId)
      : Object(orv::object::TypeIdOf<Merged>), inIds_(std::move(inIds)), outId_(outId) {}

  std::vector<std::uint32_t> const& GetInIds() const noexcept { return inIds_; }
  std::uint32_t GetOutId() const noexcept { return outId_; }

 private:
  std::vector<std::uint32_t> inIds_;
  std::uint32_t outId_;
};

}  // namespace orv::meta::data::object
