#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "orv/action/action.hpp"
#include "orv/action/properties.hpp"
#include "orv/hash/murmur_three_32.hpp"
#include "orv/property/external.hpp"
#include "orv/property/schema.hpp"

namespace orv::action::properties {

namespace detail {

template <class Getter>
struct GetterTraits;
template <class Class, class Result>
struct GetterTraits<Result (Class::*)() const> {
  using Concrete = Class;
  using Value = std::remove_cvref_t<Result>;
};
template <class Class, class Result>
struct GetterTraits<Result (Class::*)() const noexcept> : GetterTraits<Result (Class::*)() const> {};

template <class T>
inline constexpr bool kIsPropertyValue = std::is_same_v<T, bool> || std::is_same_v<T, std::string> ||
                                         std::is_same_v<T, std::int64_t> || std::is_same_v<T, std::vector<std::string>>;

// The one checked cast of the typed accessors: the action must be of the
// registered type `Concrete` (its type-name id is the hash of
// Concrete::kTypeName), otherwise the action's BadCastError is thrown.
template <class Concrete, class Owner>
auto& CastTo(Owner* action) {
  static_assert(std::is_base_of_v<Action, Concrete>, "a field's getter must be a member of an action class");
  if (action->GetTypeNameId() != hash::MurmurThree32(Concrete::kTypeName)) {
    throw action->BadCastError(Concrete::kTypeName);
  }
  if constexpr (std::is_const_v<Owner>) {
    return static_cast<Concrete const&>(*action);
  } else {
    return static_cast<Concrete&>(*action);
  }
}

// Plain accessor functions on an Action, made from the concrete class's own
// getter and setter; one pair per field.
template <auto Get, auto Set>
struct Accessors {
  using Concrete = typename GetterTraits<decltype(Get)>::Concrete;
  using Value = typename GetterTraits<decltype(Get)>::Value;
  static_assert(kIsPropertyValue<Value>,
                "a field's getter must return bool, std::string, std::int64_t or std::vector<std::string>");
  static_assert(std::is_invocable_v<decltype(Set), Concrete&, Value>,
                "a field's setter must be a member of the getter's class that takes the getter's value type");

  static Value Read(Action const* action) { return Value(std::invoke(Get, CastTo<Concrete>(action))); }
  static void Write(Action* action, Value value) { std::invoke(Set, CastTo<Concrete>(action), std::move(value)); }
};

}  // namespace detail

// The schema of a property whose value lives in a concrete action, declared in
// one line from the class's own getter and setter:
//
//   std::vector<orv::property::Schema> Mail::GetSchemas() {
//     using orv::action::properties::Field;
//     return orv::action::properties::Make({
//         Field<&Mail::GetHost, &Mail::SetHost>("host", "The mail server's host name"),
//         Field<&Mail::GetPort, &Mail::SetPort>("port", "The mail server's port"),
//     });
//   }
//
// `Get` is a const member function of the concrete action class (which names
// its type in kTypeName) returning bool, std::string, std::int64_t or
// std::vector<std::string>, by value or by reference; that type is the
// property's value type. `Set` is a member function taking that value. Both
// run on the action the property is bound to, after one checked cast: an
// action of another type throws its BadCastError (orv::type::BadCast). The
// template property starts at the value type's empty value; exceptions of the
// setter (std::invalid_argument for a refused value) pass through.
template <auto Get, auto Set>
property::Schema Field(std::string name, std::string description) {
  using Accessors = detail::Accessors<Get, Set>;
  return property::Schema(std::make_shared<property::External<typename Accessors::Value>>(
      std::move(name), std::shared_ptr<Action>(), &Accessors::Write, &Accessors::Read, std::move(description)));
}

// As Field, for a secret (a password, a token): the property is marked so that
// hosts print "***" in place of its value (property::Property::IsSecret).
template <auto Get, auto Set>
property::Schema SecretField(std::string name, std::string description) {
  property::Schema schema = Field<Get, Set>(std::move(name), std::move(description));
  schema.GetProperty()->SetSecret(true);
  return schema;
}

}  // namespace orv::action::properties
