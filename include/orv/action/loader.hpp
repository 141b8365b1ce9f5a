#pragma once

#include <vector>

#include "orv/action/export.hpp"
#include "orv/action/registry.hpp"
#include "orv/system/plugin.hpp"

namespace orv::action::plugin {

// Brings in the concrete action types: constructed with true, it loads every
// plug-in library liborv_action_*.so found in the directory that holds the
// loaded liborv_action, in name order, and each plug-in registers its types as
// it loads. No other directory is searched. Construct one at start-up, before
// the first Action::Make; the object may be discarded at once.
//
// Each file is first tried in the plug-in scanner, a separate program (see
// orv::system::plugin::LoadAll), with liborv_action itself loaded there first,
// and is loaded here only if that trial reported success within 10 s. Plug-ins
// that fail are skipped; their types stay unknown and Action::Make of them
// returns an empty pointer. A type whose id another type registered first
// stays unknown too: the first one stays (Load reports the refusal). Throws
// what the system library throws when liborv_action itself cannot be located.
class ORV_ACTION_API Loader {
 public:
  // Loads the plug-ins when `load` is true; does nothing at all otherwise.
  explicit Loader(bool load);
};

// What Load did: the plug-in files loaded and those that failed, with the
// reason, as the system library reports them; and every registration the
// registry has refused so far in this process (registry::GetRefusals), with
// the type that holds its id and the files where known.
struct ORV_ACTION_API Report : system::plugin::Report {
  std::vector<registry::Refusal> refused;
};

// Loads the plug-ins as Loader(true) does and returns the report, for hosts
// that show it. `options` sets the trial's time limit (10 s unless told) and
// scanner; liborv_action is added to the libraries preloaded in the trial.
ORV_ACTION_API Report Load(system::plugin::Options options = {});

}  // namespace orv::action::plugin
