#pragma once

#include <string>
#include <typeinfo>

#include "orv/object/export.hpp"

namespace orv::object {

// Thrown by Object::As<T> when an object's type id is not T's.
class ORV_OBJECT_API BadCast : public std::bad_cast {
 public:
  explicit BadCast(std::string message) : message_(std::move(message)) {}
  // The message; valid while the exception lives.
  char const* what() const noexcept override { return message_.c_str(); }

 private:
  std::string message_;
};

}  // namespace orv::object
