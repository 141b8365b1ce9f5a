#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "action_setup.hpp"
#include "orv/observable/observable.hpp"
#include "orv/property/property.hpp"
#include "orv/type/binding.hpp"
#include "source_text.hpp"

namespace orv::tool {

// A configured action, the rules it listens to, and what the host watches of it.
struct DeviceAction {
  ConfigurableAction configurable;
  property::Property::Observables rules;
  std::vector<type::Binding> audits;  // one per rule, subscribed by the host right after the action
  std::string key;                    // its key in the outbox's counters
  std::uint64_t cooledDown = 0;       // the events its cool-down skipped, as last seen
};

// A device as a configuration describes it: one observable per rule id and
// the configured actions.
struct Device {
  std::map<std::uint32_t, std::shared_ptr<observable::Observable>> rules;
  std::vector<std::unique_ptr<DeviceAction>> actions;
  bool armed = false;
};

// Builds the device of the configuration whose JSON text `source` holds
// (see examples/device/config.json): every action made through the registry
// and configured through its properties; the rules it listens to are kept,
// not yet subscribed. Nothing is sent and no action runs. Throws InputError
// "<name>:<line>:<column>: <JSON path>: <message>" for anything it cannot use.
Device ReadDevice(SourceText const& source);

// Reads the configuration file at `path` ("-" for standard input), at most
// limits::kJsonTextBytes long, and builds its device as above.
Device ReadDeviceFile(std::string const& path);

}  // namespace orv::tool
