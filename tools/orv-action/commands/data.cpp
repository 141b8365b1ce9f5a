#include <ostream>

#include "../bundled.hpp"
#include "../commands.hpp"
#include "../event_file.hpp"
#include "../template_data_json.hpp"
#include "orv/action/serialize.hpp"

namespace orv::tool {
namespace {

int RunData(Arguments const& arguments, std::ostream& out, std::ostream&) {
  if (arguments.size() > 1) {
    throw UsageError("unexpected argument '" + arguments[1] + "'");
  }
  auto const event = arguments.empty() ? ToEvent(ParseJson(bundled::kEvent, "<bundled event>"), "<bundled event>")
                                       : ReadEventFile(arguments[0]);
  out << ToJson(action::SerializeEvent(event)).dump(2) << '\n';
  return 0;
}

}  // namespace

Command const kDataCommand{"data", "print the template data an action receives for an event",
                           "usage: orv-action data [EVENT]\n\n"
                           "Prints the template data that an action receives for the event in the file EVENT\n"
                           "(\"-\" reads standard input), as indented JSON with keys in ascending order. Without\n"
                           "EVENT it uses a bundled example event. The event file format is described in\n"
                           "docs/event-format.md; the template data in docs/template-data.md.\n",
                           RunData};

}  // namespace orv::tool
