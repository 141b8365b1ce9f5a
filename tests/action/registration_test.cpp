#include "orv/action/registration.hpp"

#include <gtest/gtest.h>

#include <boost/filesystem/operations.hpp>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "collision.hpp"
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

// Two types whose distinct names have the same id.
template <char const* const* Name>
class Colliding : public Action {
 public:
  static constexpr char const* kTypeName = *Name;
  static std::vector<property::Schema> GetSchemas() { return {}; }
  Colliding() : Action(hash::MurmurThree32(kTypeName), {}) {}
  Result Execute(std::shared_ptr<meta::data::Event const>) const override {
    return std::make_shared<std::string const>(kTypeName);
  }
};
Registration<Colliding<&test::kCollidingFirst>> const kCollidingFirst;
Registration<Colliding<&test::kCollidingSecond>> const kCollidingSecond;

// The refusals of `typeName` so far.
std::vector<registry::Refusal> RefusalsOf(std::string const& typeName) {
  std::vector<registry::Refusal> found;
  for (auto& refusal : registry::GetRefusals()) {
    if (refusal.typeName == typeName) {
      found.push_back(std::move(refusal));
    }
  }
  return found;
}

boost::filesystem::path const kProgram = boost::filesystem::read_symlink("/proc/self/exe");

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

TEST(Registration, ASecondRegistrationOfTheSameTypeIsRefusedAndReported) {
  EXPECT_TRUE(RefusalsOf(Registered::kTypeName).empty());
  Registration<Registered> const again;
  EXPECT_FALSE(again.IsRegistered());
  EXPECT_NE(Action::Make(hash::MurmurThree32(Registered::kTypeName)), nullptr);

  auto const refusals = RefusalsOf(Registered::kTypeName);
  ASSERT_EQ(refusals.size(), 1U);
  EXPECT_EQ(refusals[0].typeNameId, hash::MurmurThree32(Registered::kTypeName));
  // The type names' texts are in this program.
  EXPECT_EQ(refusals[0].file, kProgram);
  EXPECT_EQ(refusals[0].holderTypeName, Registered::kTypeName);
  EXPECT_EQ(refusals[0].holderFile, kProgram);
  EXPECT_EQ(registry::Describe(refusals[0]),
            "orv.test.registration.Registered from " + kProgram.string() +
                " was refused: its id 0xe6e07c17 is held by orv.test.registration.Registered from " +
                kProgram.string() + ", the same type name registered first");
}

TEST(Registration, ASecondNameWithTheSameIdIsRefusedAndReported) {
  EXPECT_TRUE(kCollidingFirst.IsRegistered());
  EXPECT_FALSE(kCollidingSecond.IsRegistered());
  hash::MurmurThree32 const id(test::kCollidingFirst);
  EXPECT_STREQ(Action::TypeName(id), test::kCollidingFirst);
  auto const result = std::static_pointer_cast<std::string const>(Action::Make(id)->Test("x"));
  EXPECT_EQ(*result, test::kCollidingFirst);

  EXPECT_TRUE(RefusalsOf(test::kCollidingFirst).empty());
  auto const refusals = RefusalsOf(test::kCollidingSecond);
  ASSERT_EQ(refusals.size(), 1U);
  EXPECT_EQ(refusals[0].typeNameId, id);
  EXPECT_EQ(refusals[0].file, kProgram);
  EXPECT_EQ(refusals[0].holderTypeName, test::kCollidingFirst);
  EXPECT_EQ(refusals[0].holderFile, kProgram);
  EXPECT_EQ(registry::Describe(refusals[0]),
            "orv.test.collision.Type129469 from " + kProgram.string() +
                " was refused: its id 0x35e3cf75 is held by orv.test.collision.Type51627 from " + kProgram.string() +
                ", another type name with the same id registered first");
}

TEST(Describe, LeavesOutFilesThatAreNotKnown) {
  registry::Refusal const refusal{
      "orv.test.A", hash::MurmurThree32(hash::MurmurThree32::Data{1, 0, 0, 0}), {}, "orv.test.B", {}};
  EXPECT_EQ(registry::Describe(refusal),
            "orv.test.A was refused: its id 0x00000001 is held by orv.test.B, another type name with the same id "
            "registered first");
  registry::Refusal const oneFile{"", hash::MurmurThree32(hash::MurmurThree32::Data{0, 0, 0, 0xab}), "/a/b.so", "", {}};
  EXPECT_EQ(registry::Describe(oneFile),
            "a type without a name from /a/b.so was refused: its id 0xab000000 is held by a type without a name, the "
            "same type name registered first");
}

}  // namespace
}  // namespace orv::action
