#include "hand_built.hpp"

#include <boost/variant/get.hpp>
#include <charconv>
#include <cstring>
#include <map>
#include <stdexcept>
#include <string>

#include "orv/chrono/iso8601.hpp"
#include "orv/geometry/normalized.hpp"
#include "orv/meta/data/channel.hpp"
#include "orv/meta/data/classification/confidence.hpp"
#include "orv/meta/data/classification/name.hpp"
#include "orv/meta/data/colour_signature.hpp"
#include "orv/meta/data/count/line.hpp"
#include "orv/meta/data/count/value.hpp"
#include "orv/meta/data/object/area.hpp"
#include "orv/meta/data/object/height.hpp"
#include "orv/meta/data/object/speed.hpp"
#include "orv/meta/data/observable.hpp"
#include "orv/meta/data/segmented_colour_signature.hpp"
#include "orv/meta/data/tracked_object.hpp"
#include "orv/meta/data/zone.hpp"
#include "orv/network/address.hpp"

namespace orv::bench {
namespace {

namespace data = meta::data;
using orv::object::Object;
using orv::object::TypeIdOf;
using NPoint = geometry::Point<geometry::normalized::Value<unsigned short>, 2>;

template <class T>
std::string Integer(T value) {
  char buffer[24];
  return std::string(buffer, std::to_chars(buffer, buffer + sizeof buffer, value).ptr);
}

std::string Real(double value) {
  char buffer[32];
  return std::string(buffer, std::to_chars(buffer, buffer + sizeof buffer, value, std::chars_format::general, 6).ptr);
}

// Children are made in place, as a careful hand-written builder would.
mstch::map& ChildMap(mstch::map& parent, std::string key) {
  return boost::get<mstch::map>(parent.emplace(std::move(key), mstch::map()).first->second);
}

mstch::array& ChildArray(mstch::map& parent, std::string key, std::size_t size) {
  auto& array = boost::get<mstch::array>(parent.emplace(std::move(key), mstch::array()).first->second);
  array.reserve(size);
  return array;
}

mstch::map& AppendMap(mstch::array& array) { return boost::get<mstch::map>(array.emplace_back(mstch::map())); }

void Header(mstch::map& map, Object const& object) {
  char const* const typeName = Object::TypeName(object.GetTypeNameId());
  map.emplace("typename", std::string(typeName));
  mstch::map* node = &ChildMap(ChildMap(map, "is"), "typename");
  char const* head = typeName;
  for (char const* dot = std::strchr(head, '.'); dot != nullptr; dot = std::strchr(head, '.')) {
    node = &ChildMap(*node, std::string(head, dot));
    head = dot + 1;
  }
  node->emplace(std::string(head), true);
}

void Time(mstch::map& t, chrono::TimePoint time) {
  std::string iso = chrono::ToIso8601(time, chrono::TimeZone::Local);
  bool const utc = iso[29] == 'Z';
  t.emplace("year", iso.substr(0, 4));
  t.emplace("month", iso.substr(5, 2));
  t.emplace("day", iso.substr(8, 2));
  t.emplace("hours", iso.substr(11, 2));
  t.emplace("minutes", iso.substr(14, 2));
  t.emplace("seconds", iso.substr(17, 2));
  t.emplace("milliseconds", iso.substr(20, 3));
  t.emplace("microseconds", iso.substr(20, 6));
  t.emplace("nanoseconds", iso.substr(20, 9));
  t.emplace("epoch", Integer(time.time_since_epoch().count() / 1000000000));
  mstch::map& offset = ChildMap(t, "offset");
  offset.emplace("sign", iso.substr(29, 1));
  offset.emplace("hours", utc ? std::string("00") : iso.substr(30, 2));
  offset.emplace("minutes", utc ? std::string("00") : iso.substr(33, 2));
  t.emplace("iso8601", std::move(iso));
}

std::string Scalar(geometry::normalized::Value<unsigned short> value) {
  return Real(geometry::normalized::ToSerialized(value.GetValue()));
}

void Point(mstch::map& p, NPoint const& point) {
  unsigned short y = point.GetY().GetValue();
  if (geometry::normalized::GetFlipSerializedYAxis()) {
    y = static_cast<unsigned short>(65535 - y);
  }
  p.emplace("x", Real(geometry::normalized::ToSerialized(point.GetX().GetValue())));
  p.emplace("y", Real(geometry::normalized::ToSerialized(y)));
}

void Polygon(mstch::map& p, geometry::NormalizedPolygon const& polygon) {
  auto const& points = polygon.GetPoints();
  mstch::array& outline = ChildArray(p, "outline", points.size());
  for (NPoint const& point : points) {
    Point(AppendMap(outline), point);
  }
  auto const box = polygon.GetBoundingBox();
  mstch::map& rect = ChildMap(p, "rect");
  Point(ChildMap(rect, "top_left"), box.topLeft);
  Point(ChildMap(rect, "bottom_right"), box.bottomRight);
}

void Colours(mstch::map& into, data::ColourSignature const& signature) {
  mstch::array& colours = ChildArray(into, "colours", signature.GetColours().size());
  for (auto const& colour : signature.GetColours()) {
    mstch::map& c = AppendMap(colours);
    c.emplace("colour_name", colour.GetName());
    mstch::map& value = ChildMap(c, "colour_value");
    value.emplace("r", Integer(int{colour.GetRed()}));
    value.emplace("g", Integer(int{colour.GetGreen()}));
    value.emplace("b", Integer(int{colour.GetBlue()}));
    c.emplace("proportion", Real(colour.GetProportion()));
  }
}

void Groups(mstch::map& into, data::Objects const& objects);

// The key of the group of `object`.
char const* KeyOf(Object const& object) {
  auto const id = object.GetTypeNameId();
  if (id == TypeIdOf<data::TrackedObject>) return "Object";
  if (id == TypeIdOf<data::Zone>) return "Zone";
  if (id == TypeIdOf<data::count::Line>) return "CountingLine";
  if (id == TypeIdOf<data::count::Value>) return "Counter";
  if (id == TypeIdOf<data::Channel>) return "Channel";
  if (id == TypeIdOf<data::Observable>) return "Observable";
  if (id == TypeIdOf<data::classification::Confidence>) return "DLClassification";
  if (id == TypeIdOf<data::classification::Name>) return "Classification";
  if (id == TypeIdOf<data::ColourSignature>) return "ColourSignature";
  if (id == TypeIdOf<data::SegmentedColourSignature>) return "SegmentedColourSignature";
  if (id == TypeIdOf<data::object::Speed>) return "Speed";
  if (id == TypeIdOf<data::object::Area>) return "Area";
  if (id == TypeIdOf<data::object::Height>) return "Height";
  throw std::logic_error("The hand-built floor does not know this kind of record");
}

// Fills the element of one record.
void Element(mstch::map& e, Object const& object) {
  Header(e, object);
  auto const id = object.GetTypeNameId();
  if (id == TypeIdOf<data::TrackedObject>) {
    auto const& o = object.As<data::TrackedObject>();
    e.emplace("id", Integer(o.GetId()));
    Polygon(ChildMap(e, "outline"), o.GetOutline());
    e.emplace("width", Scalar(o.GetWidth()));
    e.emplace("height", Scalar(o.GetHeight()));
    Groups(e, o.GetMeta());
  } else if (id == TypeIdOf<data::Zone>) {
    auto const& z = object.As<data::Zone>();
    auto const& c = z.GetColour();
    e.emplace("id", Integer(z.GetId()));
    e.emplace("name", z.GetName());
    e.emplace("channel", Integer(z.GetChannel()));
    mstch::map& colour = ChildMap(e, "colour");
    colour.emplace("r", Integer(unsigned{c[0]}));
    colour.emplace("g", Integer(unsigned{c[1]}));
    colour.emplace("b", Integer(unsigned{c[2]}));
    colour.emplace("a", Integer(unsigned{c[3]}));
    e.emplace("detection", data::zone::ToString(z.GetDetection()));
    e.emplace("type", type::ToString(z.GetType()));
    Polygon(ChildMap(e, "outline"), z.GetOutline());
    e.emplace("mask", z.GetMask());
  } else if (id == TypeIdOf<data::count::Line>) {
    auto const& l = object.As<data::count::Line>();
    e.emplace("rule_id", Integer(l.GetRuleId()));
    e.emplace("width", Scalar(l.GetWidth()));
    e.emplace("position", Scalar(l.GetPosition()));
    e.emplace("count", Integer(l.GetCount()));
    e.emplace("direction", data::line::ToString(l.GetDirection()));
    e.emplace("zone_id", Integer(l.GetZoneId()));
  } else if (id == TypeIdOf<data::count::Value>) {
    auto const& v = object.As<data::count::Value>();
    e.emplace("id", Integer(v.GetId()));
    e.emplace("name", v.GetName());
    e.emplace("value", Integer(v.GetValue()));
    e.emplace("difference", Integer(v.GetDifference()));
    Point(ChildMap(e, "position"), v.GetPosition());
  } else if (id == TypeIdOf<data::Channel>) {
    auto const& c = object.As<data::Channel>();
    e.emplace("id", Integer(c.GetId()));
    e.emplace("name", c.GetName());
  } else if (id == TypeIdOf<data::Observable>) {
    e.emplace("id", Integer(object.As<data::Observable>().GetId()));
  } else if (id == TypeIdOf<data::classification::Confidence>) {
    auto const& c = object.As<data::classification::Confidence>();
    e.emplace("class", c.GetClass());
    e.emplace("confidence", Real(c.GetConfidence()));
    e.emplace("object_id", Integer(c.GetObjectId()));
  } else if (id == TypeIdOf<data::classification::Name>) {
    e.emplace("value", object.As<data::classification::Name>().GetValue());
  } else if (id == TypeIdOf<data::ColourSignature>) {
    Colours(e, object.As<data::ColourSignature>());
  } else if (id == TypeIdOf<data::SegmentedColourSignature>) {
    mstch::map& segments = ChildMap(e, "segments");
    for (auto const& [segment, signature] : object.As<data::SegmentedColourSignature>().GetSegments()) {
      mstch::map& s = ChildMap(segments, type::ToString(segment));
      Header(s, signature);
      Colours(s, signature);
    }
  } else if (id == TypeIdOf<data::object::Speed>) {
    e.emplace("value", Real(object.As<data::object::Speed>().GetValue()));
  } else if (id == TypeIdOf<data::object::Area>) {
    e.emplace("value", Real(object.As<data::object::Area>().GetValue()));
  } else if (id == TypeIdOf<data::object::Height>) {
    e.emplace("value", Real(object.As<data::object::Height>().GetValue()));
  }
}

void Groups(mstch::map& into, data::Objects const& objects) {
  // Arrays are sized first: growing an array of nodes moves every element,
  // and moving a node that holds a map allocates a new map.
  std::map<char const*, std::size_t> counts;
  for (auto const& object : objects) {
    ++counts[KeyOf(*object)];
  }
  for (auto const& [key, count] : counts) {
    ChildArray(into, key, count);
  }
  for (auto const& object : objects) {
    Element(AppendMap(boost::get<mstch::array>(into.find(KeyOf(*object))->second)), *object);
  }
}

}  // namespace

mstch::map HandBuiltTemplateData(meta::data::Event const& event) {
  std::string ip = network::GetLocalIPAddress().to_string();
  std::string host = network::GetHostname();
  mstch::map result;
  mstch::map& e = ChildMap(result, "the_event");
  Header(e, event);
  e.emplace("id", Integer(event.GetId()));
  e.emplace("name", event.GetName());
  mstch::map& type = ChildMap(e, "type");
  type.emplace("string", event.GetType());
  type[event.GetType()] = true;
  Time(ChildMap(e, "start"), event.GetStart());
  Time(ChildMap(e, "end"), event.GetEnd());
  e.emplace("host", std::move(host));
  e.emplace("ip", std::move(ip));
  Groups(e, event.GetObjects());
  return result;
}

}  // namespace orv::bench
