// An action plug-in as a real one is: it registers one type at load time.
#include <memory>
#include <vector>

#include "orv/action/properties.hpp"
#include "orv/action/registration.hpp"

namespace {

class BenchAction : public orv::action::Action {
 public:
  static constexpr char const* kTypeName = "orv.bench.Action";
  static std::vector<orv::property::Schema> GetSchemas() { return orv::action::properties::Make({}); }
  BenchAction() : Action(orv::hash::MurmurThree32(kTypeName), {}) {}
  Result Execute(std::shared_ptr<orv::meta::data::Event const>) const override { return nullptr; }
};

orv::action::Registration<BenchAction> const kRegistration;

}  // namespace
