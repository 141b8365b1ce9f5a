#pragma once

// The compiled form of a template, shared by the compiler, the renderer and
// the missing-names check. Built once, then only read.

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "orv/templating/escape.hpp"
#include "orv/templating/template.hpp"

namespace orv::templating::detail {

enum class Op : std::uint8_t {
  Text,       // append text [first, first + second) of the body's pool
  Indent,     // append the current partial indentation (a line start inside a partial)
  Escaped,    // {{name}}: name `first`
  Raw,        // {{{name}}} or {{&name}}: name `first`
  Section,    // {{#name}}: name `first`, body up to instruction `second`
  Inverted,   // {{^name}}: name `first`, body up to instruction `second`
  Partial,    // {{>name}}: body `first`, indentation [second, second + third) of the pool
  NoPartial,  // {{>name}} of a partial that was not given: renders nothing; name `first`
};

struct Instruction {
  Op op;
  bool standalone = false;  // Partial: its line was standalone, so the partial is indented
  std::uint32_t first = 0;
  std::uint32_t second = 0;
  std::uint32_t third = 0;
};

// A dotted name split once at compile time, so that rendering never splits or
// allocates. No segments means the implicit iterator ".".
struct Name {
  std::string text;
  std::vector<std::string> segments;
  std::uint32_t key = 0;  // the first segment's number among the program's first segments
  std::uint32_t line = 0;
  std::uint32_t column = 0;
};

// The instructions of the template itself or of one partial, with the text
// and the names they refer to. Sections are inline: a section's body is the
// run of instructions after it, up to the index it holds. Every offset and
// index stays within one body, whose source is at most kMaxTemplateSize
// bytes, so 32 bits hold them whatever the number of partials.
struct Body {
  std::string partial;  // empty for the template itself
  std::vector<Instruction> code;
  std::string pool;         // every piece of static text and indentation
  std::vector<Name> names;  // referred to by index
};

struct Program {
  Escape escape = Escape::Html;
  std::vector<Body> bodies;    // [0] the template, then the partials by name
  std::uint32_t keyCount = 0;  // distinct first segments of all names
};

// Compiles `text` and `partials` into a program; throws SyntaxError.
Program Compile(std::string_view text, Escape escape, Partials const& partials);

}  // namespace orv::templating::detail
