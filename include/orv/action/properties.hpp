#pragma once

#include <vector>

#include "orv/action/export.hpp"
#include "orv/property/schema.hpp"

namespace orv::action::properties {

// Appends the three schemas every action has to a concrete type's own
// `schemas` and returns the same vector (moved, the type's schemas first):
// - "name" (text): "A user-defined name for this action";
// - "observables" (array of observables): "An array of indexes of observables
//   associated with this action";
// - "always_trigger" (bool): "A boolean specifying whether this action
//   triggers irrespective of the armed state of the device".
// Each is an external property of an orv::action::Action: a host instantiates
// it for one action (Schema::Instantiate with the action as owner) and the
// property then reads and writes that action's name, observables and flag.
ORV_ACTION_API std::vector<property::Schema> Make(std::vector<property::Schema> schemas);

}  // namespace orv::action::properties
