#pragma once

#include <string>
#include <typeinfo>

#include "orv/type/export.hpp"

namespace orv::type {

// A failed conversion between framework types (an action cast to a concrete
// type, a property set from a value of another type).
class ORV_TYPE_API BadCast : public std::bad_cast {
 public:
  explicit BadCast(std::string message) : message_(std::move(message)) {}
  // The message; valid while the exception lives.
  char const* what() const noexcept override { return message_.c_str(); }

 private:
  std::string message_;
};

}  // namespace orv::type
