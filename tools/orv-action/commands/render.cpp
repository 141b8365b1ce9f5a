#include <map>
#include <optional>
#include <ostream>

#include "../bundled.hpp"
#include "../commands.hpp"
#include "../event_file.hpp"
#include "orv/action/serialize.hpp"
#include "orv/templating/syntax_error.hpp"
#include "orv/templating/template.hpp"

namespace orv::tool {
namespace {

templating::Escape ParseEscape(std::string const& name) {
  static std::map<std::string, templating::Escape> const kEscapes = {{"none", templating::Escape::None},
                                                                     {"html", templating::Escape::Html},
                                                                     {"url", templating::Escape::Url},
                                                                     {"json", templating::Escape::Json}};
  auto const found = kEscapes.find(name);
  if (found == kEscapes.end()) {
    throw UsageError("--escape takes none, html, url or json, not '" + name + "'");
  }
  return found->second;
}

int RunRender(Arguments const& arguments, std::ostream& out, std::ostream& err) {
  std::vector<std::string> files;
  templating::Escape escape = templating::Escape::None;
  for (std::size_t i = 0; i < arguments.size(); ++i) {
    if (arguments[i] == "--escape") {
      if (i + 1 == arguments.size()) {
        throw UsageError("--escape needs a value");
      }
      escape = ParseEscape(arguments[++i]);
    } else if (arguments[i].starts_with("--")) {
      throw UsageError("unknown option '" + arguments[i] + "'");
    } else {
      files.push_back(arguments[i]);
    }
  }
  if (files.size() > 2) {
    throw UsageError("unexpected argument '" + files[2] + "'");
  }
  auto const event = files.empty() ? ToEvent(ParseJson(bundled::kEvent, "<bundled event>"), "<bundled event>")
                                   : ReadEventFile(files[0]);
  std::string const templateSource = files.size() < 2 ? "<bundled template>" : files[1];
  std::string const text = files.size() < 2 ? std::string(bundled::kTemplate) : ReadFile(files[1]);
  std::optional<templating::Template> compiled;
  try {
    compiled.emplace(text, escape);
  } catch (templating::SyntaxError const& error) {
    throw InputError(templateSource + ": " + error.what());
  }
  mstch::map const data = action::SerializeEvent(event);
  for (auto const& missing : compiled->FindMissingNames(data)) {
    err << (missing.partial.empty() ? templateSource : "partial " + missing.partial) << ":" << missing.line << ":"
        << missing.column << ": warning: the event's template data has no '" << missing.name << "'\n";
  }
  out << compiled->Render(data);
  return 0;
}

}  // namespace

Command const kRenderCommand{"render", "render a mustache template with an event's template data",
                             "usage: orv-action render [EVENT] [TEMPLATE] [--escape none|html|url|json]\n\n"
                             "Renders the mustache template in the file TEMPLATE with the template data of the event\n"
                             "in the file EVENT (\"-\" reads standard input) and prints the text. Without TEMPLATE,\n"
                             "and without EVENT, bundled examples are used. Values are inserted as they are unless\n"
                             "--escape names an escaping (html is the mustache default for {{name}}). A template\n"
                             "error names its line and column; names the template uses that the event's data does\n"
                             "not provide are reported as warnings on standard error.\n",
                             RunRender};

}  // namespace orv::tool
