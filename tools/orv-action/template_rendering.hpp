#pragma once

#include <mstch/mstch.hpp>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "orv/templating/escape.hpp"
#include "orv/templating/template.hpp"
#include "source_text.hpp"

namespace orv::tool {

// The names of the escapings a template is rendered with, as `render
// --escape` and the studio take them: "none", "html", "url", "json".
std::vector<std::string> const& EscapeNames();

// A template rendered with template data, and what the check for names found.
struct Rendering {
  std::string text;
  // The names the template uses that the data lacks, and the partials it
  // includes that it was not given, as Template::FindMissingNames lists them.
  std::vector<templating::MissingName> missingNames;
  // Why checking or rendering stopped (a limit was passed); empty when the
  // text is whole. `text` then holds what was rendered up to the limit.
  std::string failure;
};

// Compiles the template `text` with its partials and renders it with `data`,
// checking first which names the data lacks. Throws templating::SyntaxError
// when the template or a partial does not compile; a limit passed while
// checking or rendering is the rendering's `failure`.
Rendering RenderTemplate(std::string_view text, templating::Escape escape, templating::Partials const& partials,
                         mstch::map const& data);

// The warning about one missing name of the template whose text `source`
// holds: "<name>:<line>:<column>: warning: the event's template data has no
// 'the_event.nmae'", or for a partial that was not given "... warning: no
// partial 'row' is given; the tag renders as nothing". A name inside a
// partial is placed as "partial <partial>:<line>:<column>".
std::string DescribeMissingName(templating::MissingName const& missing, SourceText const& source);

}  // namespace orv::tool
