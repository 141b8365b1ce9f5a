// An action plug-in with one type whose name is given at build time
// (ORV_TEST_TYPE_NAME: a string literal, or one of the colliding names of
// collision.hpp), built several times: to register one type name twice, or two
// names with the same id. Its actions return ORV_TEST_PLUGIN_MARK, so
// that a test can tell whose type the registry kept.
#include <memory>
#include <string>
#include <vector>

#include "collision.hpp"
#include "orv/action/properties.hpp"
#include "orv/action/registration.hpp"

namespace orv::test {
namespace {

class Named : public action::Action {
 public:
  static constexpr char const* kTypeName = ORV_TEST_TYPE_NAME;
  static std::vector<property::Schema> GetSchemas() { return action::properties::Make({}); }
  Named() : Action(hash::MurmurThree32(kTypeName), {}) {}
  Result Execute(std::shared_ptr<meta::data::Event const>) const override {
    return std::make_shared<std::string const>(ORV_TEST_PLUGIN_MARK);
  }
};

action::Registration<Named> const kNamedRegistration;

}  // namespace
}  // namespace orv::test
