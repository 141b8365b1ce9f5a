#include "orv/type/demangle.hpp"

#include <cxxabi.h>

#include <cstdlib>
#include <memory>

namespace orv::type {

std::string Demangle(char const* mangled) {
  int status = 0;
  std::unique_ptr<char, decltype(&std::free)> readable(abi::__cxa_demangle(mangled, nullptr, nullptr, &status),
                                                       &std::free);
  return status == 0 && readable ? std::string(readable.get()) : std::string(mangled);
}

}  // namespace orv::type
