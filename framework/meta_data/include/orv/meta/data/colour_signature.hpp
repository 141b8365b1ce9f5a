#pragma once

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "orv/meta/data/export.hpp"
#include "orv/object/object.hpp"

namespace orv::templating::serialize::archive::output {
class Data;
}  // namespace orv::templating::serialize::archive::output

namespace orv::meta::data {

// The dominant colours of an object, each with its share of the object.
class ORV_META_DATA_API ColourSignature : public orv::object::Object {
 public:
  static constexpr char const* kTypeName = orv::object::type_name::kColourSignature;

  // One named colour and its proportion; a plain record, not an object.
  class ColourData {
   public:
    ColourData(std::string name, std::uint8_t r, std::uint8_t g, std::uint8_t b, float proportion)
        : name_(std::move(name)), r_(r), g_(g), b_(b), proportion_(proportion) {}

    std::string const& GetName() const noexcept { return name_; }
    std::uint8_t GetRed() const noexcept { return r_; }
    std::uint8_t GetGreen() const noexcept { return g_; }
    std::uint8_t GetBlue() const noexcept { return b_; }
    // From 0 to 1.
    float GetProportion() const noexcept { return proportion_; }

    // Writes "colour_name", "colour_value" (a node with "r", "g", "b", each the
    // number 0 to 255 as text) and "proportion" into the open node.
    void Serialize(templating::serialize::archive::output::Data& archive);

   private:
    std::string name_;
    std::uint8_t r_;
    std::uint8_t g_;
    std::uint8_t b_;
    float proportion_;
  };

  explicit ColourSignature(std::vector<ColourData> colours)
      : Object(orv::object::TypeIdOf<ColourSignature>), colours_(std::move(colours)) {}

  std::vector<ColourData> const& GetColours() const noexcept { return colours_; }

 private:
  std::vector<ColourData> colours_;
};

}  // namespace orv::meta::data
