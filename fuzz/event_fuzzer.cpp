// Event JSON, as `orv-action data`, `render` and `run` read it: the text is
// parsed into an event or refused with a message naming the place; an event
// becomes template data (SerializeEvent), and that prints as JSON.

#include <cstdlib>
#include <ctime>
#include <string>

#include "errors.hpp"
#include "event_file.hpp"
#include "fuzz_support.hpp"
#include "orv/action/serialize.hpp"
#include "orv/action/template_data_json.hpp"

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  // Template data shows local times; one zone keeps every run alike.
  setenv("TZ", "UTC", 1);
  tzset();
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
  using namespace orv;
  // The first line of an event line of `run` is its number in the file.
  tool::SourceText const source("events.jsonl", std::string(fuzz::AsText(data, size)), 7);
  std::shared_ptr<meta::data::Event> event;
  try {
    event = tool::ReadEvent(source);
  } catch (tool::InputError const& error) {
    std::size_t line = 0;
    fuzz::Check(fuzz::NamesPlace(error.what(), "events.jsonl", &line), "an event error names no place", error.what());
    fuzz::Check(line >= 7, "an event error names a line before the event's first", error.what());
    return 0;
  }
  // What `orv-action data` prints.
  std::string const json = action::TemplateDataToJson(action::SerializeEvent(event), 2);
  fuzz::Check(!json.empty(), "empty template data");
  return 0;
}
