#include "event_file.hpp"

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdint>
#include <functional>
#include <map>
#include <string_view>
#include <utility>

#include "input_file.hpp"
#include "json_field.hpp"
#include "json_input.hpp"
#include "limits.hpp"
#include "message_text.hpp"
#include "orv/chrono/iso8601.hpp"
#include "orv/meta/data/armed.hpp"
#include "orv/meta/data/channel.hpp"
#include "orv/meta/data/classification/confidence.hpp"
#include "orv/meta/data/classification/name.hpp"
#include "orv/meta/data/colour_signature.hpp"
#include "orv/meta/data/count/line.hpp"
#include "orv/meta/data/count/value.hpp"
#include "orv/meta/data/gpu_stats.hpp"
#include "orv/meta/data/object/area.hpp"
#include "orv/meta/data/object/calibrated_position.hpp"
#include "orv/meta/data/object/gone.hpp"
#include "orv/meta/data/object/ground_point.hpp"
#include "orv/meta/data/object/height.hpp"
#include "orv/meta/data/object/history.hpp"
#include "orv/meta/data/object/merged.hpp"
#include "orv/meta/data/object/pixel_count.hpp"
#include "orv/meta/data/object/speed.hpp"
#include "orv/meta/data/object/split.hpp"
#include "orv/meta/data/observable.hpp"
#include "orv/meta/data/segmented_colour_signature.hpp"
#include "orv/meta/data/tampered.hpp"
#include "orv/meta/data/text.hpp"
#include "orv/meta/data/tracked_object.hpp"
#include "orv/meta/data/zone.hpp"

