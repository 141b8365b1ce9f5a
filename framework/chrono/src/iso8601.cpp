#include "orv/chrono/iso8601.hpp"

#include <chrono>
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

// A time broken down into calendar fields, with its offset from UTC.
struct Fields {
  std::int64_t year;
  unsigned month;  // 1 to 12
  unsigned day;    // 1 to 31
  std::int64_t hours;
  std::int64_t minutes;
  std::int64_t seconds;
  std::int64_t offsetSeconds;
};

// UTC by calendar arithmetic alone, so that no time_t is involved whatever its
// width on the target.
Fields UtcFields(std::int64_t seconds) {
  using namespace std::chrono;
  sys_seconds const point{std::chrono::seconds(seconds)};
  sys_days const day = floor<days>(point);
  year_month_day const date(day);
  hh_mm_ss<std::chrono::seconds> const time(point - day);
  return {static_cast<int>(date.year()),
          static_cast<unsigned>(date.month()),
          static_cast<unsigned>(date.day()),
          time.hours().count(),
          time.minutes().count(),
          time.seconds().count(),
          0};
}

// The device's local time through the C library, which alone knows the zone
// rules (TZ). The build uses a 64-bit time_t on every target (_TIME_BITS=64 on
// 32-bit ones), so times after 2038 convert there too.
static_assert(sizeof(std::time_t) >= 8, "times after 2038 need a 64-bit time_t");
Fields LocalFields(std::int64_t seconds) {
  std::time_t const whole = static_cast<std::time_t>(seconds);
  std::tm fields{};
  if (localtime_r(&whole, &fields) == nullptr) {
    throw std::out_of_range("The time point cannot be broken down into calendar fields");
  }
  return {std::int64_t{fields.tm_year} + 1900,
          static_cast<unsigned>(fields.tm_mon + 1),
          static_cast<unsigned>(fields.tm_mday),
          fields.tm_hour,
          fields.tm_min,
          fields.tm_sec,
          fields.tm_gmtoff};
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
  Fields const fields = zone == TimeZone::Utc ? UtcFields(seconds) : LocalFields(seconds);

  char text[48];
  char* end = text + 29;
  Digits(end, static_cast<std::uint64_t>(fraction), 9);
  text[19] = '.';
  Digits(text + 19, static_cast<std::uint64_t>(fields.seconds), 2);
  text[16] = ':';
  Digits(text + 16, static_cast<std::uint64_t>(fields.minutes), 2);
  text[13] = ':';
  Digits(text + 13, static_cast<std::uint64_t>(fields.hours), 2);
  text[10] = 'T';
  Digits(text + 10, static_cast<std::uint64_t>(fields.day), 2);
  text[7] = '-';
  Digits(text + 7, static_cast<std::uint64_t>(fields.month), 2);
  text[4] = '-';
  // Nanosecond time points span the years 1677 to 2262: always four digits.
  Digits(text + 4, static_cast<std::uint64_t>(fields.year), 4);

  if (zone == TimeZone::Utc) {
    *end++ = 'Z';
  } else {
    std::int64_t const offset = fields.offsetSeconds;
    std::int64_t const minutes = (offset < 0 ? -offset : offset) / 60;
    *end++ = offset < 0 ? '-' : '+';
    end = Digits(end + 2, static_cast<std::uint64_t>(minutes / 60), 2) + 2;
    *end++ = ':';
    end = Digits(end + 2, static_cast<std::uint64_t>(minutes % 60), 2) + 2;
  }
  return std::string(text, end);
}

}  // namespace orv::chrono
