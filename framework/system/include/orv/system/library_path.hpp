#pragma once

#include <boost/filesystem/path.hpp>
#include <string>

#include "orv/system/export.hpp"

namespace orv::system {

// The file of the loaded shared library whose base name is `name`: the first
// library loaded into this process as lib<name>.so or lib<name>.so.<version>,
// as the dynamic loader knows it (never looked up in the working directory).
// Throws std::runtime_error naming `name` when no such library is loaded.
ORV_SYSTEM_API boost::filesystem::path GetLibraryPath(std::string const& name);

}  // namespace orv::system
