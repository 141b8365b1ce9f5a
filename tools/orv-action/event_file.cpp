#include "event_file.hpp"

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdint>
#include <functional>
#include <limits>
#include <map>
#include <set>
#include <string_view>

#include "command_line.hpp"
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
using Json = nlohmann::json;
using Normalized = geometry::normalized::Value<unsigned short>;
using NormalizedPoint = geometry::Point<Normalized, 2>;

std::string Shorten(Json const& value) {
  std::string text = value.dump();
  return text.size() > 60 ? text.substr(0, 57) + "..." : text;
}

// A value of the input and where it is, for messages.
class Field {
 public:
  Field(Json const& value, std::string path, std::string const& source)
      : value_(value), path_(std::move(path)), source_(source) {}

  [[noreturn]] void Fail(std::string const& message) const {
    throw InputError(source_ + ": " + path_ + ": " + message);
  }
  [[noreturn]] void Expected(std::string const& what) const { Fail("expected " + what + ", found " + Shorten(value_)); }

  Json const& Value() const { return value_; }
  std::string const& Path() const { return path_; }
  std::string const& Source() const { return source_; }

  // The member `name` of this object; required unless `optional` (then null
  // when absent).
  Field operator[](char const* name) const {
    RequireObject();
    auto const found = value_.find(name);
    if (found == value_.end()) {
      Fail(std::string("missing field '") + name + "'");
    }
    return Field(*found, path_ + "." + name, source_);
  }
  bool Has(char const* name) const {
    RequireObject();
    return value_.contains(name);
  }
  // Refuses members other than `known` (catches misspelt field names).
  void OnlyFields(std::initializer_list<std::string_view> known) const {
    RequireObject();
    for (auto const& [key, member] : value_.items()) {
      if (std::find(known.begin(), known.end(), key) == known.end()) {
        std::string list;
        for (std::string_view name : known) {
          list += (list.empty() ? "" : ", ") + std::string(name);
        }
        Field(member, path_ + "." + key, source_).Fail("unknown field '" + key + "'; expected one of " + list);
      }
    }
  }
  std::vector<Field> Elements() const {
    if (!value_.is_array()) {
      Expected("an array");
    }
    std::vector<Field> elements;
    for (std::size_t i = 0; i < value_.size(); ++i) {
      elements.emplace_back(value_[i], path_ + "[" + std::to_string(i) + "]", source_);
    }
    return elements;
  }
  std::vector<std::pair<std::string, Field>> Members() const {
    RequireObject();
    std::vector<std::pair<std::string, Field>> members;
    for (auto const& [key, member] : value_.items()) {
      members.emplace_back(key, Field(member, path_ + "." + key, source_));
    }
    return members;
  }

  std::string String() const {
    if (!value_.is_string()) {
      Expected("a string");
    }
    return value_.get<std::string>();
  }
  bool Bool() const {
    if (!value_.is_boolean()) {
      Expected("true or false");
    }
    return value_.get<bool>();
  }
  float Float() const {
    if (!value_.is_number()) {
      Expected("a number");
    }
    return static_cast<float>(value_.get<double>());
  }
  template <class T>
  T Unsigned(char const* what) const {
    if (!value_.is_number_unsigned() || value_.get<std::uint64_t>() > std::numeric_limits<T>::max()) {
      Expected(what);
    }
    return static_cast<T>(value_.get<std::uint64_t>());
  }
  std::uint32_t Id() const { return Unsigned<std::uint32_t>("an unsigned 32-bit number"); }
  std::uint8_t Byte() const { return Unsigned<std::uint8_t>("an unsigned 8-bit number (0 to 255)"); }
  Normalized Coordinate() const { return Normalized(Unsigned<unsigned short>("a normalised value (0 to 65535)")); }
  std::int32_t Int() const {
    if (!value_.is_number_integer() || value_.get<std::int64_t>() < std::numeric_limits<std::int32_t>::min() ||
        value_.get<std::int64_t>() > std::numeric_limits<std::int32_t>::max()) {
      Expected("a signed 32-bit number");
    }
    return static_cast<std::int32_t>(value_.get<std::int64_t>());
  }
  std::vector<std::uint32_t> Ids() const {
    std::vector<std::uint32_t> ids;
    for (Field const& element : Elements()) {
      ids.push_back(element.Id());
    }
    return ids;
  }
  NormalizedPoint Point() const {
    OnlyFields({"x", "y"});
    return NormalizedPoint((*this)["x"].Coordinate(), (*this)["y"].Coordinate());
  }
  geometry::NormalizedPolygon Polygon() const {
    std::vector<NormalizedPoint> points;
    for (Field const& element : Elements()) {
      points.push_back(element.Point());
    }
    return geometry::NormalizedPolygon(std::move(points));
  }
  data::TimePoint Time() const { return ParseTime(String(), source_ + ": " + path_); }
  // The enumeration value whose text (from orv::type::Strings) this is.
  template <class E>
  E Text(char const* what) const {
    std::string const text = String();
    std::string list;
    for (auto const& [value, name] : type::Strings<E>::GetMap()) {
      if (name == text) {
        return value;
      }
      list += (list.empty() ? "" : ", ") + name;
    }
    Fail("unknown " + std::string(what) + " '" + text + "'; expected one of " + list);
  }

