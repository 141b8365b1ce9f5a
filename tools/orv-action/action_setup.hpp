#pragma once

#include <memory>
#include <string>
#include <vector>

#include "orv/action/action.hpp"
#include "orv/property/property.hpp"

namespace orv::tool {

// An action made through the registry, with the live property of each of its
// schemas, in the order of the schemas.
struct ConfigurableAction {
  std::shared_ptr<action::Action> action;
  std::vector<std::shared_ptr<property::Property>> properties;

  // The property named `name`; throws InputError naming the action's type and
  // the properties it has.
  property::Property& Get(std::string const& name) const;
};

// The registered type names, in ascending order.
std::vector<std::string> GetRegisteredTypeNames();

// Makes an action of the registered type `typeName` and binds a property of
// each of its schemas to it. Throws InputError naming the registered types
// when `typeName` is not one of them.
ConfigurableAction MakeConfigurableAction(std::string const& typeName);

}  // namespace orv::tool
