#pragma once

#include <ostream>

#include "orv/object/export.hpp"

namespace orv::object {

// Writes the NUL-terminated `name` to `out` and returns `out`. A null `name`
// (a type without a registered name) writes nothing and sets the stream's
// badbit instead, the state a standard stream takes when a text cannot be
// inserted, so that everything inserted afterwards is dropped: messages that
// name types stop at an unknown name on purpose.
ORV_OBJECT_API std::ostream& WriteName(std::ostream& out, char const* name);

}  // namespace orv::object
