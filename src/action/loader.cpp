#include "orv/action/loader.hpp"

#include <utility>
#include <vector>

#include "orv/system/library_path.hpp"
#include "orv/system/plugin.hpp"

namespace orv::action::plugin {
namespace {

namespace fs = boost::filesystem;

char const kLibrary[] = "orv_action";
char const kPrefix[] = "orv_action_";

system::plugin::Report LoadBeside(fs::path const& library, system::plugin::Options options) {
  // The trial holds the very liborv_action that this process holds, as the
  // plug-ins find it here, wherever it is installed.
  options.preload.push_back(library);
  std::vector<fs::path> const directories{library.parent_path()};
  return system::plugin::LoadAll(kPrefix, directories, options);
}

}  // namespace

Loader::Loader(bool load) {
  if (load) {
    LoadBeside(system::GetLibraryPath(kLibrary), {});
  }
}

Report Load(system::plugin::Options options) {
  Report report{LoadBeside(system::GetLibraryPath(kLibrary), std::move(options)), {}};
  report.refused = registry::GetRefusals();
  return report;
}

}  // namespace orv::action::plugin
