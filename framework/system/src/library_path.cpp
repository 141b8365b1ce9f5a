#include "orv/system/library_path.hpp"

#include <dlfcn.h>
#include <link.h>

#include <stdexcept>

namespace orv::system {
namespace {

struct Search {
  std::string wanted;  // lib<name>.so
  boost::filesystem::path found;
};

bool IsLibraryFile(std::string const& fileName, std::string const& wanted) {
  return fileName == wanted || fileName.rfind(wanted + '.', 0) == 0;
}

int Visit(dl_phdr_info* info, std::size_t, void* data) {
  auto& search = *static_cast<Search*>(data);
  if (info->dlpi_name == nullptr || info->dlpi_name[0] == '\0') {
    return 0;  // the main program
  }
  boost::filesystem::path const path(info->dlpi_name);
  if (!IsLibraryFile(path.filename().string(), search.wanted)) {
    return 0;
  }
  search.found = path;
  return 1;
}

// The directory the dynamic loader found `path` in, for a library that it
// recorded under a relative name (relative to a working directory that may
// have changed since).
boost::filesystem::path MakeAbsolute(boost::filesystem::path const& path) {
  void* handle = dlopen(path.c_str(), RTLD_LAZY | RTLD_NOLOAD);
  if (handle == nullptr) {
    return path;
  }
  char origin[4096] = {};
  bool const known = dlinfo(handle, RTLD_DI_ORIGIN, origin) == 0;
  dlclose(handle);
  return known ? boost::filesystem::path(origin) / path.filename() : path;
}

}  // namespace

boost::filesystem::path GetLibraryPath(std::string const& name) {
  Search search{"lib" + name + ".so", {}};
  if (dl_iterate_phdr(&Visit, &search) == 0) {
    throw std::runtime_error("No loaded shared library has the base name '" + name + "'");
  }
  return search.found.is_absolute() ? search.found : MakeAbsolute(search.found);
}

}  // namespace orv::system
