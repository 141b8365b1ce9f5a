#include "echo.hpp"

#include "orv/action/registration.hpp"

namespace orv::test {

std::vector<property::Schema> Echo::GetSchemas() { return {}; }

namespace {
action::Registration<Echo> const kEchoRegistration;
}  // namespace

}  // namespace orv::test
