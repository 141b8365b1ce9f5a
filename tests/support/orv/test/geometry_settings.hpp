#pragma once

#include <cstdint>

#include "orv/geometry/normalized.hpp"

namespace orv::test {

// Sets the process-wide geometry serialisation settings for the lifetime of
// the object and restores the previous ones after.
class ScopedGeometrySettings {
 public:
  ScopedGeometrySettings(bool customRange, std::uint32_t rangeMax, bool round, bool flipY)
      : customRange_(geometry::normalized::UsingCustomSerializedRange()),
        rangeMax_(geometry::normalized::GetCustomSerializedRangeMax()),
        round_(geometry::normalized::GetRoundSerializedValues()),
        flipY_(geometry::normalized::GetFlipSerializedYAxis()) {
    Apply(customRange, rangeMax, round, flipY);
  }
  ScopedGeometrySettings(ScopedGeometrySettings const&) = delete;
  ScopedGeometrySettings& operator=(ScopedGeometrySettings const&) = delete;
  ~ScopedGeometrySettings() { Apply(customRange_, rangeMax_, round_, flipY_); }

 private:
  static void Apply(bool customRange, std::uint32_t rangeMax, bool round, bool flipY) {
    geometry::normalized::SetUsingCustomSerializedRange(customRange);
    geometry::normalized::SetCustomSerializedRangeMax(rangeMax);
    geometry::normalized::SetRoundSerializedValues(round);
    geometry::normalized::SetFlipSerializedYAxis(flipY);
  }

  bool customRange_;
  std::uint32_t rangeMax_;
  bool round_;
  bool flipY_;
};

}  // namespace orv::test
