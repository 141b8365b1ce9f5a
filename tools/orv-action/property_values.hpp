#pragma once

#include <nlohmann/json.hpp>
#include <string>

#include "orv/property/property.hpp"

namespace orv::tool {

// What kind of value a property holds: "string", "bool" or "observables".
std::string ValueTypeOf(property::Property const& property);

// The property's current value as text: a JSON string for text, true or false,
// and [id, ...] for observables.
std::string ValueTextOf(property::Property const& property);

// Sets a text or bool property from command-line text ("true" or "false" for
// a bool). Throws InputError naming the property and what it takes; the
// observables of an action come from its rules, never from text.
void SetFromText(property::Property& property, std::string const& text);

// Sets a text or bool property from a JSON value; `where` names the value in
// messages (file and JSON path). Throws InputError as SetFromText does.
void SetFromJson(property::Property& property, nlohmann::json const& value, std::string const& where);

}  // namespace orv::tool
