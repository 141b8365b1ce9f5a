#pragma once

#include <compare>
#include <cstdint>

#include "orv/geometry/export.hpp"
#include "orv/geometry/point.hpp"

namespace orv::templating::serialize::archive::output {
class Data;
}  // namespace orv::templating::serialize::archive::output

namespace orv::geometry::normalized {

// A coordinate or length normalised to the full range of T: for unsigned
// short, 0 is one edge of the image and 65535 the other.
template <class T>
class ORV_GEOMETRY_API Value {
 public:
  constexpr explicit Value(T value) noexcept : value_(value) {}

  constexpr T GetValue() const noexcept { return value_; }

  friend constexpr auto operator<=>(Value const&, Value const&) = default;

 private:
  T value_;
};

// Process-wide settings of how normalised values are written into template
// data; each is read afresh for every value written. All start off (0).
// Setting them is atomic, but a serialisation running meanwhile may see some
// values written with the old and some with the new setting.

// Whether values are scaled from 0..65535 to 0..GetCustomSerializedRangeMax().
ORV_GEOMETRY_API bool UsingCustomSerializedRange() noexcept;
ORV_GEOMETRY_API void SetUsingCustomSerializedRange(bool on) noexcept;
// The value that 65535 becomes when the custom range is used.
ORV_GEOMETRY_API std::uint32_t GetCustomSerializedRangeMax() noexcept;
ORV_GEOMETRY_API void SetCustomSerializedRangeMax(std::uint32_t max) noexcept;
// Whether scaled values are rounded to whole numbers (halves away from zero).
ORV_GEOMETRY_API bool GetRoundSerializedValues() noexcept;
ORV_GEOMETRY_API void SetRoundSerializedValues(bool on) noexcept;
// Whether point y coordinates are measured from the bottom edge (65535 - y).
ORV_GEOMETRY_API bool GetFlipSerializedYAxis() noexcept;
ORV_GEOMETRY_API void SetFlipSerializedYAxis(bool on) noexcept;

// The number a raw normalised value is written as under the current settings:
// the raw value itself without the custom range (never rounded); with it,
// raw / 65535 * the range maximum, rounded when rounding is set. No flip.
ORV_GEOMETRY_API double ToSerialized(unsigned short raw) noexcept;

// Writes `value` as the text of ToSerialized (as a default stream writes a
// double: 32768 -> "32768", 50.00076 -> "50.0008") into the open node, under
// the pending name or appended to an array.
ORV_GEOMETRY_API void SaveScalar(templating::serialize::archive::output::Data& archive, Value<unsigned short> value);

// Writes "x" and "y" of `point` into the open node, each as SaveScalar does;
// y is flipped first when GetFlipSerializedYAxis() is set.
ORV_GEOMETRY_API void Save(templating::serialize::archive::output::Data& archive,
                           Point<Value<unsigned short>, 2> const& point);

}  // namespace orv::geometry::normalized
