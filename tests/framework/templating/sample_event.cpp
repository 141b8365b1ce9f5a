#include "sample_event.hpp"

#include <string>
#include <utility>
#include <vector>

namespace orv::templating::sample {
namespace {

using Text = std::string;

// The object header: "typename" and the "is" marker path of the type name.
mstch::map Header(Text const& typeName) {
  mstch::node marker = true;
  std::string rest = typeName;
  std::vector<std::string> segments;
  for (std::size_t dot = rest.find('.'); dot != std::string::npos; dot = rest.find('.')) {
    segments.push_back(rest.substr(0, dot));
    rest.erase(0, dot + 1);
  }
  marker = mstch::map{{rest, marker}};
  for (auto segment = segments.rbegin(); segment != segments.rend(); ++segment) {
    marker = mstch::map{{*segment, marker}};
  }
  return mstch::map{{"typename", typeName}, {"is", mstch::map{{"typename", marker}}}};
}

mstch::map Record(Text const& typeName, std::vector<std::pair<Text, mstch::node>> fields) {
  mstch::map record = Header(typeName);
  for (auto& field : fields) {
    record.emplace(field.first, std::move(field.second));
  }
  return record;
}

mstch::map Time(Text const& iso) {
  return mstch::map{
      {"year", iso.substr(0, 4)},
      {"month", iso.substr(5, 2)},
      {"day", iso.substr(8, 2)},
      {"hours", iso.substr(11, 2)},
      {"minutes", iso.substr(14, 2)},
      {"seconds", iso.substr(17, 2)},
      {"milliseconds", iso.substr(20, 3)},
      {"microseconds", iso.substr(20, 6)},
      {"nanoseconds", iso.substr(20, 9)},
      {"epoch", Text("1763712045")},
      {"iso8601", iso},
      {"offset", mstch::map{{"sign", iso.substr(29, 1)}, {"hours", iso.substr(30, 2)}, {"minutes", iso.substr(33, 2)}}},
  };
}

mstch::map Point(int x, int y) { return mstch::map{{"x", std::to_string(x)}, {"y", std::to_string(y)}}; }

// "outline" (the points) and "rect" (the bounding box) of a polygon.
mstch::map Polygon(int left, int top, int size, int points) {
  mstch::array outline;
  for (int i = 0; i < points; ++i) {
    outline.emplace_back(Point(left + (i * 7919) % size, top + (i * 104729) % size));
  }
  return mstch::map{
      {"outline", outline},
      {"rect", mstch::map{{"top_left", Point(left, top)}, {"bottom_right", Point(left + size - 1, top + size - 1)}}}};
}

mstch::map Zone(int id, Text const& name, bool mask) {
  return Record("orv.meta.data.Zone",
                {{"id", std::to_string(id)},
                 {"name", name},
                 {"channel", Text("1")},
                 {"colour", mstch::map{{"r", Text("255")}, {"g", Text("128")}, {"b", Text("0")}, {"a", Text("96")}}},
                 {"detection", Text("centre_of_gravity")},
                 {"type", Text("include")},
                 {"outline", Polygon(1000 * id, 2000 * id, 20000, 6)},
                 {"mask", mask}});
}

mstch::map Value(Text const& typeName, mstch::node value) { return Record(typeName, {{"value", std::move(value)}}); }

mstch::map TrackedObject(int id, Text const& classification, Text const& confidence) {
  mstch::array colours;
  Text const names[] = {"red", "grey", "blue"};
  for (int i = 0; i < 3; ++i) {
    colours.emplace_back(mstch::map{{"name", names[i]},
                                    {"r", std::to_string(200 - 60 * i)},
                                    {"g", std::to_string(40 + 50 * i)},
                                    {"b", std::to_string(30 + 70 * i)},
                                    {"proportion", Text(i == 0 ? "0.5" : "0.25")}});
  }
  return Record("orv.meta.data.Object",
                {{"id", std::to_string(id)},
                 {"outline", Polygon(3000 * id, 1500 * id, 9000, 8)},
                 {"width", Text("9000")},
                 {"height", Text("12000")},
                 {"Area", mstch::array{Value("orv.meta.data.object.Area", Text("0.0254"))}},
                 {"Speed", mstch::array{Value("orv.meta.data.object.Speed", Text("1.5"))}},
                 {"Classification", mstch::array{Value("orv.meta.data.classification.Name", classification)}},
                 {"DLClassification",
                  mstch::array{Record(
                      "orv.meta.data.classification.Confidence",
                      {{"class", classification}, {"confidence", confidence}, {"object_id", std::to_string(id)}})}},
                 {"ColourSignature", mstch::array{Record("orv.meta.data.ColourSignature", {{"colours", colours}})}}});
}

}  // namespace

mstch::map MakeEvent(bool everyKind) {
  mstch::map event = Header("orv.meta.data.Event");
  event.emplace("id", Text("4711"));
  event.emplace("name", Text("Fence & gate <north>"));
  event.emplace("type", mstch::map{{"string", Text("intrusion")}, {"intrusion", true}});
  event.emplace("start", Time("2025-11-21T08:00:45.123456789+01:00"));
  event.emplace("end", Time("2025-11-21T08:00:47.000000001+01:00"));
  event.emplace("host", Text("camera-07"));
  event.emplace("ip", Text("192.168.10.57"));
  event.emplace("Channel", mstch::array{Record("orv.meta.data.Channel", {{"id", Text("1")}, {"name", Text("Yard")}})});
  event.emplace("Observable", mstch::array{Record("orv.meta.data.Observable", {{"id", Text("12")}})});
  event.emplace("Zone", mstch::array{Zone(1, "Gate", false), Zone(2, "Fence \"east\"", true)});
  event.emplace("Object", mstch::array{TrackedObject(31, "person", "0.91"), TrackedObject(32, "vehicle", "0.78"),
                                       TrackedObject(33, "bicycle", "0.66")});
  event.emplace("CountingLine", mstch::array{Record("orv.meta.data.count.Line", {{"rule_id", Text("5")},
                                                                                 {"width", Text("655")},
                                                                                 {"position", Text("32768")},
                                                                                 {"count", Text("17")},
                                                                                 {"direction", Text("left_to_right")},
                                                                                 {"zone_id", Text("1")}})});
  event.emplace("Counter", mstch::array{Record("orv.meta.data.count.Value", {{"id", Text("3")},
                                                                             {"name", Text("Visitors")},
                                                                             {"value", Text("-2")},
                                                                             {"difference", Text("1")},
                                                                             {"position", Point(100, 200)}})});
  event.emplace("Text", mstch::array{Record("orv.meta.data.Text",
                                            {{"value", Text("Gate left open")}, {"category", Text("note")}})});
  if (everyKind) {
    event.emplace("Armed", mstch::array{Record("orv.meta.data.Armed", {{"armed", true}})});
    event.emplace("Gone", mstch::array{Record("orv.meta.data.object.Gone", {{"id", Text("29")}})});
    event.emplace("GpuStats", mstch::array{Record("orv.meta.data.GpuStats",
                                                  {{"utilisation", Text("73")}, {"memory_used", Text("1073741824")}})});
    event.emplace("GroundPoint", mstch::array{Value("orv.meta.data.object.GroundPoint", Point(30000, 60000))});
    event.emplace("Height", mstch::array{Value("orv.meta.data.object.Height", Text("1.82"))});
    event.emplace("History", mstch::array{Record("orv.meta.data.object.History",
                                                 {{"object_id", Text("31")},
                                                  {"points", mstch::array{Point(1, 2), Point(3, 4), Point(5, 6)}}})});
    event.emplace("Merged",
                  mstch::array{Record("orv.meta.data.object.Merged",
                                      {{"in_ids", mstch::array{Text("7"), Text("8")}}, {"out_id", Text("9")}})});
    event.emplace("Split",
                  mstch::array{Record("orv.meta.data.object.Split",
                                      {{"in_id", Text("9")}, {"out_ids", mstch::array{Text("10"), Text("11")}}})});
    event.emplace("Tamper", mstch::array{Header("orv.meta.data.Tampered")});
    event.emplace("Pixels", mstch::array{Value("orv.meta.data.object.PixelCount", Text("5120"))});
    event.emplace("CalibratedPosition", mstch::array{Value("orv.meta.data.object.CalibratedPosition",
                                                           mstch::map{{"x", Text("12.5")}, {"y", Text("-3.25")}})});
    mstch::map segments{
        {"upper", Record("orv.meta.data.ColourSignature",
                         {{"colours", mstch::array{mstch::map{{"name", Text("red")}, {"proportion", Text("1")}}}}})},
        {"lower", Record("orv.meta.data.ColourSignature", {{"colours", mstch::array{}}})}};
    event.emplace("SegmentedColourSignature",
                  mstch::array{Record("orv.meta.data.SegmentedColourSignature", {{"segments", segments}})});
  }
  return mstch::map{{"the_event", event}};
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
