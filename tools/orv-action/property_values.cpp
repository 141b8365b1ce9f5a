#include "property_values.hpp"

#include <charconv>
#include <cstdint>
#include <limits>
#include <sstream>
#include <vector>

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

using Texts = std::vector<std::string>;

template <class T>
bool Holds(property::Property const& property) {
  return property.GetTypeNameId() == object::TypeIdOf<property::Primitive<T>>;
}

bool IsA(property::Property const& property, hash::MurmurThree32 const& id) { return property.GetTypeNameId() == id; }

// The value as it may appear in a message: never a secret's.
std::string Shown(property::Property const& property, std::string const& text) {
  return property.IsSecret() ? "***" : "'" + Shorten(text) + "'";
}

std::string Trimmed(std::string_view text) {
  auto const first = text.find_first_not_of(" \t");
  if (first == std::string_view::npos) {
    return {};
  }
  auto const last = text.find_last_not_of(" \t");
  return std::string(text.substr(first, last - first + 1));
}

Texts SplitList(std::string const& text) {
  Texts items;
  if (Trimmed(text).empty()) {
    return items;
  }
  std::size_t start = 0;
  while (true) {
    auto const comma = text.find(',', start);
    items.push_back(Trimmed(std::string_view(text).substr(start, comma - start)));
    if (comma == std::string::npos) {
      return items;
    }
    start = comma + 1;
  }
}

template <class T>
void SetValue(property::Property& property, T value) {
  property.Set(object::Primitive<T>(std::move(value)));
}

std::string Expected(property::Property const& property) {
  std::string const type = ValueTypeOf(property);
  return type == "string"        ? "a string"
         : type == "bool"        ? "true or false"
         : type == "integer"     ? "an integer"
         : type == "string list" ? "an array of strings or a comma-separated string"
                                 : type;
}

// A value set from the command line may hold any bytes: those that are not
// UTF-8 show as U+FFFD instead of stopping the program.
std::string AsJsonText(nlohmann::json const& value) {
  return value.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
}

}  // namespace

std::string ValueTypeOf(property::Property const& property) {
  if (Holds<std::string>(property)) {
    return "string";
  }
  if (Holds<bool>(property)) {
    return "bool";
  }
  if (Holds<std::int64_t>(property)) {
    return "integer";
  }
  if (Holds<Texts>(property)) {
    return "string list";
  }
  if (IsA(property, object::TypeIdOf<property::ObservableArray>)) {
    return "observables";
  }
  char const* name = object::Object::TypeName(property.GetTypeNameId());
  return name != nullptr ? name : "unknown";
}

std::string ValueTextOf(property::Property const& property) {
  if (property.IsSecret()) {
    return "***";
  }
  // Read, not GetObject: refreshing the observables would re-subscribe the action.
  std::shared_ptr<property::Property const> const read = property.Read();
  object::Object const& value = *read;
  if (Holds<std::string>(property)) {
    return AsJsonText(nlohmann::json(value.As<property::Primitive<std::string>>().Get()));
  }
  if (Holds<bool>(property)) {
    return value.As<property::Primitive<bool>>().Get() ? "true" : "false";
  }
  if (Holds<std::int64_t>(property)) {
    return std::to_string(value.As<property::Primitive<std::int64_t>>().Get());
  }
  if (Holds<Texts>(property)) {
    return AsJsonText(nlohmann::json(value.As<property::Primitive<Texts>>().Get()));
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
    if (Holds<std::string>(property)) {
      SetValue(property, text);
    } else if (Holds<bool>(property)) {
      if (text != "true" && text != "false") {
        throw InputError("property '" + property.GetName() + "' takes true or false, not " + Shown(property, text));
      }
      SetValue(property, text == "true");
    } else if (Holds<std::int64_t>(property)) {
      std::int64_t number = 0;
      auto const [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
      if (text.empty() || error != std::errc() || end != text.data() + text.size()) {
        throw InputError("property '" + property.GetName() + "' takes a decimal integer from " +
                         std::to_string(std::numeric_limits<std::int64_t>::min()) + " to " +
                         std::to_string(std::numeric_limits<std::int64_t>::max()) + ", not " + Shown(property, text));
      }
      SetValue(property, number);
    } else if (Holds<Texts>(property)) {
      SetValue(property, SplitList(text));
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
    if (Holds<std::string>(property) && value.is_string()) {
      return SetValue(property, value.get<std::string>());
    }
    if (Holds<bool>(property) && value.is_boolean()) {
      return SetValue(property, value.get<bool>());
    }
    if (Holds<std::int64_t>(property) && value.is_number_integer() &&
        (!value.is_number_unsigned() ||
         value.get<std::uint64_t>() <= static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max()))) {
      return SetValue(property, value.get<std::int64_t>());
    }
    if (Holds<Texts>(property) && value.is_string()) {
      return SetValue(property, SplitList(value.get<std::string>()));
    }
    if (Holds<Texts>(property) && value.is_array()) {
      Texts items;
      for (JsonField const& item : field.Elements()) {
        items.push_back(item.String());
      }
      return SetValue(property, std::move(items));
    }
    field.Fail("property '" + property.GetName() + "' expects " + Expected(property) + ", found " +
               (property.IsSecret() ? "***" : Quote(value)));
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
