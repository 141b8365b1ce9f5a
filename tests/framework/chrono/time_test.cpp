#include <gtest/gtest.h>

#include <chrono>
#include <stdexcept>

#include "orv/chrono/iso8601.hpp"
#include "orv/chrono/save.hpp"
#include "orv/templating/serialize/archive/output/data.hpp"
#include "orv/test/scoped_time_zone.hpp"
#include "orv/test/tree.hpp"

namespace orv::chrono {
namespace {

using namespace std::chrono_literals;
using templating::serialize::archive::output::Data;
using test::Map;
using test::Node;
using test::SameTree;
using test::ScopedTimeZone;
using test::Text;

// 2024-05-06T07:08:09Z plus `fraction`.
TimePoint May6th(std::chrono::nanoseconds fraction) {
  using namespace std::chrono;
  return TimePoint(sys_days(year(2024) / May / 6).time_since_epoch() + 7h + 8min + 9s + fraction);
}

TEST(ToIso8601, WritesUtcWithNineFractionDigitsAndZ) {
  EXPECT_EQ(ToIso8601(May6th(123456789ns), TimeZone::Utc), "2024-05-06T07:08:09.123456789Z");
  EXPECT_EQ(ToIso8601(May6th(0ns), TimeZone::Utc), "2024-05-06T07:08:09.000000000Z");
  EXPECT_EQ(ToIso8601(TimePoint(0ns), TimeZone::Utc), "1970-01-01T00:00:00.000000000Z");
}

TEST(ToIso8601, CountsBackBefore1970) {
  EXPECT_EQ(ToIso8601(TimePoint(-1ns), TimeZone::Utc), "1969-12-31T23:59:59.999999999Z");
  EXPECT_EQ(ToIso8601(TimePoint(-1s - 1ns), TimeZone::Utc), "1969-12-31T23:59:58.999999999Z");
  EXPECT_EQ(ToIso8601(TimePoint(-1s), TimeZone::Utc), "1969-12-31T23:59:59.000000000Z");
}

TEST(ToIso8601, LocalTimeCarriesTheOffset) {
  {
    ScopedTimeZone zone("<+0200>-2");
    EXPECT_EQ(ToIso8601(May6th(123456789ns), TimeZone::Local), "2024-05-06T09:08:09.123456789+02:00");
  }
  {
    ScopedTimeZone zone("<-0530>5:30");
    EXPECT_EQ(ToIso8601(May6th(1ns), TimeZone::Local), "2024-05-06T01:38:09.000000001-05:30");
  }
  {
    ScopedTimeZone zone("UTC0");
    EXPECT_EQ(ToIso8601(May6th(5ns), TimeZone::Local), "2024-05-06T07:08:09.000000005+00:00");
    EXPECT_EQ(ToIso8601(TimePoint(-1ns), TimeZone::Local), "1969-12-31T23:59:59.999999999+00:00");
  }
  EXPECT_EQ(static_cast<int>(TimeZone::Local), 0);
}

// Times past 2038-01-19T03:14:07Z, the end of a 32-bit time_t, up to the
// last nanosecond a time point can hold, and back to its first.
TEST(ToIso8601, WritesTimesAfter2038AndAtTheEndsOfTheRange) {
  EXPECT_EQ(ToIso8601(TimePoint(2147483647s), TimeZone::Utc), "2038-01-19T03:14:07.000000000Z");
  EXPECT_EQ(ToIso8601(TimePoint(2147483648s), TimeZone::Utc), "2038-01-19T03:14:08.000000000Z");
  EXPECT_EQ(ToIso8601(TimePoint(4294967296s + 1ns), TimeZone::Utc), "2106-02-07T06:28:16.000000001Z");
  EXPECT_EQ(ToIso8601(TimePoint(3981355200s), TimeZone::Utc), "2096-02-29T12:00:00.000000000Z");
  EXPECT_EQ(ToIso8601(TimePoint::max(), TimeZone::Utc), "2262-04-11T23:47:16.854775807Z");
  EXPECT_EQ(ToIso8601(TimePoint::min(), TimeZone::Utc), "1677-09-21T00:12:43.145224192Z");
}

TEST(ToIso8601, LocalTimeAfter2038FollowsTheZoneRules) {
  {
    ScopedTimeZone zone("<+0200>-2");
    EXPECT_EQ(ToIso8601(TimePoint(2147483648s), TimeZone::Local), "2038-01-19T05:14:08.000000000+02:00");
    EXPECT_EQ(ToIso8601(TimePoint::max(), TimeZone::Local), "2262-04-12T01:47:16.854775807+02:00");
  }
  {
    // Summer time from the last Sunday of March to the last Sunday of October.
    ScopedTimeZone zone("CET-1CEST,M3.5.0,M10.5.0/3");
    EXPECT_EQ(ToIso8601(TimePoint(4118126400s), TimeZone::Local), "2100-07-01T14:00:00.000000000+02:00");
    EXPECT_EQ(ToIso8601(TimePoint(4102488000s), TimeZone::Local), "2100-01-01T13:00:00.000000000+01:00");
  }
}

mstch::map TimeNode(char const* year, char const* month, char const* day, char const* hours, char const* minutes,
                    char const* seconds, char const* fraction, char const* epoch, char const* iso, char const* sign,
                    char const* offsetHours, char const* offsetMinutes) {
  std::string const f(fraction);
  return Map(
      {{"year", Text(year)},
       {"month", Text(month)},
       {"day", Text(day)},
       {"hours", Text(hours)},
       {"minutes", Text(minutes)},
       {"seconds", Text(seconds)},
       {"milliseconds", Text(f.substr(0, 3))},
       {"microseconds", Text(f.substr(0, 6))},
       {"nanoseconds", Text(f)},
       {"epoch", Text(epoch)},
       {"iso8601", Text(iso)},
       {"offset", Node(Map({{"sign", Text(sign)}, {"hours", Text(offsetHours)}, {"minutes", Text(offsetMinutes)}}))}});
}

TEST(SaveTime, UtcTextHasSignZAndZeroOffset) {
  mstch::map root;
  Data archive(root);
  TimePoint const time = May6th(123456789ns);
  SaveTimeFields(archive, ToIso8601(time, TimeZone::Utc), time.time_since_epoch());
  EXPECT_TRUE(SameTree(TimeNode("2024", "05", "06", "07", "08", "09", "123456789", "1714979289",
                                "2024-05-06T07:08:09.123456789Z", "Z", "00", "00"),
                       root));
}

TEST(SaveTime, WritesLocalTimeWithItsOffset) {
  ScopedTimeZone zone("<+0200>-2");
  mstch::map root;
  Data archive(root);
  cereal::Save(archive, May6th(120000000ns));
  EXPECT_TRUE(SameTree(TimeNode("2024", "05", "06", "09", "08", "09", "120000000", "1714979289",
                                "2024-05-06T09:08:09.120000000+02:00", "+", "02", "00"),
                       root));
}

TEST(SaveTime, WritesATimeAfter2106) {
  ScopedTimeZone zone("UTC0");
  mstch::map root;
  Data archive(root);
  cereal::Save(archive, TimePoint(4294967296s + 1ns));
  EXPECT_TRUE(SameTree(TimeNode("2106", "02", "07", "06", "28", "16", "000000001", "4294967296",
                                "2106-02-07T06:28:16.000000001+00:00", "+", "00", "00"),
                       root));
}

TEST(SaveTime, WritesANegativeOffset) {
  ScopedTimeZone zone("<-0530>5:30");
  mstch::map root;
  Data archive(root);
  TimePoint const time = May6th(1ns) + 5h + 30min;
  cereal::Save(archive, time);
  EXPECT_TRUE(SameTree(TimeNode("2024", "05", "06", "07", "08", "09", "000000001", "1714999089",
                                "2024-05-06T07:08:09.000000001-05:30", "-", "05", "30"),
                       root));
}

TEST(SaveTime, EpochIsTruncatedTowardZero) {
  ScopedTimeZone zone("UTC0");
  struct Case {
    std::chrono::nanoseconds since;
    char const* epoch;
  };
  // The last cases lie past the range of a 32-bit time_t and of 32-bit
  // unsigned seconds, and at the ends of the time point's range.
  Case const cases[] = {{0ns, "0"},
                        {-1ns, "0"},
                        {-999999999ns, "0"},
                        {-1s, "-1"},
                        {-1s - 1ns, "-1"},
                        {-2s + 1ns, "-1"},
                        {1ns, "0"},
                        {1s + 999999999ns, "1"},
                        {-86400s, "-86400"},
                        {1714979289s, "1714979289"},
                        {2147483648s, "2147483648"},
                        {4294967296s, "4294967296"},
                        {-2147483649s, "-2147483649"},
                        {TimePoint::max().time_since_epoch(), "9223372036"},
                        {TimePoint::min().time_since_epoch(), "-9223372036"}};
  for (Case const& c : cases) {
    mstch::map root;
    Data archive(root);
    cereal::Save(archive, TimePoint(c.since));
    EXPECT_EQ(boost::get<std::string>(root.at("epoch")), c.epoch) << c.since.count();
  }
}

TEST(SaveTime, LooksForTheZAtPosition30) {
  mstch::map root;
  Data archive(root);
  SaveTimeFields(archive, "2024-05-06T07:08:09.123456789xZ1:23", 0ns);
  EXPECT_TRUE(SameTree(TimeNode("2024", "05", "06", "07", "08", "09", "123456789", "0",
                                "2024-05-06T07:08:09.123456789xZ1:23", "+", "Z1", "23"),
                       root));
}

std::string FailureOf(std::string const& iso, mstch::map& root) {
  Data archive(root);
  try {
    SaveTimeFields(archive, iso, 0ns);
  } catch (std::out_of_range const& error) {
    return error.what();
  }
  return "no exception";
}

TEST(SaveTime, TooShortTextsFailBeforeWritingAnything) {
  {
    mstch::map root;
    EXPECT_EQ(FailureOf("2024-05-06T07:08:09.12345678", root),
              "basic_string::substr: __pos (which is 29) > this->size() (which is 28)");
    EXPECT_TRUE(root.empty());
  }
  {
    mstch::map root;
    EXPECT_EQ(FailureOf("2024-05-06T07:08:09.123456789+", root),
              "basic_string::substr: __pos (which is 33) > this->size() (which is 30)");
    EXPECT_TRUE(root.empty());
  }
  {
    mstch::map root;
    EXPECT_EQ(FailureOf("2024-05-06T07:08:09.123456789+02", root),
              "basic_string::substr: __pos (which is 33) > this->size() (which is 32)");
  }
  {
    mstch::map root;
    EXPECT_EQ(FailureOf("2024-05-06T07:08:09.1", root),
              "basic_string::substr: __pos (which is 29) > this->size() (which is 21)");
  }
}

TEST(SaveTime, ShortTextsThatReachEveryCutGiveShortValues) {
  mstch::map root;
  Data archive(root);
  SaveTimeFields(archive, "2024-05-06T07:08:09.123456789-05:", 0ns);
  EXPECT_TRUE(SameTree(TimeNode("2024", "05", "06", "07", "08", "09", "123456789", "0",
                                "2024-05-06T07:08:09.123456789-05:", "-", "05", ""),
                       root));
}

}  // namespace
}  // namespace orv::chrono
