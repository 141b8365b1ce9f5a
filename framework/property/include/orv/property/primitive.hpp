#pragma once

#include <cstdint>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

#include "orv/property/convert.hpp"
#include "orv/property/export.hpp"
#include "orv/property/property.hpp"

namespace orv::property {

namespace detail {
template <class T>
struct PrimitiveTraits;
template <>
struct PrimitiveTraits<bool> {
  static constexpr char const* kTypeName = object::type_name::kPropertyBool;
  static constexpr char const* kValidValues = "true or false";
};
template <>
struct PrimitiveTraits<std::string> {
  static constexpr char const* kTypeName = object::type_name::kPropertyString;
  static constexpr char const* kValidValues = "Any text";
};
template <>
struct PrimitiveTraits<std::int64_t> {
  static constexpr char const* kTypeName = object::type_name::kPropertyInteger;
  static constexpr char const* kValidValues = "Any integer";
};
template <>
struct PrimitiveTraits<std::vector<std::string>> {
  static constexpr char const* kTypeName = object::type_name::kPropertyStringList;
  static constexpr char const* kValidValues = "Any list of texts";
};
}  // namespace detail

// A property holding one value as a whole: "orv.property.Bool" for bool,
// "orv.property.String" for std::string, "orv.property.Integer" for
// std::int64_t and "orv.property.StringList" for std::vector<std::string> (a
// list set and read as one value, such as the recipients of a mail; it has no
// element operations).
template <class T>
class ORV_PROPERTY_API Primitive : public Property {
 public:
  static constexpr char const* kTypeName = detail::PrimitiveTraits<T>::kTypeName;

  Primitive(std::string name, T value, std::string description, std::string extra)
      : Property(object::TypeIdOf<Primitive>, std::move(name), std::move(description), std::move(extra)),
        value_(std::move(value)) {}
  Primitive(Primitive const&) = default;

  T const& Get() const noexcept { return value_; }

  // Takes the value of an object primitive or a property of the same value
  // type. Any other object throws the orv::type::BadCast of
  // external::Convert, so that a property whose value lives elsewhere reports
  // the same failure whichever layer meets it first.
  void Set(object::Object const& value) override;
  virtual void Set(T value) { value_ = std::move(value); }

  // True for a property of the same type with the same value, name,
  // description and extra text.
  bool EqualTo(object::Object const& other) const override;

  std::ostream& DescribeValidValues(std::ostream& out) const override;

  std::shared_ptr<Property> Clone() const override;

 private:
  T value_;
};

// Built once, in the property library.
extern template class Primitive<bool>;
extern template class Primitive<std::string>;
extern template class Primitive<std::int64_t>;
extern template class Primitive<std::vector<std::string>>;

template <class T>
void Primitive<T>::Set(object::Object const& value) {
  value_ = external::Convert<T>(value);
}

template <class T>
bool Primitive<T>::EqualTo(object::Object const& other) const {
  if (other.GetTypeNameId() != GetTypeNameId()) {
    return false;
  }
  auto const& primitive = other.As<Primitive>();
  return primitive.value_ == value_ && Property::operator==(primitive);
}

template <class T>
std::ostream& Primitive<T>::DescribeValidValues(std::ostream& out) const {
  return out << detail::PrimitiveTraits<T>::kValidValues;
}

template <class T>
std::shared_ptr<Property> Primitive<T>::Clone() const {
  return std::make_shared<Primitive>(*this);
}

}  // namespace orv::property
