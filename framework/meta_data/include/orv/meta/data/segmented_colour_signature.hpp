#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <utility>

#include "orv/meta/data/colour_signature.hpp"
#include "orv/meta/data/export.hpp"
#include "orv/type/strings.hpp"

namespace orv::meta::data {

// Colour signatures of the parts of an object (the upper and lower body of a
// person, say), each part under its segment.
class ORV_META_DATA_API SegmentedColourSignature : public orv::object::Object {
 public:
  static constexpr char const* kTypeName = orv::object::type_name::kSegmentedColourSignature;

  // Texts: "full", "upper", "lower".
  enum class Segment : std::int32_t {
    Full = 0,
    Upper = 1,
    Lower = 2,
  };

  explicit SegmentedColourSignature(std::map<Segment, ColourSignature> segments)
      : Object(orv::object::TypeIdOf<SegmentedColourSignature>), segments_(std::move(segments)) {}

  // By ascending segment.
  std::map<Segment, ColourSignature> const& GetSegments() const noexcept { return segments_; }

 private:
  std::map<Segment, ColourSignature> segments_;
};

}  // namespace orv::meta::data

template <>
struct ORV_META_DATA_API orv::type::Strings<orv::meta::data::SegmentedColourSignature::Segment> {
  static std::map<orv::meta::data::SegmentedColourSignature::Segment, std::string> const& GetMap();
};
