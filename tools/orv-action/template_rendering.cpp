#include "template_rendering.hpp"

#include <stdexcept>

namespace orv::tool {

std::vector<std::string> const& EscapeNames() {
  static std::vector<std::string> const names = [] {
    std::vector<std::string> all;
    for (auto const escape :
         {templating::Escape::None, templating::Escape::Html, templating::Escape::Url, templating::Escape::Json}) {
      all.emplace_back(templating::GetName(escape));
    }
    return all;
  }();
  return names;
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
