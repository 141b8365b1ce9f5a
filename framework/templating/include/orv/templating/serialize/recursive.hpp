#pragma once

#include "orv/templating/export.hpp"

namespace orv::templating::serialize::archive::output {
class Data;
}  // namespace orv::templating::serialize::archive::output

namespace cereal {

template <class T>
struct Recursive;

// A boolean stored at the end of a dotted path of nested maps: the name
// "orv.meta.data.Zone" with true writes map "orv" > map "meta" > map "data" >
// "Zone": true. Two dots in a row give a map under the empty key. Both
// pointers must stay valid while the marker is serialised.
template <>
struct ORV_TEMPLATING_API Recursive<bool const> {
  char const* name;
  bool const* value;

  // Writes the path into the node that is open in `archive`.
  void Serialize(orv::templating::serialize::archive::output::Data& archive) const;
};

}  // namespace cereal
