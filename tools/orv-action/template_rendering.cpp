#include "template_rendering.hpp"

#include <algorithm>
#include <array>
#include <stdexcept>
#include <utility>

namespace orv::tool {
namespace {

using NamedEscape = std::pair<char const*, templating::Escape>;

constexpr std::array<NamedEscape, 4> kEscapes = {{{"none", templating::Escape::None},
                                                  {"html", templating::Escape::Html},
                                                  {"url", templating::Escape::Url},
                                                  {"json", templating::Escape::Json}}};

}  // namespace

std::vector<std::string> const& EscapeNames() {
  static std::vector<std::string> const names = [] {
    std::vector<std::string> all;
    for (auto const& [name, escape] : kEscapes) {
      all.emplace_back(name);
    }
    return all;
  }();
  return names;
}

std::optional<templating::Escape> FindEscape(std::string_view name) {
  auto const found =
      std::find_if(kEscapes.begin(), kEscapes.end(), [name](NamedEscape const& named) { return named.first == name; });
  if (found == kEscapes.end()) {
    return std::nullopt;
  }
  return found->second;
}

Rendering RenderTemplate(std::string_view text, templating::Escape escape, templating::Partials const& partials,
                         mstch::map const& data) {
  templating::Template const compiled(text, escape, partials);
  Rendering rendering;
  try {
    rendering.missingNames = compiled.FindMissingNames(data);
    compiled.RenderTo(data, rendering.text);
  } catch (std::length_error const& error) {
    rendering.failure = error.what();
  } catch (std::invalid_argument const& error) {
    rendering.failure = error.what();
  }
  return rendering;
}

std::string DescribeMissingName(templating::MissingName const& missing, SourceText const& source) {
  std::string const place =
      missing.partial.empty()
          ? source.Place(missing.line, missing.column)
          : "partial " + missing.partial + ":" + std::to_string(missing.line) + ":" + std::to_string(missing.column);
  if (missing.isPartial) {
    return place + ": warning: no partial '" + missing.name + "' is given; the tag renders as nothing";
  }
  return place + ": warning: the event's template data has no '" + missing.name + "'";
}

}  // namespace orv::tool
