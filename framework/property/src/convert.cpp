#include "orv/property/convert.hpp"

#include <sstream>

#include "orv/object/primitive.hpp"
#include "orv/object/write_name.hpp"
#include "orv/property/primitive.hpp"
#include "orv/type/bad_cast.hpp"

namespace orv::property::external {
namespace {

[[noreturn]] void ThrowWrongType(object::Object const& value) {
  // An unknown type name fails the stream and cuts the message short there.
  std::ostringstream message;
  object::WriteName(message << "Cannot set external property with a '", object::Object::TypeName(value.GetTypeNameId()))
      << "'. Make sure to use the same type as the property";
  throw type::BadCast(message.str());
}

template <class T>
T ConvertPrimitive(object::Object const& value) {
  if (value.GetTypeNameId() == object::TypeIdOf<object::Primitive<T>>) {
    return value.As<object::Primitive<T>>().Get();
  }
  if (value.GetTypeNameId() == object::TypeIdOf<Primitive<T>>) {
    return value.As<Primitive<T>>().Get();
  }
  ThrowWrongType(value);
}

}  // namespace

template <>
bool Convert<bool>(object::Object const& value) {
  return ConvertPrimitive<bool>(value);
}

template <>
std::string Convert<std::string>(object::Object const& value) {
  return ConvertPrimitive<std::string>(value);
}

template <>
std::int64_t Convert<std::int64_t>(object::Object const& value) {
  return ConvertPrimitive<std::int64_t>(value);
}

template <>
std::vector<std::string> Convert<std::vector<std::string>>(object::Object const& value) {
  return ConvertPrimitive<std::vector<std::string>>(value);
}

}  // namespace orv::property::external
