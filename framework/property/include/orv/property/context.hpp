#pragma once

#include <memory>

#include "orv/property/export.hpp"

namespace orv::property::context {

// Which way a binder moves the value when it attaches a property to its owner.
enum class Direction {
  // Push the property's current value into the owner at once.
  ToOwner = 0,
  // Only attach the owner; the property reads from it later (GetObject).
  FromOwner = 1,
};

// Verifies an owner before a property writes into it: throws
// std::invalid_argument when `owner` is empty.
ORV_PROPERTY_API void Check(std::shared_ptr<void const> const& owner);

}  // namespace orv::property::context
