// Device configurations, as `orv-action run` reads them: the text is parsed
// and every action made and configured through its properties, or refused
// with a message naming the place. Nothing runs and nothing is sent.

#include <string>

#include "device_config.hpp"
#include "errors.hpp"
#include "fuzz_support.hpp"
#include "property_values.hpp"

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
  using namespace orv;
  tool::SourceText const source("config.json", std::string(fuzz::AsText(data, size)));
  try {
    tool::Device const device = tool::ReadDevice(source);
    // What `orv-action types` and a host show of a configured action.
    for (auto const& action : device.actions) {
      for (auto const& property : action->configurable.properties) {
        fuzz::Check(!tool::ValueTextOf(*property).empty(), "a property shows no value", property->GetName());
      }
    }
  } catch (tool::InputError const& error) {
    fuzz::Check(fuzz::NamesPlace(error.what(), "config.json"), "a configuration error names no place", error.what());
  }
  return 0;
}
