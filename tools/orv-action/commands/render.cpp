#include <CLI/CLI.hpp>
#include <memory>
#include <optional>
#include <ostream>
#include <stdexcept>
#include <string>

#include "../bundled.hpp"
#include "../commands.hpp"
#include "../errors.hpp"
#include "../event_file.hpp"
#include "../input_file.hpp"
#include "../limits.hpp"
#include "../template_error.hpp"
#include "../template_rendering.hpp"
#include "orv/action/serialize.hpp"
#include "orv/templating/syntax_error.hpp"

namespace orv::tool {
namespace {

struct RenderArguments {
  std::string event;
  std::string templatePath;
  std::string escape = "none";
};

int Render(RenderArguments const& arguments, std::ostream& out, std::ostream& err) {
  if (arguments.event == "-" && arguments.templatePath == "-") {
    throw UsageError("EVENT and TEMPLATE cannot both read standard input");
  }
  auto const event = arguments.event.empty() ? ReadEvent(SourceText("<bundled event>", bundled::kEvent))
                                             : ReadEventFile(arguments.event);
  std::optional<SourceText> source;
  if (arguments.templatePath.empty()) {
    source.emplace("<bundled template>", bundled::kTemplate);
  } else {
    InputFile file(arguments.templatePath);
    source.emplace(file.Name(), file.ReadAll(limits::kTemplateBytes, "a template"));
  }
  std::optional<Rendering> rendering;
  try {
    rendering.emplace(RenderTemplate(source->Text(), templating::EscapeFromName(arguments.escape).value(), {},
                                     action::SerializeEvent(event)));
  } catch (templating::SyntaxError const& error) {
    throw InputError(Describe(error, *source));
  }
  for (auto const& missing : rendering->missingNames) {
    err << DescribeMissingName(missing, *source) << '\n';
  }
  if (!rendering->failure.empty()) {
    // Past a limit of rendering: the template is what to change.
    throw InputError(source->Name() + ": " + rendering->failure);
  }
  out << rendering->text;
  return 0;
}

}  // namespace

Command AddRenderCommand(CLI::App& program) {
  CLI::App* parser =
      AddSubcommand(program, "render", "render a mustache template with an event's template data",
                    "Renders the mustache template in the file TEMPLATE with the template data of the event\n"
                    "in the file EVENT and prints the text. Values are inserted as they are unless --escape\n"
                    "names an escaping (html is the mustache default for {{name}}). A template error names\n"
                    "its line and column; names the template uses that the event's data does not provide\n"
                    "are reported as warnings on standard error.\n");
  auto const arguments = std::make_shared<RenderArguments>();
  parser->add_option("EVENT", arguments->event,
                     "the event file; \"-\" reads standard input (default: a bundled example)");
  parser->add_option("TEMPLATE", arguments->templatePath,
                     "the template file; \"-\" reads standard input (default: a bundled mail template)");
  parser->add_option("--escape", arguments->escape, "how values are escaped (default: none)")
      ->option_text("none|html|url|json")
      ->check(CLI::IsMember(EscapeNames()));
  return {parser, [arguments](std::ostream& out, std::ostream& err) { return Render(*arguments, out, err); }};
}

}  // namespace orv::tool
