#include "action_setup.hpp"

#include <algorithm>
#include <optional>

#include "errors.hpp"
#include "message_text.hpp"
#include "orv/action/registry.hpp"
#include "orv/property/context.hpp"

namespace orv::tool {

property::Property& ConfigurableAction::Get(std::string const& name) const {
  std::vector<std::string> names;
  for (auto const& property : properties) {
    if (property->GetName() == name) {
      return *property;
    }
    names.push_back(property->GetName());
  }
  std::sort(names.begin(), names.end());
  char const* type = action->GetTypeName();
  throw InputError("unknown property '" + Shorten(name) + "' of action type '" + (type != nullptr ? type : "?") +
                   "'; its properties are " + Join(names));
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
  std::optional<action::registry::Info> info;
  {
    auto const map = action::registry::Get().GetMap();
    // The name is compared too: a different name with the same hash, or one
    // cut short by a NUL, is not the registered type.
    if (auto const found = map->find(id); found != map->end() && typeName == found->second.GetTypeName()) {
      info = found->second;
    }
  }
  std::shared_ptr<action::Action> action = info ? action::Action::Make(id) : nullptr;
  if (!action) {
    throw InputError("unknown action type '" + Shorten(typeName) + "'; the registered types are " +
                     Join(GetRegisteredTypeNames()));
  }
  std::vector<property::Schema> const schemas = info->GetSchemas();
  ConfigurableAction configurable{action, {}};
  for (auto const& schema : schemas) {
    // FromOwner: the property takes the action's values; nothing is pushed.
    auto property = schema.Instantiate(action, property::context::Direction::FromOwner);
    configurable.properties.push_back(std::move(property));
  }
  return configurable;
}

}  // namespace orv::tool
