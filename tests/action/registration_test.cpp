#include "orv/action/registration.hpp"

#include <gtest/gtest.h>

#include <memory>
#include <vector>

#include "orv/arm/state.hpp"

namespace orv::action {
namespace {

// A concrete type registered the way a plug-in registers its types.
class Registered : public Action {
 public:
  static constexpr char const* kTypeName = "orv.test.registration.Registered";
  static std::vector<property::Schema> GetSchemas() {
    auto binder = [](std::shared_ptr<property::Property>, std::shared_ptr<void>, property::context::Direction) {};
    return {property::Schema(nullptr, binder)};
  }
  Registered() : Action(hash::MurmurThree32(kTypeName), {}) {}
  Result Execute(std::shared_ptr<meta::data::Event const> event) const override {
    return std::make_shared<std::string const>(event->GetName());
  }
};

Registration<Registered> const kRegistration;

TEST(Registration, RegistersTheTypeAtLoadTime) {
  EXPECT_TRUE(kRegistration.IsRegistered());
  hash::MurmurThree32 const id(Registered::kTypeName);
  EXPECT_EQ(Action::TypeName(id), Registered::kTypeName);

  auto const action = Action::Make(id);
  ASSERT_NE(action, nullptr);
  EXPECT_EQ(action->GetTypeNameId(), id);
  EXPECT_EQ(action->GetTypeName(), Registered::kTypeName);
  auto const result = std::static_pointer_cast<std::string const>(action->Test("made by the registry"));
  ASSERT_NE(result, nullptr);
  EXPECT_EQ(*result, "made by the registry");
}

TEST(Registration, RegistersTheSchemasFunction) {
  auto const map = registry::Get().GetMap();
  auto const it = map->find(hash::MurmurThree32(Registered::kTypeName));
  ASSERT_NE(it, map->end());
  EXPECT_EQ(it->second.GetSchemas().size(), 1U);
}

TEST(Registration, ActionsItMakesEndTheirSubscriptionsWhenDestroyed) {
  auto const observable = std::make_shared<observable::Observable>(1);
  {
    auto action = Action::Make(hash::MurmurThree32(Registered::kTypeName));
    action->AddObservable(observable);
    EXPECT_EQ(observable->GetSubscriptionCount(), 1U);
  }
  EXPECT_EQ(observable->GetSubscriptionCount(), 0U);
}

TEST(Registration, ASecondRegistrationOfTheSameTypeIsRefused) {
  Registration<Registered> const again;
  EXPECT_FALSE(again.IsRegistered());
  EXPECT_NE(Action::Make(hash::MurmurThree32(Registered::kTypeName)), nullptr);
}

}  // namespace
}  // namespace orv::action
