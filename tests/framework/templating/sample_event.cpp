#include "sample_event.hpp"

#include <string>
#include <utility>
#include <vector>

namespace orv::templating::sample {
namespace {

using Text = std::string;
using Entry = std::pair<Text, mstch::node>;

// A map of the given entries, each moved in: a braced initializer list would
// copy every nested tree, and the tree should cost what a serialiser's does.
template <class... Entries>
mstch::map Map(Entries&&... entries) {
  mstch::map map;
  (map.emplace(std::move(entries.first), std::move(entries.second)), ...);
  return map;
}

template <class... Elements>
mstch::array Array(Elements&&... elements) {
  mstch::array array;
  array.reserve(sizeof...(elements));
  (array.emplace_back(std::move(elements)), ...);
  return array;
}

// The object header: "typename" and the "is" marker path of the type name.
mstch::map Header(Text const& typeName) {
  std::vector<Text> segments;
  for (std::size_t begin = 0;;) {
    std::size_t const dot = typeName.find('.', begin);
    segments.push_back(typeName.substr(begin, dot - begin));
    if (dot == Text::npos) {
      break;
    }
    begin = dot + 1;
  }
  mstch::node marker = true;
  for (auto segment = segments.rbegin(); segment != segments.rend(); ++segment) {
    marker = Map(Entry(std::move(*segment), std::move(marker)));
  }
  return Map(Entry("typename", typeName), Entry("is", Map(Entry("typename", std::move(marker)))));
}

template <class... Entries>
mstch::map Record(Text const& typeName, Entries&&... fields) {
  mstch::map record = Header(typeName);
  (record.emplace(std::move(fields.first), std::move(fields.second)), ...);
  return record;
}

mstch::map Time(Text const& iso) {
  return Map(Entry("year", iso.substr(0, 4)), Entry("month", iso.substr(5, 2)), Entry("day", iso.substr(8, 2)),
             Entry("hours", iso.substr(11, 2)), Entry("minutes", iso.substr(14, 2)),
             Entry("seconds", iso.substr(17, 2)), Entry("milliseconds", iso.substr(20, 3)),
             Entry("microseconds", iso.substr(20, 6)), Entry("nanoseconds", iso.substr(20, 9)),
             Entry("epoch", Text("1763712045")), Entry("iso8601", iso),
             Entry("offset", Map(Entry("sign", iso.substr(29, 1)), Entry("hours", iso.substr(30, 2)),
                                 Entry("minutes", iso.substr(33, 2)))));
}

mstch::map Point(int x, int y) { return Map(Entry("x", std::to_string(x)), Entry("y", std::to_string(y))); }

// "outline" (the points) and "rect" (the bounding box) of a polygon.
mstch::map Polygon(int left, int top, int size, int points) {
  mstch::array outline;
  outline.reserve(static_cast<std::size_t>(points));
  for (int i = 0; i < points; ++i) {
    outline.emplace_back(Point(left + (i * 7919) % size, top + (i * 104729) % size));
  }
  return Map(Entry("outline", std::move(outline)),
             Entry("rect", Map(Entry("top_left", Point(left, top)),
                               Entry("bottom_right", Point(left + size - 1, top + size - 1)))));
}

mstch::map Zone(int id, Text const& name, bool mask) {
  return Record("orv.meta.data.Zone", Entry("id", std::to_string(id)), Entry("name", name), Entry("channel", Text("1")),
                Entry("colour", Map(Entry("r", Text("255")), Entry("g", Text("128")), Entry("b", Text("0")),
                                    Entry("a", Text("96")))),
                Entry("detection", Text("centre_of_gravity")), Entry("type", Text("include")),
                Entry("outline", Polygon(1000 * id, 2000 * id, 20000, 6)), Entry("mask", mask));
}

mstch::map Value(Text const& typeName, mstch::node value) { return Record(typeName, Entry("value", std::move(value))); }

mstch::map TrackedObject(int id, Text const& classification, Text const& confidence) {
  mstch::array colours;
  Text const names[] = {"red", "grey", "blue"};
  for (int i = 0; i < 3; ++i) {
    colours.emplace_back(Map(Entry("name", names[i]), Entry("r", std::to_string(200 - 60 * i)),
                             Entry("g", std::to_string(40 + 50 * i)), Entry("b", std::to_string(30 + 70 * i)),
                             Entry("proportion", Text(i == 0 ? "0.5" : "0.25"))));
  }
  return Record(
      "orv.meta.data.Object", Entry("id", std::to_string(id)), Entry("outline", Polygon(3000 * id, 1500 * id, 9000, 8)),
      Entry("width", Text("9000")), Entry("height", Text("12000")),
      Entry("Area", Array(Value("orv.meta.data.object.Area", Text("0.0254")))),
      Entry("Speed", Array(Value("orv.meta.data.object.Speed", Text("1.5")))),
      Entry("Classification", Array(Value("orv.meta.data.classification.Name", classification))),
      Entry("DLClassification", Array(Record("orv.meta.data.classification.Confidence", Entry("class", classification),
                                             Entry("confidence", confidence), Entry("object_id", std::to_string(id))))),
      Entry("ColourSignature", Array(Record("orv.meta.data.ColourSignature", Entry("colours", std::move(colours))))));
}

}  // namespace

mstch::map MakeEvent(bool everyKind) {
  mstch::map event = Header("orv.meta.data.Event");
  event.emplace("id", Text("4711"));
  event.emplace("name", Text("Fence & gate <north>"));
  event.emplace("type", Map(Entry("string", Text("intrusion")), Entry("intrusion", true)));
  event.emplace("start", Time("2025-11-21T08:00:45.123456789+01:00"));
  event.emplace("end", Time("2025-11-21T08:00:47.000000001+01:00"));
  event.emplace("host", Text("camera-07"));
  event.emplace("ip", Text("192.168.10.57"));
  event.emplace("Channel", Array(Record("orv.meta.data.Channel", Entry("id", Text("1")), Entry("name", Text("Yard")))));
  event.emplace("Observable", Array(Record("orv.meta.data.Observable", Entry("id", Text("12")))));
  event.emplace("Zone", Array(Zone(1, "Gate", false), Zone(2, "Fence \"east\"", true)));
  event.emplace("Object", Array(TrackedObject(31, "person", "0.91"), TrackedObject(32, "vehicle", "0.78"),
                                TrackedObject(33, "bicycle", "0.66")));
  event.emplace("CountingLine",
                Array(Record("orv.meta.data.count.Line", Entry("rule_id", Text("5")), Entry("width", Text("655")),
                             Entry("position", Text("32768")), Entry("count", Text("17")),
                             Entry("direction", Text("left_to_right")), Entry("zone_id", Text("1")))));
  event.emplace("Counter", Array(Record("orv.meta.data.count.Value", Entry("id", Text("3")),
                                        Entry("name", Text("Visitors")), Entry("value", Text("-2")),
                                        Entry("difference", Text("1")), Entry("position", Point(100, 200)))));
  event.emplace("Text", Array(Record("orv.meta.data.Text", Entry("value", Text("Gate left open")),
                                     Entry("category", Text("note")))));
  if (everyKind) {
    event.emplace("Armed", Array(Record("orv.meta.data.Armed", Entry("armed", true))));
    event.emplace("Gone", Array(Record("orv.meta.data.object.Gone", Entry("id", Text("29")))));
    event.emplace("GpuStats", Array(Record("orv.meta.data.GpuStats", Entry("utilisation", Text("73")),
                                           Entry("memory_used", Text("1073741824")))));
    event.emplace("GroundPoint", Array(Value("orv.meta.data.object.GroundPoint", Point(30000, 60000))));
    event.emplace("Height", Array(Value("orv.meta.data.object.Height", Text("1.82"))));
    event.emplace("History", Array(Record("orv.meta.data.object.History", Entry("object_id", Text("31")),
                                          Entry("points", Array(Point(1, 2), Point(3, 4), Point(5, 6))))));
    event.emplace("Merged", Array(Record("orv.meta.data.object.Merged", Entry("in_ids", Array(Text("7"), Text("8"))),
                                         Entry("out_id", Text("9")))));
    event.emplace("Split", Array(Record("orv.meta.data.object.Split", Entry("in_id", Text("9")),
                                        Entry("out_ids", Array(Text("10"), Text("11"))))));
    event.emplace("Tamper", Array(Header("orv.meta.data.Tampered")));
    event.emplace("Pixels", Array(Value("orv.meta.data.object.PixelCount", Text("5120"))));
    event.emplace("CalibratedPosition", Array(Value("orv.meta.data.object.CalibratedPosition",
                                                    Map(Entry("x", Text("12.5")), Entry("y", Text("-3.25"))))));
    event.emplace(
        "SegmentedColourSignature",
        Array(Record(
            "orv.meta.data.SegmentedColourSignature",
            Entry("segments",
                  Map(Entry("upper", Record("orv.meta.data.ColourSignature",
                                            Entry("colours", Array(Map(Entry("name", Text("red")),
                                                                       Entry("proportion", Text("1"))))))),
                      Entry("lower", Record("orv.meta.data.ColourSignature", Entry("colours", mstch::array{}))))))));
  }
  return Map(Entry("the_event", std::move(event)));
}

std::size_t CountNodes(mstch::node const& node) {
  std::size_t count = 1;
  if (auto const* map = boost::get<mstch::map>(&node)) {
    for (auto const& entry : *map) {
      count += CountNodes(entry.second);
    }
  } else if (auto const* array = boost::get<mstch::array>(&node)) {
    for (auto const& element : *array) {
      count += CountNodes(element);
    }
  }
  return count;
}

char const kMailTemplate[] = R"(Subject: {{the_event.name}} on {{the_event.host}}
{{#the_event}}
Event {{id}} "{{name}}" ({{type.string}}){{#type.intrusion}}, an intrusion{{/type.intrusion}}
Started {{start.year}}-{{start.month}}-{{start.day}} {{start.hours}}:{{start.minutes}}:{{start.seconds}}.{{start.milliseconds}} {{start.offset.sign}}{{start.offset.hours}}:{{start.offset.minutes}}
Ended   {{end.iso8601}} (epoch {{end.epoch}})
Device  {{host}} ({{ip}})
{{#Channel}}
Channel {{id}}: {{name}}
{{/Channel}}
{{#Zone}}
Zone {{id}} "{{name}}" on channel {{channel}}: {{detection}}, {{type}}{{#mask}} (mask){{/mask}}
  colour rgba({{colour.r}}, {{colour.g}}, {{colour.b}}, {{colour.a}})
  box {{outline.rect.top_left.x}},{{outline.rect.top_left.y}} to {{outline.rect.bottom_right.x}},{{outline.rect.bottom_right.y}}
  points:{{#outline.outline}} ({{x}}, {{y}}){{/outline.outline}}
{{/Zone}}
{{^Zone}}
No zone.
{{/Zone}}
{{#Object}}
Object {{id}}, {{width}} x {{height}}{{#is.typename.orv.meta.data.Object}}, tracked{{/is.typename.orv.meta.data.Object}}
  {{#Classification}}
  class {{value}}
  {{/Classification}}
  {{#DLClassification}}
  {{class}} with confidence {{confidence}} for object {{object_id}}
  {{/DLClassification}}
  {{#Area}}area {{value}}{{/Area}} {{#Speed}}speed {{value}}{{/Speed}}
  {{#ColourSignature}}
  colours:{{#colours}} {{name}} {{proportion}}{{/colours}}
  {{/ColourSignature}}
  outline:{{#outline.outline}} ({{x}},{{y}}){{/outline.outline}}
{{/Object}}
{{#CountingLine}}
Line {{rule_id}}: count {{count}} {{direction}} in zone {{zone_id}}
{{/CountingLine}}
{{#Counter}}{{name}} = {{value}} ({{difference}}) at {{position.x}},{{position.y}}{{/Counter}}
{{#Text}}
{{category}}: {{value}}
{{/Text}}
{{/the_event}}
--
{{the_event.typename}} #{{the_event.id}}
)";

}  // namespace orv::templating::sample
