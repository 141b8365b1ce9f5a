// An action type of a plug-in built against the installed package: a class,
// its properties and one registration line.
#include <iostream>
#include <string>

#include "orv/action/action.hpp"
#include "orv/action/field.hpp"
#include "orv/action/properties.hpp"
#include "orv/action/registration.hpp"
#include "orv/action/serialize.hpp"
#include "orv/templating/template.hpp"

namespace acme {

class Greeting : public orv::action::Action {
 public:
  static constexpr char const* kTypeName = "acme.action.Greeting";
  static std::vector<orv::property::Schema> GetSchemas() {
    return orv::action::properties::Make({
        orv::action::properties::Field<&Greeting::GetSalutation, &Greeting::SetSalutation>(
            "salutation", "The word the greeting starts with"),
    });
  }

  Greeting() : Action(orv::hash::MurmurThree32(kTypeName), {}) {}

  Result Execute(std::shared_ptr<orv::meta::data::Event const> event) const override {
    static orv::templating::Template const kText("{{the_event.name}} ({{the_event.type.string}})",
                                                 orv::templating::Escape::None);
    std::cout << "greeting: " << salutation_ << ", " << kText.Render(orv::action::SerializeEvent(event)) << '\n';
    return {};
  }

  std::string GetSalutation() const { return salutation_; }
  void SetSalutation(std::string salutation) { salutation_ = std::move(salutation); }

 private:
  std::string salutation_ = "Hi";
};

orv::action::Registration<Greeting> const kGreetingRegistration;

}  // namespace acme
