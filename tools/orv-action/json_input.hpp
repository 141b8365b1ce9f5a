#pragma once

#include <cstddef>
#include <nlohmann/json.hpp>
#include <string>
#include <variant>
#include <vector>

#include "source_text.hpp"

namespace orv::tool {

// Where a value lies in a JSON document: the member names and element
// indices that lead to it from the root.
using JsonPath = std::vector<std::variant<std::string, std::size_t>>;

// The path as messages write it: "$" for the root, ".name" for a member whose
// name is a plain word (letters, digits, '_'), ["name"] for any other, and
// [index] for an element: "$.objects[0].colour.g".
std::string ToText(JsonPath const& path);

// Parses the JSON text of `source`. Refuses, with InputError
// "<name>:<line>:<column>: <message>", a syntax error, nesting deeper than
// limits::kJsonDepth levels, a key that appears twice in one object and a
// NUL byte anywhere. Parsing never recurses, so no input can exhaust the stack.
nlohmann::json ParseJson(SourceText const& source);

// The offset of the first byte of the value at `path` in a text that
// ParseJson accepted; the size of the text when there is no such value.
std::size_t FindValue(SourceText const& source, JsonPath const& path);

// The offset in `source` of the character at `line` and `column` (from 1, a
// column counting characters) of the text held by the JSON string that
// starts at `stringOffset` (its opening quote): escapes count as the
// character they stand for. Past the end of the string's text, the offset
// of its closing quote.
std::size_t FindInString(SourceText const& source, std::size_t stringOffset, std::size_t line, std::size_t column);

}  // namespace orv::tool
