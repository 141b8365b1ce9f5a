// Template text with partials: "<flags><template>\0<name>\0<text>\0<name>\0<text>...".
// Everything compiles or fails with an error in the template or in one of the
// partials, at a place inside that text; rendering follows partials within
// the nesting limit, and the check of names places each name in its text.

#include <optional>
#include <string>
#include <vector>

#include "fixed_event.hpp"
#include "fuzz_support.hpp"
#include "orv/templating/template.hpp"

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
  auto const choice = fuzz::ChooseRendering(data[0], std::size_t{64} << 10);
  std::string_view rest = fuzz::AsText(data + 1, size - 1);
  std::vector<std::string_view> pieces;
  while (true) {
    auto const nul = rest.find('\0');
    pieces.push_back(rest.substr(0, nul));
    if (nul == std::string_view::npos) {
      break;
    }
    rest.remove_prefix(nul + 1);
  }
  std::string_view const text = pieces.front();
  templating::Partials partials;
  for (std::size_t i = 1; i + 1 < pieces.size(); i += 2) {
    // No tag can name a partial "" ({{>}} is a syntax error), and an error in
    // one could not be told from an error in the template itself.
    if (!pieces[i].empty()) {
      partials.emplace(pieces[i], pieces[i + 1]);  // the first of a name counts
    }
  }
  auto const textOf = [&](std::string const& partial) -> std::string_view {
    if (partial.empty()) {
      return text;
    }
    auto const found = partials.find(partial);
    fuzz::Check(found != partials.end(), "a place in a partial that was not given", partial);
    return found->second;
  };

  std::optional<Template> compiled;
  try {
    compiled.emplace(text, choice.escape, partials);
  } catch (templating::SyntaxError const& error) {
    fuzz::Check(fuzz::IsPlaceIn(textOf(error.GetPartial()), error.GetLine(), error.GetColumn()),
                "a syntax error outside its text", error.what());
    return 0;
  }
  for (auto const& missing : fuzz::RenderAndFindMissing(*compiled, choice)) {
    fuzz::Check(fuzz::IsPlaceIn(textOf(missing.partial), missing.line, missing.column),
                "a missing name outside its text", missing.name);
    if (missing.isPartial) {
      fuzz::Check(!partials.contains(missing.name), "a given partial reported missing", missing.name);
    }
  }
  return 0;
}