 private:
  void RequireObject() const {
    if (!value_.is_object()) {
      Expected("an object");
    }
  }

  Json const& value_;
  std::string path_;
  std::string const& source_;
};

using ObjectPtr = std::shared_ptr<object::Object const>;
data::Objects ReadObjects(Field const& list);

data::ColourSignature ReadColourSignature(Field const& field) {
  std::vector<data::ColourSignature::ColourData> colours;
  for (Field const& entry : field["colours"].Elements()) {
    entry.OnlyFields({"colour_name", "colour_value", "proportion"});
    Field const value = entry["colour_value"];
    value.OnlyFields({"r", "g", "b"});
    colours.emplace_back(entry["colour_name"].String(), value["r"].Byte(), value["g"].Byte(), value["b"].Byte(),
                         entry["proportion"].Float());
  }
  return data::ColourSignature(std::move(colours));
}

struct Kind {
  std::vector<std::string_view> fields;
  std::function<ObjectPtr(Field const&)> read;
};

template <class Record>
Kind FloatValue() {
  return {{"value"}, [](Field const& f) { return std::make_shared<Record>(f["value"].Float()); }};
}

// Every kind of object, under the key that templates find it by.
std::map<std::string, Kind, std::less<>> const& GetKinds() {
  static std::map<std::string, Kind, std::less<>> const kinds = {
      {"Area", FloatValue<data::object::Area>()},
      {"Armed", {{"armed"}, [](Field const& f) { return std::make_shared<data::Armed>(f["armed"].Bool()); }}},
      {"CalibratedPosition",
       {{"value"},
        [](Field const& f) {
          Field const value = f["value"];
          value.OnlyFields({"x", "y"});
          return std::make_shared<data::object::CalibratedPosition>(
              geometry::Point<float, 2>(value["x"].Float(), value["y"].Float()));
        }}},
      {"Channel",
       {{"id", "name"},
        [](Field const& f) { return std::make_shared<data::Channel>(f["id"].Id(), f["name"].String()); }}},
      {"Classification",
       {{"value"},
        [](Field const& f) { return std::make_shared<data::classification::Name>(f["value"].String()); }}},
      {"ColourSignature",
       {{"colours"}, [](Field const& f) { return std::make_shared<data::ColourSignature>(ReadColourSignature(f)); }}},
      {"Counter",
       {{"id", "name", "value", "difference", "position"},
        [](Field const& f) {
          return std::make_shared<data::count::Value>(f["id"].Id(), f["name"].String(), f["value"].Int(),
                                                      f["difference"].Int(), f["position"].Point());
        }}},
      {"CountingLine",
       {{"rule_id", "width", "position", "count", "direction", "zone_id"},
        [](Field const& f) {
          return std::make_shared<data::count::Line>(
              f["rule_id"].Id(), f["width"].Coordinate(), f["position"].Coordinate(), f["count"].Id(),
              f["direction"].Text<data::line::Direction>("direction"), f["zone_id"].Id());
        }}},
      {"DLClassification",
       {{"class", "confidence", "object_id"},
        [](Field const& f) {
          return std::make_shared<data::classification::Confidence>(f["class"].String(), f["confidence"].Float(),
                                                                     f["object_id"].Id());
        }}},
      {"Gone", {{"id"}, [](Field const& f) { return std::make_shared<data::object::Gone>(f["id"].Id()); }}},
      {"GpuStats",
       {{"utilisation", "memory_used"},
        [](Field const& f) {
          return std::make_shared<data::GpuStats>(
              f["utilisation"].Id(), f["memory_used"].Unsigned<std::uint64_t>("an unsigned 64-bit number"));
        }}},
      {"GroundPoint",
       {{"value"}, [](Field const& f) { return std::make_shared<data::object::GroundPoint>(f["value"].Point()); }}},
      {"Height", FloatValue<data::object::Height>()},
      {"History",
       {{"object_id", "map"},
        [](Field const& f) {
          std::map<data::TimePoint, data::object::GroundPoint> points;
          for (Field const& entry : f["map"].Elements()) {
            entry.OnlyFields({"key", "value"});
            if (!points.emplace(entry["key"].Time(), data::object::GroundPoint(entry["value"].Point())).second) {
              entry["key"].Fail("a second entry for the same time");
            }
          }
          return std::make_shared<data::object::History>(f["object_id"].Id(), std::move(points));
        }}},
      {"Merged",
       {{"in_ids", "out_id"},
        [](Field const& f) { return std::make_shared<data::object::Merged>(f["in_ids"].Ids(), f["out_id"].Id()); }}},
      {"Object",
       {{"id", "outline", "width", "height", "meta"},
        [](Field const& f) {
          return std::make_shared<data::TrackedObject>(f["id"].Id(), f["outline"].Polygon(), f["width"].Coordinate(),
                                                       f["height"].Coordinate(), ReadObjects(f["meta"]));
        }}},
      {"Observable", {{"id"}, [](Field const& f) { return std::make_shared<data::Observable>(f["id"].Id()); }}},
      {"Pixels",
       {{"value"},
        [](Field const& f) {
          return std::make_shared<data::object::PixelCount>(
              f["value"].Unsigned<unsigned int>("an unsigned 32-bit number"));
        }}},
      {"SegmentedColourSignature",
       {{"segments"},
        [](Field const& f) {
          std::map<data::SegmentedColourSignature::Segment, data::ColourSignature> segments;
          for (auto const& [name, segment] : f["segments"].Members()) {
            segment.OnlyFields({"colours"});
            auto const key = Field(Json(name), segment.Path(), f.Source())
                                 .Text<data::SegmentedColourSignature::Segment>("segment");
            segments.emplace(key, ReadColourSignature(segment));
          }
          return std::make_shared<data::SegmentedColourSignature>(std::move(segments));
        }}},
      {"Speed", FloatValue<data::object::Speed>()},
      {"Split",
       {{"in_id", "out_ids"},
        [](Field const& f) { return std::make_shared<data::object::Split>(f["in_id"].Id(), f["out_ids"].Ids()); }}},
      {"Tamper", {{}, [](Field const&) { return std::make_shared<data::Tampered>(); }}},
      {"Text",
       {{"value", "category"},
        [](Field const& f) { return std::make_shared<data::Text>(f["value"].String(), f["category"].String()); }}},
      {"Zone",
       {{"id", "name", "channel", "colour", "detection", "type", "outline", "mask"},
        [](Field const& f) {
          Field const colour = f["colour"];
          colour.OnlyFields({"r", "g", "b", "a"});
          return std::make_shared<data::Zone>(
              f["id"].Id(), f["name"].String(), f["channel"].Id(),
              std::array<std::uint8_t, 4>{colour["r"].Byte(), colour["g"].Byte(), colour["b"].Byte(),
                                          colour["a"].Byte()},
              f["detection"].Text<data::zone::Detection>("detection"), f["type"].Text<data::zone::Type>("zone type"),
              f["outline"].Polygon(), f["mask"].Bool());
        }}},
  };
  return kinds;
}

