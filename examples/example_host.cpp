// A small host: one action of an example type listens to two rules, and the
// rules fire while the device is disarmed and then armed.

#include <chrono>
#include <iostream>
#include <memory>
#include <string>

#include "orv/action/action.hpp"
#include "orv/arm/state.hpp"
#include "orv/meta/data/observable.hpp"

namespace {

// The example action type: prints what it was given.
class PrintAction : public orv::action::Action {
 public:
  static constexpr char kTypeName[] = "orv.example.Print";

  explicit PrintAction(std::ostream& out) : Action(orv::hash::MurmurThree32(kTypeName), {}), out_(out) {}

  Result Execute(std::shared_ptr<orv::meta::data::Event const> event) const override {
    out_ << "  action " << GetId() << " '" << GetName() << "' executed for event '" << event->GetName() << "' ("
         << event->GetType() << ")\n";
    return {};
  }

 private:
  std::ostream& out_;
};

std::shared_ptr<orv::meta::data::Event> MakeEvent(std::string name, std::uint32_t ruleId) {
  return std::make_shared<orv::meta::data::Event>(
      std::move(name), "motion", "video", std::chrono::system_clock::now(),
      orv::meta::data::Objects{std::make_shared<orv::meta::data::Observable const>(ruleId)});
}

void Publish(orv::observable::Observable& rule, std::string const& name) {
  std::cout << "rule " << rule.GetId() << " publishes '" << name << "'\n";
  rule.Publish(MakeEvent(name, rule.GetId()));
}

}  // namespace

int main() {
  auto const frontDoor = std::make_shared<orv::observable::Observable>(1);
  auto const backYard = std::make_shared<orv::observable::Observable>(2);

  auto const action = orv::action::MakeShared<PrintAction>(std::cout);
  action->SetName("print");
  action->AddObservable(frontDoor);
  action->AddObservable(backYard);

  std::cout << "disarmed:\n";
  orv::arm::SetState(0);
  Publish(*frontDoor, "person at the front door");
  Publish(*backYard, "car in the back yard");

  std::cout << "armed:\n";
  orv::arm::SetState(1);
  Publish(*frontDoor, "person at the front door");
  Publish(*backYard, "car in the back yard");

  std::cout << "disarmed, always trigger on:\n";
  orv::arm::SetState(0);
  action->SetAlwaysTrigger(true);
  Publish(*frontDoor, "person at the front door");
  return 0;
}
