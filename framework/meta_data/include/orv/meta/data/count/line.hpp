#pragma once

#include <cstdint>

#include "orv/geometry/normalized.hpp"
#include "orv/meta/data/export.hpp"
#include "orv/meta/data/line.hpp"
#include "orv/object/object.hpp"

namespace orv::meta::data::count {

// A counting line: how many objects crossed it in its direction.
class ORV_META_DATA_API Line : public orv::object::Object {
 public:
  static constexpr char const* kTypeName = orv::object::type_name::kCountLine;
  using Normalized = geometry::normalized::Value<unsigned short>;

  Line(std::uint32_t ruleId, Normalized width, Normalized position, std::uint32_t count, line::Direction direction,
       std::uint32_t zoneId) noexcept
      : Object(orv::object::TypeIdOf<Line>),
        ruleId_(ruleId),
        width_(width),
        position_(position),
        count_(count),
        direction_(direction),
        zoneId_(zoneId) {}

  std::uint32_t GetRuleId() const noexcept { return ruleId_; }
  Normalized GetWidth() const noexcept { return width_; }
  // Where the line lies across the image: one normalised value, not a point.
  Normalized GetPosition() const noexcept { return position_; }
  std::uint32_t GetCount() const noexcept { return count_; }
  line::Direction GetDirection() const noexcept { return direction_; }
  std::uint32_t GetZoneId() const noexcept { return zoneId_; }

  // Writes the object header, "rule_id", "width" and "position" (single
  // normalised values), "count", "direction" (its text) and "zone_id".
  void Save(templating::serialize::archive::output::Data& archive) const;

 private:
  std::uint32_t ruleId_;
  Normalized width_;
  Normalized position_;
  std::uint32_t count_;
  line::Direction direction_;
  std::uint32_t zoneId_;
};

}  // namespace orv::meta::data::count
