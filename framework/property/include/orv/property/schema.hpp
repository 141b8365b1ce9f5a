#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <string>

#include "orv/property/context.hpp"
#include "orv/property/export.hpp"
#include "orv/property/external.hpp"
#include "orv/property/property.hpp"

namespace orv::property {

// A configurable setting of a type: a template property, which never has an
// owner, and the binder that attaches a property made from it to one owner.
//
// A type lists its schemas; a host instantiates each for one object (an
// action) and then reads and writes that object through the properties.
class ORV_PROPERTY_API Schema {
 public:
  // Attaches `property` to `owner`; with Direction::ToOwner it also pushes the
  // property's value into the owner.
  using Binder = std::function<void(std::shared_ptr<Property> property, std::shared_ptr<void> owner,
                                    context::Direction direction)>;

  Schema(std::shared_ptr<Property> property, Binder binder);

  // A scalar setting whose value lives in an Owner, read by `get` and written
  // by `set`; the template property starts at T() (false, empty text, 0,
  // empty list).
  template <class Owner, class T, std::size_t N>
  Schema(std::string name, void (*set)(Owner*, T), T (*get)(Owner const*), char const (&description)[N])
      : Schema(std::make_shared<External<T>>(std::move(name), std::shared_ptr<Owner>(), set, get,
                                             std::string(description))) {}

  // An array of observables that lives in an Owner, with its element
  // functions; the template property starts empty.
  template <class Owner, std::size_t N>
  Schema(std::string name, void (*set)(Owner*, Property::Observables), Property::Observables (*get)(Owner const*),
         void (*add)(Owner*, std::shared_ptr<observable::Observable const>),
         void (*erase)(Owner*, std::shared_ptr<observable::Observable const>),
         void (*setAt)(Owner*, unsigned long, std::shared_ptr<observable::Observable const>),
         char const (&description)[N])
      : Schema(std::make_shared<External<Property::Observables>>(std::move(name), std::shared_ptr<Owner>(), set, get,
                                                                 add, erase, setAt, std::string(description))) {}

  // Schemas of an external property: the binder replaces the owner of the
  // External<T> it is handed and, with Direction::ToOwner and an owner, pushes
  // the property's value into it.
  template <class T>
  explicit Schema(std::shared_ptr<External<T>> property)
      : Schema(std::shared_ptr<Property>(std::move(property)),
               [](std::shared_ptr<Property> bound, std::shared_ptr<void> owner, context::Direction direction) {
                 if (bound) {
                   static_cast<External<T>&>(*bound).Bind(std::move(owner), direction);
                 }
               }) {}

  // The template property.
  std::shared_ptr<Property> const& GetProperty() const noexcept { return property_; }

  // Runs the binder on `property` (normally one made from this schema).
  void Bind(std::shared_ptr<Property> property, std::shared_ptr<void> owner, context::Direction direction) const;

  // A copy of the template property bound to `owner`: the live property of
  // one object.
  std::shared_ptr<Property> Instantiate(std::shared_ptr<void> owner, context::Direction direction) const;

 private:
  std::shared_ptr<Property> property_;
  Binder binder_;
};

}  // namespace orv::property
