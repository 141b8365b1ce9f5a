#pragma once

#include <chrono>
#include <string>

#include "orv/chrono/export.hpp"
#include "orv/chrono/iso8601.hpp"

namespace orv::templating::serialize::archive::output {
class Data;
}  // namespace orv::templating::serialize::archive::output

namespace orv::chrono {

// Writes the fields of a time stamp, cut from `iso` (a text in the layout of
// ToIso8601) at fixed positions, into the node open in `archive`, in order:
// "year", "month", "day", "hours", "minutes", "seconds", "milliseconds",
// "microseconds", "nanoseconds" (the three are prefixes of the nine fraction
// digits), "epoch" (`sinceEpoch` in whole seconds, truncated toward zero),
// "iso8601" (all of `iso`) and the node "offset" with "sign", "hours",
// "minutes". "sign" is "+" when position 30 holds 'Z', else the character at
// position 29 ("Z" for a UTC text, whose offset is then "00", "00").
//
// Every value is a string node with its leading zeros. A text too short for a
// field it needs throws std::out_of_range from std::string::substr before
// anything is written; the offset fields are cut only when they are needed.
// The time-point writer below is this with ToIso8601.
ORV_CHRONO_API void SaveTimeFields(templating::serialize::archive::output::Data& archive, std::string const& iso,
                                   std::chrono::nanoseconds sinceEpoch);

}  // namespace orv::chrono

namespace cereal {

// Writes a time stamp into the node the caller opened, as SaveTimeFields
// with the text of orv::chrono::ToIso8601(time, orv::chrono::TimeZone{0}).
ORV_CHRONO_API void Save(orv::templating::serialize::archive::output::Data& archive,
                         orv::chrono::TimePoint const& time);

}  // namespace cereal
