#pragma once

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "orv/object/export.hpp"
#include "orv/object/object.hpp"

namespace orv::object {

namespace detail {
template <class T>
struct PrimitiveName;
template <>
struct PrimitiveName<bool> {
  static constexpr char const* kValue = type_name::kObjectBool;
};
template <>
struct PrimitiveName<std::string> {
  static constexpr char const* kValue = type_name::kObjectString;
};
template <>
struct PrimitiveName<std::int64_t> {
  static constexpr char const* kValue = type_name::kObjectInteger;
};
template <>
struct PrimitiveName<std::vector<std::string>> {
  static constexpr char const* kValue = type_name::kObjectStringList;
};
}  // namespace detail

// A plain typed value: "orv.object.Bool" for bool, "orv.object.String" for
// std::string, "orv.object.Integer" for std::int64_t and
// "orv.object.StringList" for std::vector<std::string>. Hosts hand these to
// properties to set them.
template <class T>
class ORV_OBJECT_API Primitive : public Object {
 public:
  static constexpr char const* kTypeName = detail::PrimitiveName<T>::kValue;

  explicit Primitive(T value = T()) : Object(TypeIdOf<Primitive>), value_(std::move(value)) {}
  Primitive(Primitive const&) = default;

  T const& Get() const noexcept { return value_; }

  // Takes the value of another primitive of the same type; throws
  // orv::object::BadCast for any other object.
  void Set(Object const& value) override;

  // True for a primitive of the same type holding an equal value.
  bool EqualTo(Object const& other) const override;

 private:
  T value_;
};

// Built once, in the object library.
extern template class Primitive<bool>;
extern template class Primitive<std::string>;
extern template class Primitive<std::int64_t>;
extern template class Primitive<std::vector<std::string>>;

template <class T>
void Primitive<T>::Set(Object const& value) {
  value_ = value.As<Primitive>().value_;
}

template <class T>
bool Primitive<T>::EqualTo(Object const& other) const {
  return other.GetTypeNameId() == GetTypeNameId() && other.As<Primitive>().value_ == value_;
}

}  // namespace orv::object