namespace orv::tool {
namespace {

namespace data = meta::data;
using Normalized = geometry::normalized::Value<unsigned short>;
using NormalizedPoint = geometry::Point<Normalized, 2>;

using Field = JsonField;

Normalized Coordinate(Field const& field) {
  return Normalized(field.Unsigned<unsigned short>("a normalised value (0 to 65535)"));
}

std::uint8_t Byte(Field const& field) { return field.Unsigned<std::uint8_t>(); }

NormalizedPoint Point(Field const& field) {
  field.OnlyFields({"x", "y"});
  return NormalizedPoint(Coordinate(field["x"]), Coordinate(field["y"]));
}

geometry::NormalizedPolygon Polygon(Field const& field) {
  std::vector<NormalizedPoint> points;
  for (Field const& element : field.Elements()) {
    points.push_back(Point(element));
  }
  return geometry::NormalizedPolygon(std::move(points));
}

// Reads `digits` decimal digits of `text` at `position`, or -1.
int Digits(std::string const& text, std::size_t position, std::size_t digits) {
  if (position + digits > text.size()) {
    return -1;
  }
  int value = 0;
  for (std::size_t i = position; i < position + digits; ++i) {
    if (text[i] < '0' || text[i] > '9') {
      return -1;
    }
    value = value * 10 + (text[i] - '0');
  }
  return value;
}

enum class TimeText { Valid, Malformed, OutOfRange };

// The whole seconds (rounded down) of `time` and the nanoseconds after them,
// computed without converting seconds back to nanoseconds, which overflows
// at the ends of the range.
std::pair<std::int64_t, std::int64_t> SecondsAndFraction(data::TimePoint time) {
  constexpr std::int64_t kPerSecond = 1'000'000'000;
  std::int64_t const count = time.time_since_epoch().count();
  std::int64_t seconds = count / kPerSecond;
  std::int64_t fraction = count % kPerSecond;
  if (fraction < 0) {
    fraction += kPerSecond;
    --seconds;
  }
  return {seconds, fraction};
}

// Parses an ISO 8601 time with nine fraction digits and Z or an offset
// ("2024-05-06T07:08:09.123456789Z", "...+02:00") into `time`.
TimeText ParseTime(std::string const& text, data::TimePoint& time) {
  bool const utc = text.size() == 30 && text[29] == 'Z';
  bool const zoned = text.size() == 35 && (text[29] == '+' || text[29] == '-') && text[32] == ':';
  if ((!utc && !zoned) || text[4] != '-' || text[7] != '-' || text[10] != 'T' || text[13] != ':' || text[16] != ':' ||
      text[19] != '.') {
    return TimeText::Malformed;
  }
  int const year = Digits(text, 0, 4);
  int const month = Digits(text, 5, 2);
  int const day = Digits(text, 8, 2);
  int const hours = Digits(text, 11, 2);
  int const minutes = Digits(text, 14, 2);
  int const seconds = Digits(text, 17, 2);
  int const nanoseconds = Digits(text, 20, 9);
  int const offsetHours = zoned ? Digits(text, 30, 2) : 0;
  int const offsetMinutes = zoned ? Digits(text, 33, 2) : 0;
  std::chrono::year_month_day const date{std::chrono::year(year), std::chrono::month(static_cast<unsigned>(month)),
                                         std::chrono::day(static_cast<unsigned>(day))};
  if (year < 0 || !date.ok() || hours < 0 || hours > 23 || minutes < 0 || minutes > 59 || seconds < 0 || seconds > 59 ||
      nanoseconds < 0 || offsetHours < 0 || offsetHours > 23 || offsetMinutes < 0 || offsetMinutes > 59) {
    return TimeText::Malformed;
  }
  // Whole seconds cannot overflow for four-digit years; nanoseconds can, so
  // the range is checked on seconds and the fraction apart.
  std::chrono::seconds const offset = std::chrono::hours(offsetHours) + std::chrono::minutes(offsetMinutes);
  std::chrono::seconds const local = std::chrono::sys_days(date).time_since_epoch() + std::chrono::hours(hours) +
                                     std::chrono::minutes(minutes) + std::chrono::seconds(seconds);
  std::chrono::seconds const whole = zoned && text[29] == '-' ? local + offset : local - offset;
  std::pair<std::int64_t, std::int64_t> const parts{whole.count(), nanoseconds};
  if (parts < SecondsAndFraction(data::TimePoint::min()) || parts > SecondsAndFraction(data::TimePoint::max())) {
    return TimeText::OutOfRange;
  }
  // Near the earliest time its whole seconds alone do not fit in nanoseconds;
  // joining them one second nearer the epoch keeps every step in range.
  std::chrono::nanoseconds const fraction(nanoseconds);
  time = data::TimePoint(whole.count() < 0 ? (whole + std::chrono::seconds(1)) + (fraction - std::chrono::seconds(1))
                                           : whole + fraction);
  return TimeText::Valid;
}

data::TimePoint Time(Field const& field) {
  data::TimePoint time;
  switch (ParseTime(field.String(), time)) {
    case TimeText::Valid:
      break;
    case TimeText::Malformed:
      field.Expected("a time like 2024-05-06T07:08:09.123456789+02:00 (nine fraction digits, then Z or an offset)");
    case TimeText::OutOfRange:
      field.Expected("a time from " + chrono::ToIso8601(data::TimePoint::min(), chrono::TimeZone::Utc) + " to " +
                     chrono::ToIso8601(data::TimePoint::max(), chrono::TimeZone::Utc));
  }
  return time;
}

// The enumeration value whose text (from orv::type::Strings) the field holds.
template <class E>
E Text(std::string const& text, Field const& field, char const* what) {
  std::vector<std::string> names;
  for (auto const& [value, name] : type::Strings<E>::GetMap()) {
    if (name == text) {
      return value;
    }
    names.push_back(name);
  }
  field.Fail("unknown " + std::string(what) + " '" + Shorten(text) + "'; expected one of " + Join(names));
}

template <class E>
E Text(Field const& field, char const* what) {
  return Text<E>(field.String(), field, what);
}

using ObjectPtr = std::shared_ptr<object::Object const>;
// Reads the meta list of a tracked object, one level deeper.
using ReadNested = std::function<data::Objects(Field const&)>;

data::ColourSignature ReadColourSignature(Field const& field) {
  std::vector<data::ColourSignature::ColourData> colours;
  for (Field const& entry : field["colours"].Elements()) {
    entry.OnlyFields({"colour_name", "colour_value", "proportion"});
    Field const value = entry["colour_value"];
    value.OnlyFields({"r", "g", "b"});
    colours.emplace_back(entry["colour_name"].String(), Byte(value["r"]), Byte(value["g"]), Byte(value["b"]),
                         entry["proportion"].Float());
  }
  return data::ColourSignature(std::move(colours));
}

struct Kind {
  std::vector<std::string_view> fields;
  std::function<ObjectPtr(Field const&, ReadNested const&)> read;
};

template <class Record>
Kind FloatValue() {
  return {{"value"}, [](Field const& f, ReadNested const&) { return std::make_shared<Record>(f["value"].Float()); }};
}

// Every kind of object, under the key that templates find it by.
std::map<std::string, Kind, std::less<>> const& GetKinds() {
  static std::map<std::string, Kind, std::less<>> const kinds = {
      {"Area", FloatValue<data::object::Area>()},
      {"Armed", {{"armed"}, [](Field const& f, ReadNested const&) { return std::make_shared<data::Armed>(f["armed"].Bool()); }}},
      {"CalibratedPosition",
       {{"value"},
        [](Field const& f, ReadNested const&) {
          Field const value = f["value"];
          value.OnlyFields({"x", "y"});
          return std::make_shared<data::object::CalibratedPosition>(
              geometry::Point<float, 2>(value["x"].Float(), value["y"].Float()));
        }}},
      {"Channel",
       {{"id", "name"},
        [](Field const& f, ReadNested const&) { return std::make_shared<data::Channel>(f["id"].Id(), f["name"].String()); }}},
      {"Classification",
       {{"value"},
        [](Field const& f, ReadNested const&) { return std::make_shared<data::classification::Name>(f["value"].String()); }}},
      {"ColourSignature",
       {{"colours"}, [](Field const& f, ReadNested const&) { return std::make_shared<data::ColourSignature>(ReadColourSignature(f)); }}},
      {"Counter",
       {{"id", "name", "value", "difference", "position"},
        [](Field const& f, ReadNested const&) {
          return std::make_shared<data::count::Value>(f["id"].Id(), f["name"].String(), f["value"].Int(),
                                                      f["difference"].Int(), Point(f["position"]));
        }}},
      {"CountingLine",
       {{"rule_id", "width", "position", "count", "direction", "zone_id"},
        [](Field const& f, ReadNested const&) {
          return std::make_shared<data::count::Line>(
              f["rule_id"].Id(), Coordinate(f["width"]), Coordinate(f["position"]), f["count"].Id(),
              Text<data::line::Direction>(f["direction"], "direction"), f["zone_id"].Id());
        }}},
      {"DLClassification",
       {{"class", "confidence", "object_id"},
        [](Field const& f, ReadNested const&) {
          return std::make_shared<data::classification::Confidence>(f["class"].String(), f["confidence"].Float(),
                                                                     f["object_id"].Id());
        }}},
      {"Gone", {{"id"}, [](Field const& f, ReadNested const&) { return std::make_shared<data::object::Gone>(f["id"].Id()); }}},
      {"GpuStats",
       {{"utilisation", "memory_used"},
        [](Field const& f, ReadNested const&) {
          return std::make_shared<data::GpuStats>(
              f["utilisation"].Id(), f["memory_used"].Unsigned<std::uint64_t>());
        }}},
      {"GroundPoint",
       {{"value"}, [](Field const& f, ReadNested const&) { return std::make_shared<data::object::GroundPoint>(Point(f["value"])); }}},
      {"Height", FloatValue<data::object::Height>()},
      {"History",
       {{"object_id", "map"},
        [](Field const& f, ReadNested const&) {
          std::map<data::TimePoint, data::object::GroundPoint> points;
          for (Field const& entry : f["map"].Elements()) {
            entry.OnlyFields({"key", "value"});
            if (!points.emplace(Time(entry["key"]), data::object::GroundPoint(Point(entry["value"]))).second) {
              entry["key"].Fail("a second entry for the same time");
            }
          }
          return std::make_shared<data::object::History>(f["object_id"].Id(), std::move(points));
        }}},
      {"Merged",
       {{"in_ids", "out_id"},
        [](Field const& f, ReadNested const&) { return std::make_shared<data::object::Merged>(f["in_ids"].Ids(), f["out_id"].Id()); }}},
      {"Object",
       {{"id", "outline", "width", "height", "meta"},
        [](Field const& f, ReadNested const& readMeta) {
          return std::make_shared<data::TrackedObject>(f["id"].Id(), Polygon(f["outline"]), Coordinate(f["width"]),
                                                       Coordinate(f["height"]), readMeta(f["meta"]));
        }}},
      {"Observable", {{"id"}, [](Field const& f, ReadNested const&) { return std::make_shared<data::Observable>(f["id"].Id()); }}},
      {"Pixels",
       {{"value"},
        [](Field const& f, ReadNested const&) {
          return std::make_shared<data::object::PixelCount>(
              f["value"].Unsigned<unsigned int>());
        }}},
      {"SegmentedColourSignature",
       {{"segments"},
        [](Field const& f, ReadNested const&) {
          std::map<data::SegmentedColourSignature::Segment, data::ColourSignature> segments;
          for (auto const& [name, segment] : f["segments"].Members()) {
            segment.OnlyFields({"colours"});
            segments.emplace(Text<data::SegmentedColourSignature::Segment>(name, segment, "segment"),
                             ReadColourSignature(segment));
          }
          return std::make_shared<data::SegmentedColourSignature>(std::move(segments));
        }}},
      {"Speed", FloatValue<data::object::Speed>()},
      {"Split",
       {{"in_id", "out_ids"},
        [](Field const& f, ReadNested const&) { return std::make_shared<data::object::Split>(f["in_id"].Id(), f["out_ids"].Ids()); }}},
      {"Tamper", {{}, [](Field const&, ReadNested const&) { return std::make_shared<data::Tampered>(); }}},
      {"Text",
       {{"value", "category"},
        [](Field const& f, ReadNested const&) { return std::make_shared<data::Text>(f["value"].String(), f["category"].String()); }}},
      {"Zone",
       {{"id", "name", "channel", "colour", "detection", "type", "outline", "mask"},
        [](Field const& f, ReadNested const&) {
          Field const colour = f["colour"];
          colour.OnlyFields({"r", "g", "b", "a"});
          return std::make_shared<data::Zone>(
              f["id"].Id(), f["name"].String(), f["channel"].Id(),
              std::array<std::uint8_t, 4>{Byte(colour["r"]), Byte(colour["g"]), Byte(colour["b"]),
                                          Byte(colour["a"])},
              Text<data::zone::Detection>(f["detection"], "detection"), Text<data::zone::Type>(f["type"], "zone type"),
              Polygon(f["outline"]), f["mask"].Bool());
        }}},
  };
  return kinds;
}

// Reads the objects of one event, keeping count of them and of how deep
// tracked objects nest, so that no event exceeds the limits.
class ObjectReader {
 public:
  data::Objects ReadList(Field const& list, std::size_t trackedDepth) {
    data::Objects objects;
    for (Field const& element : list.Elements()) {
      if (++count_ > limits::kEventObjects) {
        element.Fail("more than " + std::to_string(limits::kEventObjects) +
                     " meta-data objects in one event, the limit");
      }
      objects.push_back(Read(element, trackedDepth));
    }
    return objects;
  }

