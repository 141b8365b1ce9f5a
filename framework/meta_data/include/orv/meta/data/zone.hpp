#pragma once

#include <array>
#include <cstdint>
#include <map>
#include <string>
#include <utility>

#include "orv/geometry/polygon.hpp"
#include "orv/meta/data/export.hpp"
#include "orv/object/object.hpp"
#include "orv/type/strings.hpp"

namespace orv::meta::data {
namespace zone {

// What in a zone raises events. Texts: "presence", "enter", "exit", "appear",
// "disappear", "stopped", "dwell", "direction".
enum class Detection {
  Presence = 0,
  Enter = 1,
  Exit = 2,
  Appear = 3,
  Disappear = 4,
  Stopped = 5,
  Dwell = 6,
  Direction = 7,
};

// The text of `detection`; throws std::invalid_argument (as
// orv::type::ToString) for a value without one.
ORV_META_DATA_API std::string ToString(Detection detection);

// What a zone is for. Texts: "detection", "non_detection", "counting".
enum class Type : std::uint8_t {
  Detection = 0,
  NonDetection = 1,
  Counting = 2,
};

}  // namespace zone

// A detection zone drawn on a channel's image.
class ORV_META_DATA_API Zone : public orv::object::Object {
 public:
  static constexpr char const* kTypeName = orv::object::type_name::kZone;

  Zone(std::uint32_t id, std::string name, std::uint32_t channel, std::array<std::uint8_t, 4> rgba,
       zone::Detection detection, zone::Type type, geometry::NormalizedPolygon outline, bool mask)
      : Object(orv::object::TypeIdOf<Zone>),
        id_(id),
        name_(std::move(name)),
        channel_(channel),
        colour_(rgba),
        detection_(detection),
        type_(type),
        outline_(std::move(outline)),
        mask_(mask) {}

  std::uint32_t GetId() const noexcept { return id_; }
  std::string const& GetName() const noexcept { return name_; }
  std::uint32_t GetChannel() const noexcept { return channel_; }
  // Red, green, blue, alpha.
  std::array<std::uint8_t, 4> const& GetColour() const noexcept { return colour_; }
  zone::Detection GetDetection() const noexcept { return detection_; }
  zone::Type GetType() const noexcept { return type_; }
  geometry::NormalizedPolygon const& GetOutline() const noexcept { return outline_; }
  bool GetMask() const noexcept { return mask_; }

  // Writes the object header, "id", "name", "channel", "colour" (a node with
  // "r", "g", "b", "a" as numbers), "detection" and "type" (texts), "outline"
  // (a node holding the polygon's "outline" and "rect") and "mask" (a bool).
  // A detection or type without a text throws std::invalid_argument before
  // anything is written.
  void Save(templating::serialize::archive::output::Data& archive) const;

 private:
  std::uint32_t id_;
  std::string name_;
  std::uint32_t channel_;
  std::array<std::uint8_t, 4> colour_;
  zone::Detection detection_;
  zone::Type type_;
  geometry::NormalizedPolygon outline_;
  bool mask_;
};

}  // namespace orv::meta::data

template <>
struct ORV_META_DATA_API orv::type::Strings<orv::meta::data::zone::Detection> {
  static std::map<orv::meta::data::zone::Detection, std::string> const& GetMap();
};

template <>
struct ORV_META_DATA_API orv::type::Strings<orv::meta::data::zone::Type> {
  static std::map<orv::meta::data::zone::Type, std::string> const& GetMap();
};
