#include "property_values.hpp"

#include <sstream>

#include "errors.hpp"
#include "message_text.hpp"
#include "orv/object/primitive.hpp"
#include "orv/observable/observable.hpp"
#include "orv/property/array.hpp"
#include "orv/property/primitive.hpp"
#include "orv/templating/syntax_error.hpp"
#include "template_error.hpp"

namespace orv::tool {
namespace {

bool IsA(property::Property const& property, hash::MurmurThree32 const& id) { return property.GetTypeNameId() == id; }

bool IsString(property::Property const& property) {
  return IsA(property, object::TypeIdOf<property::Primitive<std::string>>);
}

bool IsBool(property::Property const& property) { return IsA(property, object::TypeIdOf<property::Primitive<bool>>); }

}  // namespace

std::string ValueTypeOf(property::Property const& property) {
  if (IsString(property)) {
    return "string";
  }
  if (IsBool(property)) {
    return "bool";
  }
  if (IsA(property, object::TypeIdOf<property::ObservableArray>)) {
    return "observables";
  }
  char const* name = object::Object::TypeName(property.GetTypeNameId());
  return name != nullptr ? name : "unknown";
}

std::string ValueTextOf(property::Property const& property) {
  object::Object const& value = property.GetObject();
  if (IsString(property)) {
    return nlohmann::json(value.As<property::Primitive<std::string>>().Get()).dump();
  }
  if (IsBool(property)) {
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
  std::string const option = "--set " + property.GetName();
  try {
    if (IsString(property)) {
      property.Set(object::Primitive<std::string>(text));
    } else if (IsBool(property) && (text == "true" || text == "false")) {
      property.Set(object::Primitive<bool>(text == "true"));
    } else if (IsBool(property)) {
      throw InputError("property '" + property.GetName() + "' takes true or false, not '" + Shorten(text) + "'");
    } else {
      throw InputError("property '" + property.GetName() + "' holds " + ValueTypeOf(property) +
                       " and cannot be set from text");
    }
  } catch (InputError const&) {
    throw;
  } catch (templating::SyntaxError const& error) {
    throw InputError(Describe(error, SourceText(option, text)));
  } catch (std::exception const& error) {
    throw InputError(option + ": " + error.what());
  }
}

void SetFromJson(property::Property& property, JsonField const& field) {
  nlohmann::json const& value = field.Value();
  try {
    if (IsString(property) && value.is_string()) {
      property.Set(object::Primitive<std::string>(value.get<std::string>()));
    } else if (IsBool(property) && value.is_boolean()) {
      property.Set(object::Primitive<bool>(value.get<bool>()));
    } else {
      std::string const type = ValueTypeOf(property);
      std::string const expected = type == "string" ? "a string" : type == "bool" ? "true or false" : type;
      field.Fail("property '" + property.GetName() + "' expects " + expected + ", found " + Quote(value));
    }
  } catch (InputError const&) {
    throw;
  } catch (templating::SyntaxError const& error) {
    if (!error.GetPartial().empty()) {
      field.Fail(error.what());
    }
    field.FailAt(FindInString(field.Source(), field.Offset(), error.GetLine(), error.GetColumn()), MessageOf(error));
  } catch (std::exception const& error) {
    field.Fail(error.what());
  }
}

}  // namespace orv::tool
