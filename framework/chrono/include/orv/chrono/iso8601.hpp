#pragma once

#include <chrono>
#include <string>

#include "orv/chrono/export.hpp"

namespace orv::chrono {

// Time stamps of the framework: the system clock at nanosecond resolution.
using TimePoint = std::chrono::time_point<std::chrono::system_clock, std::chrono::nanoseconds>;

// The zone a time is written in.
enum class TimeZone {
  Local = 0,  // the device's local time (the TZ environment), with its UTC offset
  Utc = 1,    // UTC, marked "Z"
};

// ISO 8601 text of `time` with nine fraction digits, always in this layout:
//   Utc:   "2024-05-06T07:08:09.123456789Z"       (30 characters)
//   Local: "2024-05-06T09:08:09.123456789+02:00"  (35 characters; "+00:00" when
//          the offset is zero). Offsets with seconds (old local mean times)
//          keep whole minutes.
// Times before 1970 count back from the epoch: one nanosecond before it is
// "1969-12-31T23:59:59.999999999Z". Local time follows the process's time
// zone as last read by tzset().
ORV_CHRONO_API std::string ToIso8601(TimePoint time, TimeZone zone);

}  // namespace orv::chrono
