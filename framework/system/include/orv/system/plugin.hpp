#pragma once

#include <boost/filesystem/path.hpp>
#include <chrono>
#include <string>
#include <vector>

#include "orv/system/export.hpp"

namespace orv::system::plugin {

// A file that could not be loaded, with the reason: the dynamic loader's error
// text, what the file's initialiser threw or how it ended its process, or why
// the trial could not run.
struct ORV_SYSTEM_API Failure {
  boost::filesystem::path path;
  std::string error;
};

// What LoadAll did: the files loaded, and the files (or directories) that failed.
struct ORV_SYSTEM_API Report {
  std::vector<boost::filesystem::path> loaded;
  std::vector<Failure> failed;
};

// How long the trial load of one file may take unless Options says otherwise.
inline constexpr std::chrono::milliseconds kDefaultTimeLimit{10'000};

// How LoadAll tries each file before loading it.
struct ORV_SYSTEM_API Options {
  // How long the trial of one file may take, from starting the scanner to its
  // verdict. A trial still running then is killed and the file fails with
  // "the trial load did not finish within 10 s". From 1 ms to one day.
  std::chrono::milliseconds timeLimit = kDefaultTimeLimit;
  // The scanner program; empty means the one installed with this library
  // (GetScannerPath()).
  boost::filesystem::path scanner;
  // Libraries the scanner loads, with their symbols global, before the file
  // it tries: the libraries that the plug-ins are built against and that this
  // process already holds, so that a plug-in finds them in the trial as it
  // does here (the same files, even where the dynamic loader would not find
  // them by name). A library that fails to load fails the file.
  std::vector<boost::filesystem::path> preload;
};

// The scanner program that tries plug-in files: orv-plugin-scan, installed
// under <prefix>/libexec/orv_action/ beside <prefix>/lib/ (the same relative
// place in the build tree). Found from the file of the loaded liborv_system,
// so an installed tree, a staging copy and the build tree all work; the path
// is not checked here.
ORV_SYSTEM_API boost::filesystem::path GetScannerPath();

// Loads every file lib<prefix>*.so of each of `directories`, directory by
// directory and within one in name order, with the dynamic loader (all
// symbols resolved at once, local scope), running each library's
// initialisers. Loaded libraries stay loaded for the life of the process;
// loading one twice is harmless.
//
// Each file is first tried by the scanner program, started with posix_spawn
// (never fork, so a host with running threads is safe), which loads only that
// file and says on a pipe that dlopen returned, or why it failed; only a file
// that passed is loaded here. So a file that is not a shared library, one
// with unresolved symbols, and one whose initialiser throws, crashes, ends
// the process (exit(0) included) or hangs past `options.timeLimit` fail
// without harming this process, and so does every file when the scanner
// cannot be started (nothing is loaded untried). A directory that cannot be
// read fails too; a failure does not stop the other files.
//
// Initialisers therefore run once in the scanner too, and must have no effect
// outside their process (registering types is what they are for); the
// scanner's process group, with anything an initialiser started, is killed
// after the trial. The scanner gets this process's environment, /dev/null as
// standard input and output, and this process's standard error.
//
// May be called while other threads run. It waits for its own scanner by
// process id: a process that ignores SIGCHLD, or reaps every child, keeps it
// from seeing how a trial without a verdict ended (the file then fails with
// that reason). Throws std::invalid_argument, naming the value, for a time
// limit out of its range.
ORV_SYSTEM_API Report LoadAll(std::string const& prefix, std::vector<boost::filesystem::path> const& directories);
ORV_SYSTEM_API Report LoadAll(std::string const& prefix, std::vector<boost::filesystem::path> const& directories,
                              Options const& options);

}  // namespace orv::system::plugin
