#include "orv/property/schema.hpp"

#include <utility>

namespace orv::property {

Schema::Schema(std::shared_ptr<Property> property, Binder binder)
    : property_(std::move(property)), binder_(std::move(binder)) {}

void Schema::Bind(std::shared_ptr<Property> property, std::shared_ptr<void> owner, context::Direction direction) const {
  binder_(std::move(property), std::move(owner), direction);
}

std::shared_ptr<Property> Schema::Instantiate(std::shared_ptr<void> owner, context::Direction direction) const {
  std::shared_ptr<Property> property = property_->Clone();
  Bind(property, std::move(owner), direction);
  return property;
}

}  // namespace orv::property