ObjectPtr ReadObject(Field const& field) {
  std::string const kind = field["kind"].String();
  auto const& kinds = GetKinds();
  auto const found = kinds.find(kind);
  if (found == kinds.end()) {
    std::string list;
    for (auto const& [name, known] : kinds) {
      list += (list.empty() ? "" : ", ") + name;
    }
    field["kind"].Fail("unknown object kind '" + kind + "'; expected one of " + list);
  }
  std::vector<std::string_view> fields{"kind"};
  fields.insert(fields.end(), found->second.fields.begin(), found->second.fields.end());
  for (auto const& [key, member] : field.Members()) {
    if (std::find(fields.begin(), fields.end(), key) == fields.end()) {
      member.Fail("unknown field '" + key + "' of a " + kind + " object");
    }
  }
  return found->second.read(field);
}

data::Objects ReadObjects(Field const& list) {
  data::Objects objects;
  for (Field const& element : list.Elements()) {
    objects.push_back(ReadObject(element));
  }
  return objects;
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

}  // namespace

nlohmann::json ParseJson(std::string const& text, std::string const& source) {
  try {
    return Json::parse(text);
  } catch (Json::parse_error const& error) {
    // The byte of the error is counted from 1; report it as line and column.
    std::size_t const offset = error.byte == 0 ? 0 : std::min(error.byte - 1, text.size());
    std::size_t line = 1;
    std::size_t lineStart = 0;
    for (std::size_t i = 0; i < offset; ++i) {
      if (text[i] == '\n') {
        ++line;
        lineStart = i + 1;
      }
    }
    std::string message = error.what();
    if (auto const colon = message.find(": "); colon != std::string::npos) {
      message = message.substr(colon + 2);
    }
    throw InputError(source + ":" + std::to_string(line) + ":" + std::to_string(offset - lineStart + 1) + ": " +
                     message);
  }
}

