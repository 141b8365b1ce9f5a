#pragma once

#include "orv/templating/export.hpp"
#include "orv/templating/serialize/recursive.hpp"

namespace cereal {

// The type marker of a record: where it goes and what it holds. For the key
// "typename" and the type name "orv.meta.data.Zone" the marker is written as
// "is" > "typename" > "orv" > "meta" > "data" > "Zone": true, so that a
// template tests a record's type with {{#is.typename.orv.meta.data.Zone}}.
// Both texts must outlive the marker.
class ORV_TEMPLATING_API Is {
 public:
  // The fixed name of the outer marker node; templates rely on it.
  static constexpr char const* kNodeName = "is";

  Is(char const* key, char const* typeName) noexcept : key_(key), marker_{typeName, &kTrue} {}

  // The name of the outer node: always "is".
  char const* GetNodeName() const noexcept { return kNodeName; }
  // The name of the inner node: the key given.
  char const* GetKeyName() const noexcept { return key_; }
  // The dotted marker: the type name, ending in true.
  Recursive<bool const> const& GetMarker() const noexcept { return marker_; }

 private:
  static constexpr bool kTrue = true;
  char const* key_;
  Recursive<bool const> marker_;
};

}  // namespace cereal
