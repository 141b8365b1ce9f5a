#include "property_values.hpp"

#include <sstream>

#include "command_line.hpp"
#include "orv/object/primitive.hpp"
#include "orv/observable/observable.hpp"
#include "orv/property/array.hpp"
#include "orv/property/primitive.hpp"

namespace orv::tool {
namespace {

bool IsA(property::Property const& property, hash::MurmurThree32 const& id) { return property.GetTypeNameId() == id; }

}  // namespace

std::string ValueTypeOf(property::Property const& property) {
  if (IsA(property, object::TypeIdOf<property::Primitive<std::string>>)) {
    return "string";
  }
  if (IsA(property, object::TypeIdOf<property::Primitive<bool>>)) {
    return "bool";
  }
  if (IsA(property, object::TypeIdOf<property::ObservableArray>)) {
    return "observables";
  }
  char const* name = object::Object::TypeName(property.GetTypeNameId());
  return name != nullptr ? name : "unknown";
}

std::string ValueTextOf(property::Property const& property) {
  // Read, not GetObject: refreshing the observables would re-subscribe the action.
  std::shared_ptr<property::Property const> const read = property.Read();
  object::Object const& value = *read;
  if (IsA(property, object::TypeIdOf<property::Primitive<std::string>>)) {
    return nlohmann::json(value.As<property::Primitive<std::string>>().Get()).dump();
  }
  if (IsA(property, object::TypeIdOf<property::Primitive<bool>>)) {
    return value.As<property::Primitive<bool>>().Get() ? "true" : "false";
  }
  if (IsA(property, object::TypeIdOf<property::ObservableArray>)) {
    std::ostringstream text;
    text << '[';
    char const* separator = "";
    for (auto const& element : value.As<property::ObservableArray>().GetElements()) {
      auto const observable = element.Get<observable::Observable>();
      text << separator << (observable ? std::to_string(observable->GetId()) : "null");
      separator = ", ";
    }
    text << ']';
    return text.str();
  }
  std::ostringstream text;
  text << '(';
  property.DescribeValidValues(text) << ')';
  return text.str();
}

void SetFromText(property::Property& property, std::string const& text) {
  if (IsA(property, object::TypeIdOf<property::Primitive<std::string>>)) {
    property.Set(object::Primitive<std::string>(text));
  } else if (IsA(property, object::TypeIdOf<property::Primitive<bool>>) && (text == "true" || text == "false")) {
    property.Set(object::Primitive<bool>(text == "true"));
  } else if (IsA(property, object::TypeIdOf<property::Primitive<bool>>)) {
    throw InputError("property '" + property.GetName() + "' takes true or false, not '" + text + "'");
  } else {
    throw InputError("property '" + property.GetName() + "' holds " + ValueTypeOf(property) +
                     " and cannot be set from text");
  }
}

void SetFromJson(property::Property& property, nlohmann::json const& value, std::string const& where) {
  if (IsA(property, object::TypeIdOf<property::Primitive<std::string>>) && value.is_string()) {
    property.Set(object::Primitive<std::string>(value.get<std::string>()));
  } else if (IsA(property, object::TypeIdOf<property::Primitive<bool>>) && value.is_boolean()) {
    property.Set(object::Primitive<bool>(value.get<bool>()));
  } else {
    std::string const type = ValueTypeOf(property);
    std::string const expected = type == "string" ? "a string" : type == "bool" ? "true or false" : type;
    throw InputError(where + ": property '" + property.GetName() + "' expects " + expected + ", found " + value.dump());
  }
}

}  // namespace orv::tool
