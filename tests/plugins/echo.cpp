#include "echo.hpp"

#include "orv/action/properties.hpp"
#include "orv/action/registration.hpp"

namespace orv::test {

std::vector<property::Schema> Echo::GetSchemas() { return action::properties::Make({}); }

namespace {
action::Registration<Echo> const kEchoRegistration;
}  // namespace

}  // namespace orv::test
