#include "device_config.hpp"

#include <set>
#include <utility>

#include "errors.hpp"
#include "input_file.hpp"
#include "json_field.hpp"
#include "json_input.hpp"
#include "limits.hpp"
#include "orv/outbox/process.hpp"
#include "property_values.hpp"

namespace orv::tool {

Device ReadDevice(SourceText const& source) {
  nlohmann::json const json = ParseJson(source);
  JsonField const config(json, source);
  config.OnlyFields({"armed", "actions"});
  Device device;
  device.armed = config["armed"].Bool();
  for (JsonField const& entry : config["actions"].Elements()) {
    entry.OnlyFields({"type", "name", "always_trigger", "rules", "properties"});
    JsonField const type = entry["type"];
    ConfigurableAction configurable;
    try {
      configurable = MakeConfigurableAction(type.String());
    } catch (InputError const& error) {
      type.Fail(error.what());
    }
    auto const set = [&configurable](JsonField const& field, std::string const& name) {
      property::Property* property = nullptr;
      try {
        property = &configurable.Get(name);
      } catch (InputError const& error) {
        field.Fail(error.what());
      }
      SetFromJson(*property, field);
    };
    set(entry["name"], "name");
    if (entry.Has("always_trigger")) {
      set(entry["always_trigger"], "always_trigger");
    }
    if (entry.Has("properties")) {
      for (auto const& [name, value] : entry["properties"].Members()) {
        if (name == "name" || name == "always_trigger" || name == "observables") {
          value.Fail("'" + name + "' is set by the action's own field, not here");
        }
        set(value, name);
      }
    }
    // A rule listed twice would run the action twice for each of its events.
    property::Property::Observables observables;
    std::set<std::uint32_t> ids;
    for (JsonField const& element : entry["rules"].Elements()) {
      std::uint32_t const id = element.Id();
      if (!ids.insert(id).second) {
        element.Fail("duplicate rule id " + std::to_string(id));
      }
      auto& rule = device.rules[id];
      if (!rule) {
        rule = std::make_shared<observable::Observable>(id);
      }
      observables.push_back(rule);
    }
    configurable.Get("observables");  // every action has it; checked before anything runs
    std::string key = outbox::MakeActionKey(type.String(), configurable.action->GetName());
    device.actions.push_back(std::make_unique<DeviceAction>(
        DeviceAction{std::move(configurable), std::move(observables), {}, std::move(key), 0}));
  }
  return device;
}

Device ReadDeviceFile(std::string const& path) {
  InputFile file(path);
  return ReadDevice(SourceText(file.Name(), file.ReadAll(limits::kJsonTextBytes, "a device configuration")));
}

}  // namespace orv::tool
