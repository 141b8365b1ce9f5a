// A host built against the installed package (through CMake or pkg-config).
#include <iostream>
#include <memory>

#include "orv/action/action.hpp"
#include "orv/action/loader.hpp"
#include "orv/action/registry.hpp"
#include "orv/action/serialize.hpp"
#include "orv/arm/state.hpp"
#include "orv/object/primitive.hpp"
#include "orv/templating/template.hpp"

class Consumed : public orv::action::Action {
 public:
  Consumed() : Action(orv::hash::MurmurThree32("orv.consumer.Consumed"), {}) {}
  Result Execute(std::shared_ptr<orv::meta::data::Event const> event) const override {
    std::cout << "executed '" << GetName() << "' for '" << event->GetName() << "'\n";
    return {};
  }
};

std::shared_ptr<orv::meta::data::Event> MakeEvent(char const* name) {
  return std::make_shared<orv::meta::data::Event>(name, "motion", "video", orv::meta::data::TimePoint(),
                                                  orv::meta::data::Objects{});
}

int main() {
  auto const rule = std::make_shared<orv::observable::Observable>(1);
  auto const action = orv::action::MakeShared<Consumed>();
  action->SetName("installed");
  action->AddObservable(rule);
  rule->Publish(MakeEvent("disarmed"));
  orv::arm::SetState(1);
  rule->Publish(MakeEvent("armed"));

  orv::templating::Template const text("{{the_event.name}} at {{the_event.start.iso8601}}");
  std::cout << "rendered: " << text.Render(orv::action::SerializeEvent(MakeEvent("person"))) << '\n';

  // The installed plug-ins, the one this project built among them.
  orv::action::plugin::Report const report = orv::action::plugin::Load();
  for (auto const& failure : report.failed) {
    std::cout << "failed to load " << failure.path.string() << ": " << failure.error << '\n';
  }
  orv::hash::MurmurThree32 const greetingId("acme.action.Greeting");
  auto const greeting = orv::action::Action::Make(greetingId);
  if (!greeting) {
    std::cout << "no acme.action.Greeting\n";
    return 1;
  }
  std::vector<orv::property::Schema> schemas;
  {
    auto const map = orv::action::registry::Get().GetMap();
    schemas = map->at(greetingId).GetSchemas();
  }
  auto const salutation = schemas.front().Instantiate(greeting, orv::property::context::Direction::FromOwner);
  salutation->Set(orv::object::Primitive<std::string>("Hello"));
  greeting->Test("visitor");
  return 0;
}
