#pragma once

#include <ostream>

#include "orv/templating/template.hpp"

namespace orv::templating {

// Readable failure messages for MissingName values.
inline void PrintTo(MissingName const& missing, std::ostream* out) {
  *out << '{' << (missing.isPartial ? ">" : "") << missing.name << ", partial \"" << missing.partial << "\", "
       << missing.line << ':' << missing.column << '}';
}

}  // namespace orv::templating
