#include "orv/chrono/iso8601.hpp"

#include <cstdint>
#include <ctime>
#include <stdexcept>

namespace orv::chrono {
namespace {

// Writes `value` as exactly `width` digits ending just before `end`.
char* Digits(char* end, std::uint64_t value, int width) {
  for (int i = 0; i < width; ++i) {
    *--end = static_cast<char>('0' + value % 10);
    value /= 10;
  }
  return end;
}

}  // namespace

std::string ToIso8601(TimePoint time, TimeZone zone) {
  std::int64_t const count = time.time_since_epoch().count();
  // Floor division, so that times before 1970 keep a positive fraction.
  std::int64_t seconds = count / 1000000000;
  std::int64_t fraction = count % 1000000000;
  if (fraction < 0) {
    fraction += 1000000000;
    --seconds;
  }
  std::time_t const whole = static_cast<std::time_t>(seconds);
  std::tm fields{};
  bool const converted =
      zone == TimeZone::Utc ? gmtime_r(&whole, &fields) != nullptr : localtime_r(&whole, &fields) != nullptr;
  if (!converted) {
    throw std::out_of_range("The time point cannot be broken down into calendar fields");
  }

  char text[48];
  char* end = text + 29;
  Digits(end, static_cast<std::uint64_t>(fraction), 9);
  text[19] = '.';
  Digits(text + 19, static_cast<std::uint64_t>(fields.tm_sec), 2);
  text[16] = ':';
  Digits(text + 16, static_cast<std::uint64_t>(fields.tm_min), 2);
  text[13] = ':';
  Digits(text + 13, static_cast<std::uint64_t>(fields.tm_hour), 2);
  text[10] = 'T';
  Digits(text + 10, static_cast<std::uint64_t>(fields.tm_mday), 2);
  text[7] = '-';
  Digits(text + 7, static_cast<std::uint64_t>(fields.tm_mon + 1), 2);
  text[4] = '-';
  // Nanosecond time points span the years 1677 to 2262: always four digits.
  Digits(text + 4, static_cast<std::uint64_t>(fields.tm_year + 1900), 4);

  if (zone == TimeZone::Utc) {
    *end++ = 'Z';
  } else {
    long const offset = fields.tm_gmtoff;
    long const minutes = (offset < 0 ? -offset : offset) / 60;
    *end++ = offset < 0 ? '-' : '+';
    end = Digits(end + 2, static_cast<std::uint64_t>(minutes / 60), 2) + 2;
    *end++ = ':';
    end = Digits(end + 2, static_cast<std::uint64_t>(minutes % 60), 2) + 2;
  }
  return std::string(text, end);
}

}  // namespace orv::chrono
