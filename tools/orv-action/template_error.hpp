#pragma once

#include <string>

#include "orv/templating/syntax_error.hpp"
#include "source_text.hpp"

namespace orv::tool {

// What `error` says without the place that its what() starts with
// ("line 2, column 3: " and, for a partial, "partial "name", ").
std::string MessageOf(templating::SyntaxError const& error);

// "<name>:<line>:<column>: <message>" for a syntax error in the template
// whose whole text `source` holds (a template file, a --set value).
std::string Describe(templating::SyntaxError const& error, SourceText const& source);

}  // namespace orv::tool
