#pragma once

#include <memory>

#include "orv/meta/data/event.hpp"

namespace orv::examples {

// A representative analytics event: three tracked objects (each with an
// eight-point outline and four records, one holding a nested tracked
// object), two zones, a counting line, two counters, a channel, the rule
// that fired, a classification, a colour signature of three colours, a
// segmented colour signature, speeds and areas. It starts at
// 2024-05-06T07:08:09.123456789Z and lasts 2.5 s.
std::shared_ptr<meta::data::Event const> MakeGoldenEvent();

}  // namespace orv::examples