 private:
  // `trackedDepth`: how many tracked objects enclose the list of `field`.
  ObjectPtr Read(Field const& field, std::size_t trackedDepth) {
    std::string const kind = field["kind"].String();
    auto const& kinds = GetKinds();
    auto const found = kinds.find(kind);
    if (found == kinds.end()) {
      std::vector<std::string> names;
      for (auto const& [name, known] : kinds) {
        names.push_back(name);
      }
      field["kind"].Fail("unknown object kind '" + Shorten(kind) + "'; expected one of " + Join(names));
    }
    std::vector<std::string_view> fields{"kind"};
    fields.insert(fields.end(), found->second.fields.begin(), found->second.fields.end());
    for (auto const& [key, member] : field.Members()) {
      if (std::find(fields.begin(), fields.end(), key) == fields.end()) {
        member.Fail("unknown field '" + Shorten(key) + "' of a " + kind + " object");
      }
    }
    if (kind == "Object" && trackedDepth == limits::kTrackedObjectDepth) {
      field.Fail("tracked objects nested deeper than " + std::to_string(limits::kTrackedObjectDepth) +
                 " levels, the limit");
    }
    return found->second.read(field,
                              [this, trackedDepth](Field const& meta) { return ReadList(meta, trackedDepth + 1); });
  }

