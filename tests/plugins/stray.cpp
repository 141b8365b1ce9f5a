// A plug-in that sits outside liborv_action's directory: the loader must never
// load it, whatever the working directory.
#include <memory>
#include <vector>

#include "orv/action/registration.hpp"

namespace orv::test {
namespace {

class Stray : public action::Action {
 public:
  static constexpr char const* kTypeName = "orv.test.plugin.Stray";
  static std::vector<property::Schema> GetSchemas() { return {}; }
  Stray() : Action(hash::MurmurThree32(kTypeName), {}) {}
  Result Execute(std::shared_ptr<meta::data::Event const>) const override { return nullptr; }
};

action::Registration<Stray> const kStrayRegistration;

}  // namespace
}  // namespace orv::test
