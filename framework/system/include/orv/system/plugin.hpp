#pragma once

#include <boost/filesystem/path.hpp>
#include <string>
#include <vector>

#include "orv/system/export.hpp"

namespace orv::system::plugin {

// A file that could not be loaded, with the reason (the dynamic loader's error
// text, or what the file's initialiser threw).
struct ORV_SYSTEM_API Failure {
  boost::filesystem::path path;
  std::string error;
};

// What LoadAll did: the files loaded, and the files (or directories) that failed.
struct ORV_SYSTEM_API Report {
  std::vector<boost::filesystem::path> loaded;
  std::vector<Failure> failed;
};

// Loads every file lib<prefix>*.so of each of `directories`, directory by
// directory and within one in name order, with the dynamic loader (all
// symbols resolved at once), running each library's initialisers. Loaded
// libraries stay loaded for the life of the process; loading one twice is
// harmless.
//
// A file that fails does not stop the others: a file that is not a shared
// library, one with unresolved symbols, and one whose initialiser throws or
// crashes are reported in `failed`, as is a directory that cannot be read.
// Each file is first tried in a short-lived child process, because the
// dynamic loader cannot pass an exception out of an initialiser: it would end
// this process. Initialisers therefore run once in that child too, and must
// have no effect outside their process (registering types is what they are
// for). Meant for start-up, before other threads load libraries.
ORV_SYSTEM_API Report LoadAll(std::string const& prefix, std::vector<boost::filesystem::path> const& directories);

}  // namespace orv::system::plugin
