#include "orv/action/action.hpp"
#include "orv/action/registry.hpp"

namespace orv::action {

namespace registry {

type::Registry<Info>& Get() {
  static type::Registry<Info> registry;
  return registry;
}

}  // namespace registry

char const* Action::TypeName(hash::MurmurThree32 const& typeNameId) {
  auto const map = registry::Get().GetMap();
  auto const it = map->find(typeNameId);
  return it == map->end() ? nullptr : it->second.GetTypeName();
}

std::shared_ptr<Action> Action::Make(hash::MurmurThree32 const& typeNameId) {
  auto const map = registry::Get().GetMap();
  auto const it = map->find(typeNameId);
  if (it == map->end()) {
    return nullptr;
  }
  // Still under the lock: makes are serialised across the process.
  return it->second.GetMake()();
}

}  // namespace orv::action
