#pragma once

#include <nlohmann/json.hpp>
#include <string>

#include "orv/property/property.hpp"

namespace orv::tool {

// What kind of value a property holds: "string", "bool", "integer", "string
// list" or "observables".
std::string ValueTypeOf(property::Property const& property);

// The property's current value as text: a JSON string for text, true or false,
// a decimal integer, a JSON array of strings for a string list, and [id, ...]
// for observables. A secret property (a password, a token) is always "***".
std::string ValueTextOf(property::Property const& property);

// Sets a property from command-line text: "true" or "false" for a bool, a
// decimal integer, comma-separated texts for a string list (spaces around
// each are dropped; empty text is the empty list). Throws InputError naming
// the property and what it takes (never the value of a secret); the
// observables of an action come from its rules, never from text.
void SetFromText(property::Property& property, std::string const& text);

// Sets a property from a JSON value: a string, true or false, an integer, and
// for a string list an array of strings or one comma-separated string. `where`
// names the value in messages (file and JSON path). Throws InputError as
// SetFromText does.
void SetFromJson(property::Property& property, nlohmann::json const& value, std::string const& where);

}  // namespace orv::tool
