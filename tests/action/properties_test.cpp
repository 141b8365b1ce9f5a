#include "orv/action/properties.hpp"

#include <gtest/gtest.h>

#include <atomic>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "orv/action/registration.hpp"
#include "orv/arm/state.hpp"
#include "orv/object/pointer.hpp"
#include "orv/object/primitive.hpp"
#include "orv/property/external.hpp"
#include "probe.hpp"

namespace orv::action {
namespace {

using property::Schema;
using ObservablePtr = std::shared_ptr<observable::Observable const>;

hash::MurmurThree32 const kObservableId("orv.observable.Observable");

// A concrete type with one schema of its own, registered like a plug-in's: its
// value lives in the action and is reached through accessors of the action.
class Configurable : public test::Probe {
 public:
  static constexpr char const* kTypeName = "orv.test.properties.Configurable";
  static std::vector<Schema> GetSchemas() { return properties::Make({MakeOwnSchema()}); }
  Configurable() : Probe(hash::MurmurThree32(kTypeName)) {}

  static Schema MakeOwnSchema() { return Schema("recipient", &SetRecipient, &GetRecipient, "Who gets the mail"); }

  std::string recipient;

 private:
  // The host binds properties to the action as an Action.
  static std::string GetRecipient(Action const* action) { return static_cast<Configurable const*>(action)->recipient; }
  static void SetRecipient(Action* action, std::string recipient) {
    static_cast<Configurable*>(action)->recipient = std::move(recipient);
  }
};

Registration<Configurable> const kRegistration;

std::vector<std::string> Names(std::vector<Schema> const& schemas) {
  std::vector<std::string> names;
  for (auto const& schema : schemas) {
    names.push_back(schema.GetProperty()->GetName());
  }
  return names;
}

TEST(Make, AppendsTheThreeCommonSchemas) {
  auto const schemas = properties::Make({});
  ASSERT_EQ(Names(schemas), (std::vector<std::string>{"name", "observables", "always_trigger"}));
  EXPECT_EQ(schemas[0].GetProperty()->GetDescription(), "A user-defined name for this action");
  EXPECT_EQ(schemas[1].GetProperty()->GetDescription(),
            "An array of indexes of observables associated with this action");
  EXPECT_EQ(schemas[2].GetProperty()->GetDescription(),
            "A boolean specifying whether this action triggers irrespective of the armed state of the device");
  EXPECT_EQ(schemas[0].GetProperty()->GetTypeNameId(), hash::MurmurThree32("orv.property.String"));
  EXPECT_EQ(schemas[1].GetProperty()->GetTypeNameId(), hash::MurmurThree32("orv.property.Array.ConstPointer"));
  EXPECT_EQ(schemas[2].GetProperty()->GetTypeNameId(), hash::MurmurThree32("orv.property.Bool"));
  for (auto const& schema : schemas) {
    EXPECT_EQ(schema.GetProperty()->GetExtra(), "");
  }
}

TEST(Make, KeepsThePlugInsSchemasFirstAndUnchanged) {
  Schema const first = Configurable::MakeOwnSchema();
  Schema const second = Configurable::MakeOwnSchema();
  auto const schemas = properties::Make({first, second});
  ASSERT_EQ(Names(schemas),
            (std::vector<std::string>{"recipient", "recipient", "name", "observables", "always_trigger"}));
  EXPECT_EQ(schemas[0].GetProperty(), first.GetProperty());
  EXPECT_EQ(schemas[1].GetProperty(), second.GetProperty());
}

TEST(Make, TemplatePropertiesHoldTheEmptyValues) {
  auto const schemas = properties::Make({});
  EXPECT_EQ(static_cast<property::Primitive<std::string> const&>(schemas[0].GetProperty()->GetObject()).Get(), "");
  EXPECT_TRUE(
      static_cast<property::ObservableArray const&>(schemas[1].GetProperty()->GetObject()).GetElements().empty());
  EXPECT_FALSE(static_cast<property::Primitive<bool> const&>(schemas[2].GetProperty()->GetObject()).Get());
}

// What a host does: make an action through the registry, give each of its
// schemas a live property bound to it, configure it through those, then let
// events flow.
class EndToEnd : public testing::Test {
 protected:
  void SetUp() override {
    arm::SetState(0);
    action_ = Action::Make(hash::MurmurThree32(Configurable::kTypeName));
    ASSERT_NE(action_, nullptr);
    action_->SetName("set before binding");
    std::vector<Schema> schemas;
    {
      auto const map = registry::Get().GetMap();
      schemas = map->at(hash::MurmurThree32(Configurable::kTypeName)).GetSchemas();
    }
    ASSERT_EQ(Names(schemas), (std::vector<std::string>{"recipient", "name", "observables", "always_trigger"}));
    name_ = schemas[1].Instantiate(action_, property::context::Direction::ToOwner);
    observables_ = schemas[2].Instantiate(action_, property::context::Direction::FromOwner);
    alwaysTrigger_ = schemas[3].Instantiate(action_, property::context::Direction::FromOwner);
  }
  void TearDown() override { arm::SetState(0); }

