#include <CLI/CLI.hpp>
#include <iomanip>
#include <ostream>
#include <sstream>

#include "../action_setup.hpp"
#include "../commands.hpp"
#include "../property_values.hpp"
#include "orv/action/loader.hpp"
#include "orv/action/registry.hpp"

namespace orv::tool {
namespace {

int RunTypes(std::ostream& out) {
  action::plugin::Report const report = action::plugin::Load();
  for (std::string const& typeName : GetRegisteredTypeNames()) {
    hash::MurmurThree32 const id(typeName.c_str());
    std::ostringstream hex;
    hex << "0x" << std::hex << std::setw(8) << std::setfill('0') << id.GetValue();
    out << typeName << "  " << hex.str() << '\n';
    // The defaults are what a new action of the type holds.
    for (auto const& property : MakeConfigurableAction(typeName).properties) {
      out << "  " << property->GetName() << " (" << ValueTypeOf(*property) << ", default " << ValueTextOf(*property)
          << "): " << property->GetDescription() << '\n';
    }
  }
  if (!report.failed.empty()) {
    out << "plug-ins that failed to load:\n";
    for (auto const& failure : report.failed) {
      // The loader's own texts already start with the file's path.
      std::string const path = failure.path.string();
      out << "  " << (failure.error.starts_with(path) ? "" : path + ": ") << failure.error << '\n';
    }
  }
  if (!report.refused.empty()) {
    out << "registrations that were refused:\n";
    for (auto const& refusal : report.refused) {
      out << "  " << action::registry::Describe(refusal) << '\n';
    }
  }
  return 0;
}

}  // namespace

Command AddTypesCommand(CLI::App& program) {
  CLI::App* parser =
      AddSubcommand(program, "types", "list the action types of the plug-ins and their properties",
                    "Loads the action plug-ins next to liborv_action and lists every registered action\n"
                    "type: its type name and type-name id, then each property with its value type,\n"
                    "default and description. Plug-ins that failed to load follow, with the reason, and\n"
                    "registrations that were refused because another type holds their type-name id.\n");
  return {parser, [](std::ostream& out, std::ostream&) { return RunTypes(out); }};
}

}  // namespace orv::tool
