#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "orv/templating/export.hpp"

namespace orv::templating {

// How a template writes the value of an escaped tag ({{name}}). Chosen per
// template when it is compiled; unescaped tags ({{{name}}}, {{&name}}) always
// write the value as it stands.
enum class Escape : std::uint8_t {
  None,  // the text as it stands: plain-text mail bodies
  Html,  // & < > " ' as &amp; &lt; &gt; &quot; &#39;: the mustache default
  Url,   // one URL component: every byte but A-Z a-z 0-9 - . _ ~ as %XX (upper-case hex)
  Json,  // the content of a JSON string: " \ as \" \\, control characters as \b \f \n \r \t or \u00xx
};

// The escaping named `name`: "none", "html", "url" or "json" (the names
// configurations and command lines use); nothing for any other text.
ORV_TEMPLATING_API std::optional<Escape> EscapeFromName(std::string_view name) noexcept;

// The name of `escape`, as EscapeFromName takes it.
ORV_TEMPLATING_API char const* GetName(Escape escape) noexcept;

// Appends `text` to `out`, escaped as `escape` says. Bytes of 0x80 and above
// (UTF-8 sequences) pass unchanged except under Url, which encodes every byte.
ORV_TEMPLATING_API void AppendEscaped(std::string& out, std::string_view text, Escape escape);

}  // namespace orv::templating
