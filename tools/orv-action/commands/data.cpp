#include <CLI/CLI.hpp>
#include <memory>
#include <ostream>
#include <string>

#include "../bundled.hpp"
#include "../commands.hpp"
#include "../event_file.hpp"
#include "orv/action/serialize.hpp"
#include "orv/action/template_data_json.hpp"

namespace orv::tool {

Command AddDataCommand(CLI::App& program) {
  CLI::App* parser =
      AddSubcommand(program, "data", "print the template data an action receives for an event",
                    "Prints the template data that an action receives for the event in the file EVENT, as\n"
                    "indented JSON with keys in ascending order. The event file format is described in\n"
                    "docs/event-format.md; the template data in docs/template-data.md.\n");
  auto const path = std::make_shared<std::string>();
  parser->add_option("EVENT", *path, "the event file; \"-\" reads standard input (default: a bundled example)");
  return {parser, [path](std::ostream& out, std::ostream&) {
            auto const event =
                path->empty() ? ReadEvent(SourceText("<bundled event>", bundled::kEvent)) : ReadEventFile(*path);
            out << action::TemplateDataToJson(action::SerializeEvent(event), 2) << '\n';
            return 0;
          }};
}

}  // namespace orv::tool
