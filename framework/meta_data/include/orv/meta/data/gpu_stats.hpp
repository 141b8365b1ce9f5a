#pragma once

#include <cstdint>

#include "orv/meta/data/export.hpp"
#include "orv/object/object.hpp"

namespace orv::templating::serialize::archive::output {
class Data;
}  // namespace orv::templating::serialize::archive::output

namespace orv::meta::data {

// GPU load when the event was raised.
class ORV_META_DATA_API GpuStats : public orv::object::Object {
 public:
  static constexpr char const* kTypeName = orv::object::type_name::kGpuStats;

  GpuStats(std::uint32_t utilisation, std::uint64_t memoryUsed) noexcept
      : Object(orv::object::TypeIdOf<GpuStats>), utilisation_(utilisation), memoryUsed_(memoryUsed) {}

  // Utilisation in percent.
  std::uint32_t GetUtilisation() const noexcept { return utilisation_; }
  // Memory in use, in bytes.
  std::uint64_t GetMemoryUsed() const noexcept { return memoryUsed_; }

  // Writes the object header, "utilisation" and "memory_used" (all 64 bits)
  // into the open node.
  void Save(templating::serialize::archive::output::Data& archive) const;

 private:
  std::uint32_t utilisation_;
  std::uint64_t memoryUsed_;
};

}  // namespace orv::meta::data
