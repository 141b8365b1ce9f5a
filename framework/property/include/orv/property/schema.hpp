#pragma once

#include <functional>
#include <memory>

#include "orv/property/context.hpp"

namespace orv::property {

class Property;

// A configurable setting of a type: a template property, which never has an
// owner, and the binder that attaches a property made from it to one owner.
class Schema {
 public:
  // Attaches `property` to `owner`; with Direction::ToOwner it also pushes the
  // property's value into the owner.
  using Binder = std::function<void(std::shared_ptr<Property> property, std::shared_ptr<void> owner,
                                    context::Direction direction)>;

  Schema(std::shared_ptr<Property> property, Binder binder);

  // The template property.
  std::shared_ptr<Property> const& GetProperty() const noexcept { return property_; }

  // Runs the binder on `property` (normally one made from this schema).
  void Bind(std::shared_ptr<Property> property, std::shared_ptr<void> owner, context::Direction direction) const;

 private:
  std::shared_ptr<Property> property_;
  Binder binder_;
};

}  // namespace orv::property