  std::vector<std::string> Executed() const {
    std::vector<std::string> names;
    for (auto const& event : std::static_pointer_cast<test::Probe const>(action_)->GetEvents()) {
      names.push_back(event->GetName());
    }
    return names;
  }

  static void Publish(observable::Observable& observable, std::string name) {
    observable.Publish(std::make_shared<meta::data::Event>(std::move(name), "type", "category", meta::data::TimePoint{},
                                                           meta::data::Objects{}));
  }

  static object::ConstPointer PointerTo(ObservablePtr const& observable) { return {observable, kObservableId}; }

  std::shared_ptr<Action> action_;
  std::shared_ptr<property::Property> name_;
  std::shared_ptr<property::Property> observables_;
  std::shared_ptr<property::Property> alwaysTrigger_;
  std::shared_ptr<observable::Observable> const first_ = std::make_shared<observable::Observable>(1);
  std::shared_ptr<observable::Observable> const second_ = std::make_shared<observable::Observable>(2);
};

TEST_F(EndToEnd, BindingTowardsTheActionPushesTheTemplateValue) { EXPECT_EQ(action_->GetName(), ""); }

TEST_F(EndToEnd, ATypesOwnSchemaReachesItsAction) {
  auto const& schemas = registry::Get().GetMap()->at(hash::MurmurThree32(Configurable::kTypeName)).GetSchemas();
  auto const recipient = schemas.at(0).Instantiate(action_, property::context::Direction::FromOwner);
  recipient->Set(object::Primitive<std::string>("guard@example.org"));
  EXPECT_EQ(std::static_pointer_cast<Configurable>(action_)->recipient, "guard@example.org");
  std::static_pointer_cast<Configurable>(action_)->recipient = "desk@example.org";
  EXPECT_EQ(static_cast<property::Primitive<std::string> const&>(recipient->GetObject()).Get(), "desk@example.org");
}

TEST_F(EndToEnd, ConfiguresTheActionAndGatesItsEvents) {
  name_->Set(object::Primitive<std::string>("front door"));
  EXPECT_EQ(action_->GetName(), "front door");
  EXPECT_EQ(static_cast<property::Primitive<std::string> const&>(name_->GetObject()).Get(), "front door");

  auto first = PointerTo(first_);
  auto second = PointerTo(second_);
  observables_->Add(first);
  observables_->Add(second);
  EXPECT_EQ(action_->GetObservables(), (std::vector<ObservablePtr>{first_, second_}));
  observables_->Erase(first);
  EXPECT_EQ(action_->GetObservables(), std::vector<ObservablePtr>{second_});
  EXPECT_EQ(first_->GetSubscriptionCount(), 0U);
  EXPECT_EQ(second_->GetSubscriptionCount(), 1U);

  // Disarmed, not always triggering: nothing runs.
  Publish(*second_, "disarmed");
  EXPECT_TRUE(Executed().empty());

  alwaysTrigger_->Set(object::Primitive<bool>(true));
  EXPECT_TRUE(action_->GetAlwaysTrigger());
  Publish(*second_, "always");
  Publish(*first_, "erased observable");
  EXPECT_EQ(Executed(), std::vector<std::string>{"always"});

  alwaysTrigger_->Set(object::Primitive<bool>(false));
  Publish(*second_, "gated again");
  arm::SetState(1);
  Publish(*second_, "armed");
  EXPECT_EQ(Executed(), (std::vector<std::string>{"always", "armed"}));
  EXPECT_FALSE(static_cast<property::Primitive<bool> const&>(alwaysTrigger_->GetObject()).Get());
}

TEST_F(EndToEnd, SetAtReplacesAnObservableOfTheAction) {
  auto first = PointerTo(first_);
  auto second = PointerTo(second_);
  observables_->Add(first);
  observables_->SetAt(0, second);
  EXPECT_EQ(action_->GetObservables(), std::vector<ObservablePtr>{second_});
  EXPECT_EQ(first_->GetSubscriptionCount(), 0U);
  EXPECT_EQ(second_->GetSubscriptionCount(), 1U);
}

TEST_F(EndToEnd, RefreshingTheObservablesWritesTheSameListBackWithoutDoublingSubscriptions) {
  action_->SetObservables({first_, second_});
  auto const& refreshed = static_cast<property::ObservableArray const&>(observables_->GetObject());
  ASSERT_EQ(refreshed.GetElements().size(), 2U);
  EXPECT_EQ(refreshed.GetElements()[0].Get<observable::Observable>(), first_);
  EXPECT_EQ(refreshed.GetElements()[1].Get<observable::Observable>(), second_);
  EXPECT_EQ(action_->GetObservables(), (std::vector<ObservablePtr>{first_, second_}));
  EXPECT_EQ(first_->GetSubscriptionCount(), 1U);
  EXPECT_EQ(second_->GetSubscriptionCount(), 1U);
  arm::SetState(1);
  Publish(*first_, "once");
  EXPECT_EQ(Executed(), std::vector<std::string>{"once"});
}

// An action subscribed before another subscriber of the same observable is
// delivered to first; a re-subscription would put it last.
TEST_F(EndToEnd, ReadingEveryPropertyManyTimesCallsNoSetter) {
  action_->SetObservables({first_});
  alwaysTrigger_->Set(object::Primitive<bool>(true));
  name_->Set(object::Primitive<std::string>("front door"));
  std::vector<std::string> order;
  auto const later = first_->Bind(
      [&](std::shared_ptr<meta::data::Event const> event) { order.push_back("later saw " + event->GetName()); });
  for (int read = 0; read < 100; ++read) {
    EXPECT_EQ(name_->Read()->As<property::Primitive<std::string>>().Get(), "front door");
    EXPECT_TRUE(alwaysTrigger_->Read()->As<property::Primitive<bool>>().Get());
    auto const list = observables_->Read();
    ASSERT_EQ(list->As<property::ObservableArray>().GetElements().size(), 1U);
    EXPECT_EQ(list->As<property::ObservableArray>().GetElements()[0].Get<observable::Observable>(), first_);
  }
  Publish(*first_, "after the reads");
  order.insert(order.begin(), Executed().size() == 1 ? "action ran" : "action did not run");
  EXPECT_EQ(order, (std::vector<std::string>{"action ran", "later saw after the reads"}));
  EXPECT_EQ(first_->GetSubscriptionCount(), 2U);
}

// The counterpart kept for GetObject: its refresh writes the list back, which
// re-subscribes the action behind the later subscriber.
TEST_F(EndToEnd, GetObjectOfTheObservablesResubscribesTheAction) {
  action_->SetObservables({first_});
  alwaysTrigger_->Set(object::Primitive<bool>(true));
  std::vector<std::string> order;
  auto const later = first_->Bind([&](std::shared_ptr<meta::data::Event const>) {
    order.push_back(Executed().empty() ? "later first" : "action first");
  });
  observables_->GetObject();
  Publish(*first_, "after the refresh");
  EXPECT_EQ(order, std::vector<std::string>{"later first"});
  EXPECT_EQ(Executed(), std::vector<std::string>{"after the refresh"});
}

TEST_F(EndToEnd, AnEventPublishedWhileAnotherThreadReadsTheObservablesIsAlwaysDelivered) {
  constexpr int kEvents = 2000;
  action_->SetObservables({first_});
  alwaysTrigger_->Set(object::Primitive<bool>(true));
  std::atomic<bool> reading{false};
  std::atomic<bool> done{false};
  std::thread publisher([&] {
    while (!reading.load()) {
      std::this_thread::yield();
    }
    for (int i = 0; i < kEvents; ++i) {
      Publish(*first_, "event");
    }
    done = true;
  });
  long reads = 0;
  do {
    reads += static_cast<long>(observables_->Read()->As<property::ObservableArray>().GetElements().size());
    reading = true;
  } while (!done.load());
  publisher.join();
  EXPECT_GT(reads, 1);
  EXPECT_EQ(Executed().size(), static_cast<std::size_t>(kEvents));
}

TEST_F(EndToEnd, PropertiesKeepTheActionAlive) {
  std::weak_ptr<Action> const weak = action_;
  action_.reset();
  EXPECT_FALSE(weak.expired());
  name_.reset();
  observables_.reset();
  alwaysTrigger_.reset();
  EXPECT_TRUE(weak.expired());
}

}  // namespace
}  // namespace orv::action
