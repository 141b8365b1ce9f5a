#pragma once

#include <map>
#include <stdexcept>
#include <string>

#include "orv/type/export.hpp"

namespace orv::type {

// The text of every value of the enumeration E. Specialise it beside the
// enumeration with a static `GetMap()` returning `std::map<E, std::string> const&`;
// templates rely on those texts, so they never change once published.
template <class E>
struct Strings;

namespace detail {
// Throws the std::invalid_argument of a value that has no text.
[[noreturn]] ORV_TYPE_API void ThrowEnumOutOfRange();
}  // namespace detail

// The text of `value` from Strings<E>. Throws std::invalid_argument with
// "Cannot convert the enum into its string representation as the value is out
// of range of the string representation map" when the map has no such value.
template <class E>
std::string ToString(E value) {
  try {
    return Strings<E>::GetMap().at(value);
  } catch (std::out_of_range const&) {
    detail::ThrowEnumOutOfRange();
  }
}

}  // namespace orv::type
