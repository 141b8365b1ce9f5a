#include "orv/action/loader.hpp"

#include <vector>

#include "orv/system/library_path.hpp"
#include "orv/system/plugin.hpp"

namespace orv::action::plugin {

Loader::Loader(bool load) {
  if (load) {
    Load();
  }
}

system::plugin::Report Load() {
  boost::filesystem::path const library = system::GetLibraryPath("orv_action");
  std::vector<boost::filesystem::path> const directories{library.parent_path()};
  return system::plugin::LoadAll("orv_action_", directories);
}

}  // namespace orv::action::plugin
