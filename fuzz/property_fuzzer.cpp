// Property values, as a device's web interface or `orv-action test --set`
// sets them: the text goes through the conversion of the property's kind
// (bool, integer, text, list of texts, observables) into each action type's
// setters, or is refused with a message naming the property. The same text is
// also handed over as an object of every kind, which a property of another
// kind refuses with its type's error.

#include <cstdint>
#include <memory>
#include <string>
#include <typeinfo>
#include <vector>

#include "action_setup.hpp"
#include "errors.hpp"
#include "fuzz_support.hpp"
#include "orv/object/bad_cast.hpp"
#include "orv/object/primitive.hpp"
#include "orv/property/primitive.hpp"
#include "orv/templating/syntax_error.hpp"
#include "orv/type/bad_cast.hpp"
#include "property_values.hpp"

namespace {

using namespace orv;

struct Target {
  std::string type;
  std::size_t index;  // of the property among the type's
};

std::vector<Target> const& Targets() {
  static std::vector<Target> const targets = [] {
    std::vector<Target> all;
    for (std::string const& type : tool::GetRegisteredTypeNames()) {
      std::size_t const count = tool::MakeConfigurableAction(type).properties.size();
      for (std::size_t i = 0; i < count; ++i) {
        all.push_back({type, i});
      }
    }
    return all;
  }();
  return targets;
}

std::vector<std::string> Split(std::string const& text) {
  std::vector<std::string> items;
  std::size_t start = 0;
  while (true) {
    auto const comma = text.find(',', start);
    items.push_back(text.substr(start, comma - start));
    if (comma == std::string::npos) {
      return items;
    }
    start = comma + 1;
  }
}

// The text as an object of kind `kind`: the framework's own primitives and
// the properties' ones, of each value type.
std::unique_ptr<object::Object> MakeObject(std::uint8_t kind, std::string const& text) {
  std::int64_t const number = static_cast<std::int64_t>(std::hash<std::string>{}(text));
  switch (kind % 8) {
    case 0:
      return std::make_unique<object::Primitive<bool>>(text.size() % 2 == 0);
    case 1:
      return std::make_unique<object::Primitive<std::string>>(text);
    case 2:
      return std::make_unique<object::Primitive<std::int64_t>>(number);
    case 3:
      return std::make_unique<object::Primitive<std::vector<std::string>>>(Split(text));
    case 4:
      return std::make_unique<property::Primitive<bool>>("value", text.size() % 2 == 0, "", "");
    case 5:
      return std::make_unique<property::Primitive<std::string>>("value", text, "", "");
    case 6:
      return std::make_unique<property::Primitive<std::int64_t>>("value", number, "", "");
    default:
      return std::make_unique<property::Primitive<std::vector<std::string>>>("value", Split(text), "", "");
  }
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  orv::fuzz::Check(Targets().size() > 10, "the action types did not register");
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
  if (size < 2) {
    return 0;
  }
  Target const& target = Targets()[data[0] % Targets().size()];
  std::uint8_t const way = data[1];
  std::string const text(fuzz::AsText(data + 2, size - 2));
  tool::ConfigurableAction const configurable = tool::MakeConfigurableAction(target.type);
  property::Property& property = *configurable.properties[target.index];
  std::string const name = property.GetName();
  if (way < 0x80) {
    try {
      tool::SetFromText(property, text);
    } catch (tool::InputError const& error) {
      std::string const message = error.what();
      fuzz::Check(message.starts_with("--set " + name) || message.starts_with("property '" + name + "'"),
                  "a refused value names no property", message);
      if (property.IsSecret() && text.size() >= 4) {
        fuzz::Check(message.find(text) == std::string::npos, "a message shows a secret value", message);
      }
      return 0;
    }
  } else {
    try {
      property.Set(*MakeObject(way, text));
    } catch (type::BadCast const&) {
      return 0;  // an object of another kind than a value's
    } catch (object::BadCast const&) {
      return 0;  // an object of another kind than the observables'
    } catch (templating::SyntaxError const&) {
      return 0;  // a template property
    } catch (std::invalid_argument const&) {
      return 0;  // a value the action's setter refuses
    }
  }
  // A value that was taken shows, and reads back.
  std::string const shown = tool::ValueTextOf(property);
  std::string const type = tool::ValueTypeOf(property);
  if (property.IsSecret()) {
    fuzz::Check(shown == "***", "a secret shows its value", name);
  } else if (way < 0x80 && type == "bool") {
    fuzz::Check(shown == text, "a value does not read back", name + ": " + text + " shows " + shown);
  } else if (type == "integer") {
    // An action may show a default for 0 (a mail server's port), so only the form is checked.
    fuzz::Check(shown == std::to_string(std::stoll(shown)), "an integer shows as no integer", name + ": " + shown);
  }
  return 0;
}
