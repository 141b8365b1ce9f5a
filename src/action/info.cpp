#include <utility>

#include "orv/action/registry.hpp"

namespace orv::action::registry {

Info::Info(hash::MurmurThree32 typeNameId, char const* typeName, Make make, Schemas schemas)
    : typeNameId_(typeNameId), typeName_(typeName), make_(std::move(make)), schemas_(std::move(schemas)) {}

// noexcept turns an empty or throwing schemas function into std::terminate.
std::vector<property::Schema> Info::GetSchemas() const noexcept { return schemas_(); }

}  // namespace orv::action::registry
