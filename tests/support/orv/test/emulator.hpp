#pragma once

#include <cstdlib>
#include <string>

namespace orv::test {

// True when the suite runs under qemu-user (a cross build's tests; ctest sets
// ORV_TEST_UNDER_EMULATOR). qemu-user runs the child of posix_spawn as a
// forked process rather than a vfork that shares the parent's memory, so
// glibc cannot hand an exec failure back to the parent: the child exits with
// status 127 instead, and the parent sees a program that ended at once.
inline bool UnderEmulator() { return std::getenv("ORV_TEST_UNDER_EMULATOR") != nullptr; }

// What the plug-in loader reports when `scanner` cannot be executed, with
// `reason` the error of execve: exact on a device, the 127 exit under qemu.
inline std::string ScannerStartFailure(std::string const& scanner, std::string const& reason) {
  if (UnderEmulator()) {
    return "the plug-in scanner " + scanner + " ended before trying the file (exit status 127)";
  }
  return "could not start the plug-in scanner " + scanner + ": " + reason;
}

}  // namespace orv::test
