#pragma once

#include <memory>
#include <vector>

#include "orv/action/action.hpp"
#include "orv/action/registry.hpp"
#include "orv/hash/murmur_three_32.hpp"
#include "orv/property/schema.hpp"

namespace orv::action {

// Registers the concrete action type `Concrete` in the action registry when
// it is constructed. A plug-in declares one at namespace scope per type, so
// that loading the plug-in registers its types:
//
//   class Mail : public orv::action::Action {
//    public:
//     static constexpr char const* kTypeName = "acme.action.Mail";
//     static std::vector<orv::property::Schema> GetSchemas();
//     Mail();  // calls Action(orv::hash::MurmurThree32(kTypeName), {})
//     Result Execute(std::shared_ptr<orv::meta::data::Event const> event) const override;
//   };
//   orv::action::Registration<Mail> const kMailRegistration;  // in the .cpp
//
// `Concrete` must be default-constructible (its constructor runs under the
// registry's lock: it must not call Action::Make, Action::TypeName or
// GetTypeName), must not be final, and provides:
// - `kTypeName`: its dotted type name, static storage (a string literal); the
//   type-name id is the hash of it, and the constructor passes that same id
//   to Action;
// - `static std::vector<orv::property::Schema> GetSchemas()`: its own schemas
//   followed by the common ones (orv::action::properties::Make); it must not
//   throw.
// Actions are made with MakeShared, which ends an action's subscriptions
// before the concrete class is destroyed. If another type registered the same
// id first (the same type name, or another name with the same hash), that one
// stays, IsRegistered() is false, and registry::GetRefusals() and the loader's
// report name this registration, its file and the type that holds the id.
//
// The initialisers of a plug-in run twice: once in the plug-in scanner, a
// short-lived process that tries the file, and once in the host. They should
// do nothing but register.
template <class Concrete>
class Registration {
 public:
  Registration()
      : registered_(registry::Get().Add(registry::Info(
            hash::MurmurThree32(Concrete::kTypeName), Concrete::kTypeName,
            []() -> std::shared_ptr<Action> { return MakeShared<Concrete>(); }, &Concrete::GetSchemas))) {}

  // Whether this registration made the entry of the type.
  bool IsRegistered() const noexcept { return registered_; }

 private:
  bool registered_;
};

}  // namespace orv::action
