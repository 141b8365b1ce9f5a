#pragma once

#include <memory>
#include <ostream>
#include <string>
#include <vector>

#include "orv/object/pointer.hpp"
#include "orv/property/export.hpp"
#include "orv/property/property.hpp"

namespace orv::property::array::detail {

template <class Element>
class Impl;

// An array property whose elements are typed pointers
// ("orv.property.Array.ConstPointer"), here pointers to observables.
template <>
class ORV_PROPERTY_API Impl<object::ConstPointer> : public Property {
 public:
  static constexpr char const* kTypeName = object::type_name::kPropertyArrayConstPointer;
  using Elements = std::vector<object::ConstPointer>;

  // One element per value, in order, each pointing at an
  // "orv.observable.Observable".
  Impl(std::string name, Observables const& values, std::string description, std::string extra);
  Impl(Impl const&) = default;
  ~Impl() override;

  using Property::operator=;

  Elements const& GetElements() const noexcept { return elements_; }
  hash::MurmurThree32 const& GetElementType() const noexcept { return elementType_; }

  // Replaces the elements by those of another array of this type
  // (orv::object::BadCast otherwise).
  void Set(object::Object const& value) override;
  // Same elements in the same order, same element type and same base parts.
  bool EqualTo(object::Object const& other) const override;
  // Writes "Any valid array".
  std::ostream& DescribeValidValues(std::ostream& out) const override;
  // Sets the element at `index` from a pointer object; std::out_of_range past
  // the end, std::invalid_argument for a pointer of another pointee type.
  void SetAt(unsigned long index, object::Object& element) override;
  // Appends a copy of a pointer object.
  void Add(object::Object& element) override;
  // Removes every element equal to a pointer object, keeping the order of the
  // rest; an absent element changes nothing.
  void Erase(object::Object& element) override;
  std::shared_ptr<Property> Clone() const override;

 protected:
  // Appends `element` without any other effect.
  void Append(object::ConstPointer const& element) { elements_.push_back(element); }
  // Sets the element at `index` as SetAt does.
  void Replace(unsigned long index, object::ConstPointer const& element);

 private:
  hash::MurmurThree32 elementType_;
  Elements elements_;
};

}  // namespace orv::property::array::detail

namespace orv::property {
// The array property of observables.
using ObservableArray = array::detail::Impl<object::ConstPointer>;
}  // namespace orv::property
