#pragma once

#include <cstddef>

// Limits on what the program accepts from files, standard input and the
// command line. Each keeps one bad input from exhausting the stack or memory;
// going past one is an input error naming the limit and the place.
// docs/event-format.md lists them for users, docs/limits.md with the others.
namespace orv::tool::limits {

// Levels of nested arrays and objects in one JSON text (an event file, an
// event line, a device configuration).
inline constexpr std::size_t kJsonDepth = 128;

// Bytes of one event file, one event line or one device configuration.
inline constexpr std::size_t kJsonTextBytes = std::size_t{16} << 20;

// Bytes of a template file given to `render`; the template library refuses
// longer templates anyway.
inline constexpr std::size_t kTemplateBytes = std::size_t{1} << 20;

// Meta-data objects in one event, those inside tracked objects included.
inline constexpr std::size_t kEventObjects = 100'000;

// Levels of tracked objects inside tracked objects: an "Object" in the
// event's own list is at level 1.
inline constexpr std::size_t kTrackedObjectDepth = 32;

// Characters of a bad value that a message quotes before "...".
inline constexpr std::size_t kQuotedCharacters = 60;

}  // namespace orv::tool::limits
