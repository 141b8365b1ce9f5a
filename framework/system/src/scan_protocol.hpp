#pragma once

// What the plug-in scanner and liborv_system say to each other.
//
// The library starts `orv-plugin-scan [--preload LIBRARY]... FILE` with the
// write end of a pipe as descriptor kReportDescriptor. The scanner writes
// messages, each ended by a NUL byte: kTrying once it runs, then exactly one
// verdict, kLoaded after dlopen of FILE returned, or kFailed followed by the
// reason. Anything else (no verdict, a process that ends or hangs) is a
// failure that the library describes from the exit status or the time limit.

#include <dlfcn.h>

#include <string_view>

namespace orv::system::plugin::scan {

inline constexpr int kReportDescriptor = 3;

inline constexpr std::string_view kTrying = "trying";
inline constexpr std::string_view kLoaded = "loaded";
inline constexpr std::string_view kFailed = "failed:";

inline constexpr std::string_view kPreloadOption = "--preload";

// How plug-ins are loaded, in the trial and for real.
inline constexpr int kLoadFlags = RTLD_NOW | RTLD_LOCAL;
inline constexpr int kPreloadFlags = RTLD_NOW | RTLD_GLOBAL;

}  // namespace orv::system::plugin::scan
