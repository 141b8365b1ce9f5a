#pragma once

#include "orv/action/export.hpp"
#include "orv/system/plugin.hpp"

namespace orv::action::plugin {

// Brings in the concrete action types: constructed with true, it loads every
// plug-in library liborv_action_*.so found in the directory that holds the
// loaded liborv_action, and each plug-in registers its types as it loads. No
// other directory is searched. Construct one at start-up, before the first
// Action::Make; the object may be discarded at once.
//
// Plug-ins that fail to load are skipped; their types stay unknown and
// Action::Make of them returns an empty pointer. Throws what the system
// library throws when liborv_action itself cannot be located.
class ORV_ACTION_API Loader {
 public:
  // Loads the plug-ins when `load` is true; does nothing at all otherwise.
  explicit Loader(bool load);
};

// Loads the plug-ins as Loader(true) does and returns what was loaded and what
// failed, for hosts that show it.
ORV_ACTION_API system::plugin::Report Load();

}  // namespace orv::action::plugin
