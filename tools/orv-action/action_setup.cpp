#include "action_setup.hpp"

#include <algorithm>

#include "command_line.hpp"
#include "orv/action/registry.hpp"
#include "orv/property/context.hpp"

namespace orv::tool {
namespace {

std::string JoinNames(std::vector<std::string> const& names) {
  std::string joined;
  for (auto const& name : names) {
    joined += (joined.empty() ? "" : ", ") + name;
  }
  return joined.empty() ? "(none)" : joined;
}

}  // namespace

property::Property& ConfigurableAction::Get(std::string const& name) const {
  auto const found = properties.find(name);
  if (found != properties.end()) {
    return *found->second;
  }
  std::vector<std::string> names;
  for (auto const& [known, property] : properties) {
    names.push_back(known);
  }
  char const* type = action->GetTypeName();
  throw InputError("unknown property '" + name + "' of action type '" + (type != nullptr ? type : "?") +
                   "'; its properties are " + JoinNames(names));
}

std::vector<std::string> GetRegisteredTypeNames() {
  std::vector<std::string> names;
  {
    auto const map = action::registry::Get().GetMap();
    for (auto const& [id, info] : *map) {
      names.emplace_back(info.GetTypeName());
    }
  }
  std::sort(names.begin(), names.end());
  return names;
}

ConfigurableAction MakeConfigurableAction(std::string const& typeName) {
  hash::MurmurThree32 const id(typeName.c_str());
  std::vector<property::Schema> schemas;
  bool known = false;
  {
    auto const map = action::registry::Get().GetMap();
    if (auto const found = map->find(id); found != map->end()) {
      known = true;
      schemas = found->second.GetSchemas();
    }
  }
  std::shared_ptr<action::Action> action = known ? action::Action::Make(id) : nullptr;
  if (!action) {
    throw InputError("unknown action type '" + typeName + "'; the registered types are " +
                     JoinNames(GetRegisteredTypeNames()));
  }
  ConfigurableAction configurable{action, {}};
  for (auto const& schema : schemas) {
    // FromOwner: the property takes the action's values; nothing is pushed.
    auto property = schema.Instantiate(action, property::context::Direction::FromOwner);
    configurable.properties.emplace(property->GetName(), std::move(property));
  }
  return configurable;
}

}  // namespace orv::tool
