// Template text, as an integrator types it: it compiles or is refused with a
// syntax error at a place inside the text; a compiled template renders over
// an event's template data within its limits, and the check of its names
// names places inside the text. The first byte chooses the escaping, the data
// and the rendering limit.

#include <optional>
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
  // The default limit is what a mail may hold.
  auto const choice = fuzz::ChooseRendering(data[0], templating::kDefaultMaxRenderedSize);
  std::string_view const text = fuzz::AsText(data + 1, size - 1);

  std::optional<Template> compiled;
  try {
    compiled.emplace(text, choice.escape);
  } catch (templating::SyntaxError const& error) {
    fuzz::Check(error.GetPartial().empty(), "an error in a partial that was not given", error.what());
    fuzz::Check(fuzz::IsPlaceIn(text, error.GetLine(), error.GetColumn()), "a syntax error outside the text",
                error.what());
    // What `orv-action render` prints.
    std::string const described = tool::Describe(error, tool::SourceText("notice.mustache", std::string(text)));
    fuzz::Check(fuzz::NamesPlace(described, "notice.mustache"), "a template error names no place", described);
    return 0;
  }
  fuzz::Check(compiled->GetEscape() == choice.escape, "the escaping changed");
  for (auto const& missing : fuzz::RenderAndFindMissing(*compiled, choice)) {
    fuzz::Check(missing.partial.empty(), "a missing name in a partial that was not given", missing.name);
    fuzz::Check(!missing.name.empty(), "a missing name without a name");
    fuzz::Check(fuzz::IsPlaceIn(text, missing.line, missing.column), "a missing name outside the text", missing.name);
  }
  return 0;
}
