#pragma once

#include <string>

#include "json_field.hpp"
#include "orv/property/property.hpp"

namespace orv::tool {

// What kind of value a property holds: "string", "bool" or "observables".
std::string ValueTypeOf(property::Property const& property);

// The property's current value as text: a JSON string for text, true or false,
// a decimal integer, a JSON array of strings for a string list, and [id, ...]
// for observables; bytes of text that are not UTF-8 show as U+FFFD. A secret
// property (a password, a token) is always "***".
std::string ValueTextOf(property::Property const& property);

// Sets a property from the text of `--set <name>=<text>`: "true" or "false"
// for a bool, a decimal integer, comma-separated texts for a string list
// (spaces around each are dropped; empty text is the empty list). Throws
// InputError naming the property and what it takes (never the value of a
// secret); the observables of an action come from its rules, never from text.
// A value the action refuses (a template that does not compile, say) throws
// InputError "--set <name>:<line>:<column>: <message>" for template syntax
// errors and "--set <name>: <message>" otherwise.
void SetFromText(property::Property& property, std::string const& text);

// Sets a property from a JSON value of a configuration: a string, true or
// false, an integer, and for a string list an array of strings or one
// comma-separated string. Throws InputError naming the value's place (never a
// secret's value); a template syntax error names the place of the offending
// tag inside the JSON string.
void SetFromJson(property::Property& property, JsonField const& value);

}  // namespace orv::tool
