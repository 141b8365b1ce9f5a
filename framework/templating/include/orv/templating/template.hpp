#pragma once

#include <cstddef>
#include <map>
#include <memory>
#include <mstch/mstch.hpp>
#include <string>
#include <string_view>
#include <vector>

#include "orv/templating/escape.hpp"
#include "orv/templating/export.hpp"
#include "orv/templating/syntax_error.hpp"

namespace orv::templating {

namespace detail {
struct Program;
}  // namespace detail

// The longest template text, and the longest text of each partial: 1 MiB.
inline constexpr std::size_t kMaxTemplateSize = std::size_t{1} << 20;
// The deepest nesting of sections within the template or within one partial.
inline constexpr std::size_t kMaxSectionDepth = 100;
// The deepest nesting of partials that rendering follows.
inline constexpr std::size_t kMaxPartialDepth = 256;
// The most text that one rendering produces unless the template or the call
// allows another amount: 1 MiB.
inline constexpr std::size_t kDefaultMaxRenderedSize = std::size_t{1} << 20;
// Rendering, and FindMissingNames, take at most this many steps (an
// instruction, or the next element of a list) per byte of the rendering
// limit, counting a limit below kMinStepBudgetBytes as that: sections nested
// over lists that would repeat their bodies for years stop instead.
inline constexpr std::size_t kMaxStepsPerRenderedByte = 64;
// The smallest rendering limit that the steps are counted for: a small limit
// (a text message) still allows loops over the records of a large event.
inline constexpr std::size_t kMinStepBudgetBytes = std::size_t{16} << 10;

// Partials by name, as {{>name}} refers to them.
using Partials = std::map<std::string, std::string>;

// A name that a template uses and that given data does not provide, or a
// partial that a {{>name}} tag includes and that the template was not given.
struct ORV_TEMPLATING_API MissingName {
  std::string name;        // as written in the tag, e.g. "the_event.nmae", or the partial's name
  std::string partial;     // the partial that holds the tag; empty for the template itself
  std::size_t line;        // of the tag, from 1
  std::size_t column;      // of the tag, from 1
  bool isPartial = false;  // a {{>name}} tag: `name` names a partial, not data

  friend bool operator==(MissingName const&, MissingName const&) = default;
};

// A mustache template, compiled once and rendered any number of times.
//
// The language is the one of the mustache test suite's core modules:
// escaped and unescaped interpolation, dotted names, the implicit iterator
// {{.}}, sections over maps, lists, booleans and non-empty text, inverted
// sections, comments, set delimiters, partials and the standalone-line rules.
// An empty string, the number 0, false, null, an empty list and a missing name
// are false to a section. Values render as text: numbers in their shortest
// round-trip form, booleans as "true" and "false", null, maps and lists as
// nothing. Template data never holds lambdas or shared objects.
//
// A Template is immutable: copies share the compiled form, and any number of
// threads may render one template at once.
//
//   orv::templating::Template const subject("Alarm on {{the_event.name}}", Escape::None);
//   std::string text = subject.Render(orv::action::SerializeEvent(event));
class ORV_TEMPLATING_API Template {
 public:
  // The empty template: renders as empty text.
  Template();

  // Compiles `text` and every partial of `partials` (also those it never uses),
  // each partial starting with the default delimiters. A partial that is not
  // in `partials` renders as empty text. Throws SyntaxError on the first
  // unclosed or mismatched section, unclosed tag, empty or malformed tag name,
  // bad delimiter change, text longer than kMaxTemplateSize or section nested
  // deeper than kMaxSectionDepth. Its renderings produce at most
  // kDefaultMaxRenderedSize bytes each.
  explicit Template(std::string_view text, Escape escape = Escape::Html, Partials const& partials = {});

  // A copy, sharing the compiled form, whose renderings produce at most
  // `maxRenderedSize` bytes each.
  Template WithMaxRenderedSize(std::size_t maxRenderedSize) const;

  // The most bytes that one rendering produces unless the call says otherwise.
  std::size_t GetMaxRenderedSize() const noexcept;

  // Renders the template over `data` (the whole template data or any
  // sub-tree), reading it in place. Const and free of shared state: safe from
  // many threads at once. Throws std::length_error, naming the limit, when
  // the text would grow beyond `maxRenderedSize` bytes (by default
  // GetMaxRenderedSize()), when partials nest deeper than kMaxPartialDepth (a
  // partial that includes itself without end) or when rendering takes more
  // steps than kMaxStepsPerRenderedByte allows; and std::invalid_argument
  // naming the tag when a value it meets is a lambda or a shared object. The
  // map overloads take SerializeEvent's result as it is: turning a map into
  // an mstch::node would copy the whole tree.
  std::string Render(mstch::node const& data) const;
  std::string Render(mstch::map const& data) const;
  std::string Render(mstch::node const& data, std::size_t maxRenderedSize) const;
  std::string Render(mstch::map const& data, std::size_t maxRenderedSize) const;

  // As Render, appending to `out`; the limit counts the bytes appended. After
  // an exception `out` may hold part of the text, never more than the limit.
  void RenderTo(mstch::node const& data, std::string& out) const;
  void RenderTo(mstch::map const& data, std::string& out) const;
  void RenderTo(mstch::node const& data, std::string& out, std::size_t maxRenderedSize) const;
  void RenderTo(mstch::map const& data, std::string& out, std::size_t maxRenderedSize) const;

  // The names of escaped, unescaped, section and inverted-section tags that
  // `data` does not provide, and every partial tag whose partial was not
  // given (isPartial, whatever the data), each tag once, in the order of the
  // template and then of the partials by name. Names are resolved as
  // rendering resolves them; a tag inside a section is checked against the
  // section's value (each element of a list) and reported only when no pass
  // finds it. Tags inside a section whose value is missing, null or an empty
  // list cannot be decided from `data` and are not reported; inverted
  // sections and sections over booleans or text are checked against the
  // enclosing context; partials nested deeper than kMaxPartialDepth are not
  // followed. Throws as Render on lambdas, shared objects and too many steps.
  std::vector<MissingName> FindMissingNames(mstch::node const& data) const;
  std::vector<MissingName> FindMissingNames(mstch::map const& data) const;

  // The escaping chosen when the template was compiled.
  Escape GetEscape() const noexcept;

 private:
  std::shared_ptr<detail::Program const> program_;
  std::size_t maxRenderedSize_ = kDefaultMaxRenderedSize;
};

}  // namespace orv::templating