meta::data::TimePoint ParseTime(std::string const& text, std::string const& where) {
  auto const fail = [&] {
    throw InputError(where + ": expected a time like 2024-05-06T07:08:09.123456789+02:00 (nine fraction digits, " +
                     "then Z or an offset), found \"" + text + "\"");
  };
  bool const utc = text.size() == 30 && text[29] == 'Z';
  bool const zoned = text.size() == 35 && (text[29] == '+' || text[29] == '-') && text[32] == ':';
  if ((!utc && !zoned) || text[4] != '-' || text[7] != '-' || text[10] != 'T' || text[13] != ':' || text[16] != ':' ||
      text[19] != '.') {
    fail();
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
    fail();
  }
  auto const offset = std::chrono::hours(offsetHours) + std::chrono::minutes(offsetMinutes);
  auto const local = std::chrono::sys_days(date).time_since_epoch() + std::chrono::hours(hours) +
                     std::chrono::minutes(minutes) + std::chrono::seconds(seconds) +
                     std::chrono::nanoseconds(nanoseconds);
  return meta::data::TimePoint(zoned && text[29] == '-' ? local + offset : local - offset);
}

std::shared_ptr<meta::data::Event> ToEvent(nlohmann::json const& json, std::string const& source) {
  Field const event(json, "$", source);
  event.OnlyFields({"name", "type", "category", "id", "start", "end", "objects"});
  // Checked in the order the fields are documented.
  std::string name = event["name"].String();
  std::string type = event["type"].String();
  std::string category = event["category"].String();
  data::TimePoint const start = event["start"].Time();
  auto result = std::make_shared<data::Event>(std::move(name), std::move(type), std::move(category), start,
                                              event.Has("objects") ? ReadObjects(event["objects"]) : data::Objects{});
  if (event.Has("id")) {
    result->SetId(event["id"].Id());
  }
  if (event.Has("end")) {
    result->SetEnd(event["end"].Time());
  }
  return result;
}

std::shared_ptr<meta::data::Event> ReadEventFile(std::string const& path) {
  std::string const source = path == "-" ? "<stdin>" : path;
  return ToEvent(ParseJson(ReadFile(path), source), source);
}

}  // namespace orv::tool
