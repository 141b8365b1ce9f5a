#include "orv/object/write_name.hpp"

namespace orv::object {

std::ostream& WriteName(std::ostream& out, char const* name) {
  if (name == nullptr) {
    out.setstate(std::ios_base::badbit);
    return out;
  }
  return out << name;
}

}  // namespace orv::object
