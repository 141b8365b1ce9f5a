#pragma once

#include <nlohmann/json.hpp>
#include <string>
#include <string_view>
#include <vector>

namespace orv::tool {

// The names separated by ", "; "(none)" for no names.
std::string Join(std::vector<std::string_view> const& names);
std::string Join(std::vector<std::string> const& names);

// `text` as it stands when it has at most limits::kQuotedCharacters
// characters (UTF-8 code points), otherwise its first that many followed by
// "...". Never splits a character.
std::string Shorten(std::string_view text);

// `value` as compact JSON (as nlohmann::json::dump() writes it), shortened as
// Shorten does. Only the part that is shown is ever written, so a value of
// any size or nesting costs no more than that.
std::string Quote(nlohmann::json const& value);

}  // namespace orv::tool
