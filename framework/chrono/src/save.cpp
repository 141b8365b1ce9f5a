#include "orv/chrono/save.hpp"

#include <cstdint>
#include <iterator>

#include "orv/templating/serialize/archive/output/data.hpp"

namespace orv::chrono {

void SaveTimeFields(templating::serialize::archive::output::Data& archive, std::string const& iso,
                    std::chrono::nanoseconds sinceEpoch) {
  struct Field {
    char const* name;
    std::size_t position;
    std::size_t length;
  };
  static constexpr Field kFields[] = {
      {"year", 0, 4},     {"month", 5, 2},         {"day", 8, 2},           {"hours", 11, 2},       {"minutes", 14, 2},
      {"seconds", 17, 2}, {"milliseconds", 20, 3}, {"microseconds", 20, 6}, {"nanoseconds", 20, 9},
  };
  // Everything is cut before anything is written, so a text too short for
  // one field leaves the node untouched.
  std::string values[std::size(kFields)];
  for (std::size_t i = 0; i < std::size(kFields); ++i) {
    values[i] = iso.substr(kFields[i].position, kFields[i].length);
  }
  // Position 30, not 29, is looked at for the 'Z' on purpose: a UTC text has
  // its 'Z' at 29 and so reports "Z" as its sign.
  std::string sign = iso.size() > 30 && iso[30] == 'Z' ? std::string("+") : iso.substr(29, 1);
  bool const utc = sign.starts_with('Z');
  std::string hours = utc ? std::string("00") : iso.substr(30, 2);
  std::string minutes = utc ? std::string("00") : iso.substr(33, 2);
  // Integer division truncates toward zero, as the epoch field must.
  std::int64_t const epoch = sinceEpoch.count() / 1000000000;

  for (std::size_t i = 0; i < std::size(kFields); ++i) {
    archive.SetNextName(kFields[i].name);
    archive.SaveText(std::move(values[i]));
  }
  archive.SetNextName("epoch");
  archive.SaveValue<std::int64_t>(epoch);
  archive.SetNextName("iso8601");
  archive.SaveText(iso);
  archive.SetNextName("offset");
  archive.StartNode();
  archive.SetNextName("sign");
  archive.SaveText(std::move(sign));
  archive.SetNextName("hours");
  archive.SaveText(std::move(hours));
  archive.SetNextName("minutes");
  archive.SaveText(std::move(minutes));
  archive.FinishNode();
}

}  // namespace orv::chrono

namespace cereal {

void Save(orv::templating::serialize::archive::output::Data& archive, orv::chrono::TimePoint const& time) {
  orv::chrono::SaveTimeFields(archive, orv::chrono::ToIso8601(time, orv::chrono::TimeZone{0}), time.time_since_epoch());
}

}  // namespace cereal
