#include "orv/property/property.hpp"

#include <stdexcept>
#include <utility>

#include "orv/property/array.hpp"

namespace orv::property {

Property::Property(hash::MurmurThree32 typeNameId, std::string name, std::string description, std::string extra)
    : Object(typeNameId), name_(std::move(name)), description_(std::move(description)), extra_(std::move(extra)) {}

Property::~Property() = default;

void Property::SetAt(unsigned long, object::Object&) {
  throw std::logic_error("Cannot set an element of the property '" + name_ + "': it is not an array");
}

void Property::Add(object::Object&) {
  throw std::logic_error("Cannot add an element to the property '" + name_ + "': it is not an array");
}

void Property::Erase(object::Object&) {
  throw std::logic_error("Cannot erase an element from the property '" + name_ + "': it is not an array");
}

object::Object const& Property::GetObject() const { return *this; }

std::shared_ptr<Property const> Property::Read() const { return Clone(); }

Property& Property::operator=(Observables values) {
  ObservableArray const temporary(name_, values, description_, extra_);
  Set(temporary);
  return *this;
}

bool Property::operator==(Property const& other) const noexcept {
  return GetTypeNameId() == other.GetTypeNameId() && name_ == other.name_ && description_ == other.description_ &&
         extra_ == other.extra_;
}

}  // namespace orv::property
