#include <iostream>
#include <memory>

#include "orv/action/action.hpp"
#include "orv/arm/state.hpp"

class Consumed : public orv::action::Action {
 public:
  Consumed() : Action(orv::hash::MurmurThree32("orv.consumer.Consumed"), {}) {}
  Result Execute(std::shared_ptr<orv::meta::data::Event const> event) const override {
    std::cout << "executed '" << GetName() << "' for '" << event->GetName() << "'\n";
    return {};
  }
};

int main() {
  auto const rule = std::make_shared<orv::observable::Observable>(1);
  auto const action = orv::action::MakeShared<Consumed>();
  action->SetName("installed");
  action->AddObservable(rule);
  auto const publish = [&](char const* name) {
    rule->Publish(std::make_shared<orv::meta::data::Event>(name, "motion", "video", orv::meta::data::TimePoint(),
                                                           orv::meta::data::Objects{}));
  };
  publish("disarmed");
  orv::arm::SetState(1);
  publish("armed");
  return 0;
}
