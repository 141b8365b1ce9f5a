#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace orv::plugins::network {

// `text` without the spaces, tabs, carriage returns and line feeds at either end.
std::string_view Trim(std::string_view text) noexcept;

// The first `limit` bytes of `text` on one line, for a log message: control
// characters (line ends, tabs, bytes below 0x20 and 0x7f) become spaces, and
// "..." follows when bytes were left out.
std::string Excerpt(std::string_view text, std::size_t limit);

// `text` without carriage returns and line feeds: a value rendered from an
// event can then never start a line of its own in a header.
std::string WithoutLineBreaks(std::string_view text);

// `text` with every occurrence of each non-empty secret in `secrets` replaced
// by "***", the longest secret first, so that a secret containing another
// is hidden whole.
std::string Redact(std::string_view text, std::vector<std::string_view> secrets);

}  // namespace orv::plugins::network
