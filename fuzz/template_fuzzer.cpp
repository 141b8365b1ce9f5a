// Template text, as an integrator types it: it compiles or is refused with a
// syntax error at a place inside the text; a compiled template renders over
// an event's template data within its limits, and the check of its names
// names places inside the text. The first byte chooses the escaping, the data
// and the rendering limit.

#include <optional>
#include <stdexcept>
#include <string>

#include "fixed_event.hpp"
#include "fuzz_support.hpp"
#include "orv/templating/template.hpp"
#include "source_text.hpp"
#include "template_error.hpp"

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  orv::fuzz::FixedEventData();
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
  using namespace orv;
  using templating::Template;
  if (size == 0) {
    return 0;
  }
  auto const escape = static_cast<templating::Escape>(data[0] & 3U);
  bool const mixed = (data[0] & 4U) != 0;
  // A small limit finds the limits' edges; the default one what a mail may hold.
  std::size_t const limit = (data[0] & 8U) != 0 ? templating::kDefaultMaxRenderedSize : 200;
  std::string_view const text = fuzz::AsText(data + 1, size - 1);

  std::optional<Template> compiled;
  try {
    compiled.emplace(text, escape);
  } catch (templating::SyntaxError const& error) {
    fuzz::Check(error.GetPartial().empty(), "an error in a partial that was not given", error.what());
    fuzz::Check(fuzz::IsPlaceIn(text, error.GetLine(), error.GetColumn()), "a syntax error outside the text",
                error.what());
    // What `orv-action render` prints.
    std::string const described = tool::Describe(error, tool::SourceText("notice.mustache", std::string(text)));
    fuzz::Check(fuzz::NamesPlace(described, "notice.mustache"), "a template error names no place", described);
    return 0;
  }
  fuzz::Check(compiled->GetEscape() == escape, "the escaping changed");
  mstch::map const& values = mixed ? fuzz::MixedData() : fuzz::FixedEventData();
  std::string out;
  try {
    compiled->RenderTo(values, out, limit);
  } catch (std::length_error const&) {
    // Past the rendering limit, the steps or the partials' nesting.
  }
  fuzz::Check(out.size() <= limit, "a rendering beyond its limit");
  try {
    for (auto const& missing : compiled->FindMissingNames(values)) {
      fuzz::Check(missing.partial.empty(), "a missing name in a partial that was not given", missing.name);
      fuzz::Check(!missing.name.empty(), "a missing name without a name");
      fuzz::Check(fuzz::IsPlaceIn(text, missing.line, missing.column), "a missing name outside the text", missing.name);
    }
  } catch (std::length_error const&) {
    // The check's steps.
  }
  return 0;
}
