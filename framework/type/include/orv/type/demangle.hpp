#pragma once

#include <string>

#include "orv/type/export.hpp"

namespace orv::type {

// The readable form of the mangled type name `mangled` (as given by
// std::type_info::name); the input itself when it cannot be demangled.
ORV_TYPE_API std::string Demangle(char const* mangled);

}  // namespace orv::type
