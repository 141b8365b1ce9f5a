#pragma once

#include <string>

namespace orv::type {

// The readable form of the mangled type name `mangled` (as given by
// std::type_info::name); the input itself when it cannot be demangled.
std::string Demangle(char const* mangled);

}  // namespace orv::type
