#pragma once

#include <string>

#include "orv/object/object.hpp"
#include "orv/property/export.hpp"

namespace orv::property::external {

// The plain value of a framework object, for the scalar properties. bool
// accepts an "orv.object.Bool" or an "orv.property.Bool"; std::string accepts
// an "orv.object.String" or an "orv.property.String". Anything else throws
// orv::type::BadCast: "Cannot set external property with a '<type name>'.
// Make sure to use the same type as the property".
template <class T>
ORV_PROPERTY_API T Convert(object::Object const& value);

template <>
ORV_PROPERTY_API bool Convert<bool>(object::Object const& value);
template <>
ORV_PROPERTY_API std::string Convert<std::string>(object::Object const& value);

}  // namespace orv::property::external
