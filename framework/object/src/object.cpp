#include "orv/object/object.hpp"

#include <sstream>
#include <stdexcept>

#include "orv/object/write_name.hpp"

namespace orv::object {

Object::~Object() = default;

void Object::Set(Object const& value) {
  std::ostringstream message;
  char const* to = TypeName(typeNameId_);
  char const* from = TypeName(value.GetTypeNameId());
  message << "Cannot set an object of type '" << (to ? to : "(unregistered)") << "' from one of type '"
          << (from ? from : "(unregistered)") << "'";
  throw std::logic_error(message.str());
}

namespace detail {

void ThrowBadCast(hash::MurmurThree32 const& from, char const* to) {
  // An unknown type name fails the stream, which then drops everything after
  // the opening quote: the truncated message is intended.
  std::ostringstream message;
  WriteName(message << "Failed to cast the runtime object from '", Object::TypeName(from)) << "' to a '";
  WriteName(message, to) << "'";
  throw BadCast(message.str());
}

}  // namespace detail

}  // namespace orv::object
