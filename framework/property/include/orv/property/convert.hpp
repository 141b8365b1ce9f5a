#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "orv/object/object.hpp"
#include "orv/property/export.hpp"

namespace orv::property::external {

// The plain value of a framework object, for the scalar properties. bool
// accepts an "orv.object.Bool" or an "orv.property.Bool"; std::string accepts
// an "orv.object.String" or an "orv.property.String"; std::int64_t and
// std::vector<std::string> likewise accept their "orv.object.Integer" and
// "orv.property.Integer", "orv.object.StringList" and
// "orv.property.StringList". Anything else throws
// orv::type::BadCast: "Cannot set external property with a '<type name>'.
// Make sure to use the same type as the property".
template <class T>
ORV_PROPERTY_API T Convert(object::Object const& value);

template <>
ORV_PROPERTY_API bool Convert<bool>(object::Object const& value);
template <>
ORV_PROPERTY_API std::string Convert<std::string>(object::Object const& value);
template <>
ORV_PROPERTY_API std::int64_t Convert<std::int64_t>(object::Object const& value);
template <>
ORV_PROPERTY_API std::vector<std::string> Convert<std::vector<std::string>>(object::Object const& value);

}  // namespace orv::property::external