  std::size_t count_ = 0;
};

}  // namespace

std::shared_ptr<meta::data::Event> ToEvent(nlohmann::json const& json, SourceText const& source) {
  Field const event(json, source);
  event.OnlyFields({"name", "type", "category", "id", "start", "end", "objects"});
  // Checked in the order the fields are documented.
  std::string name = event["name"].String();
  std::string type = event["type"].String();
  std::string category = event["category"].String();
  data::TimePoint const start = Time(event["start"]);
  ObjectReader objects;
  auto result =
      std::make_shared<data::Event>(std::move(name), std::move(type), std::move(category), start,
                                    event.Has("objects") ? objects.ReadList(event["objects"], 0) : data::Objects{});
  if (event.Has("id")) {
    result->SetId(event["id"].Id());
  }
  if (event.Has("end")) {
    Field const endField = event["end"];
    data::TimePoint const end = Time(endField);
    if (end < start) {
      endField.Fail("the end " + endField.Value().get<std::string>() + " is before the start " +
                    event["start"].Value().get<std::string>());
    }
    result->SetEnd(end);
  }
  return result;
}

std::shared_ptr<meta::data::Event> ReadEvent(SourceText const& source) { return ToEvent(ParseJson(source), source); }

std::shared_ptr<meta::data::Event> ReadEventFile(std::string const& path) {
  InputFile file(path);
  SourceText const source(file.Name(), file.ReadAll(limits::kJsonTextBytes, "an event file"));
  return ReadEvent(source);
}

}  // namespace orv::tool
