#include <gtest/gtest.h>

#include <chrono>
#include <stdexcept>

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
#include "orv/meta/data/segmented_colour_signature.hpp"
#include "orv/meta/data/tampered.hpp"
#include "orv/meta/data/text.hpp"
#include "orv/meta/data/tracked_object.hpp"
#include "orv/meta/data/zone.hpp"
#include "orv/templating/serialize/archive/output/data.hpp"
#include "orv/test/geometry_settings.hpp"
#include "orv/test/scoped_time_zone.hpp"
#include "orv/test/tree.hpp"

namespace orv::meta::data {
namespace {

using namespace std::chrono_literals;
using geometry::normalized::Value;
using templating::serialize::archive::output::Data;
using test::Array;
using test::Bool;
using test::Map;
using test::Node;
using test::SameTree;
using test::ScopedGeometrySettings;
using test::ScopedTimeZone;
using test::Text;
using test::WithHeader;
using NPoint = geometry::Point<Value<unsigned short>, 2>;

constexpr char kOutOfRange[] =
    "Cannot convert the enum into its string representation as the value is out of range of the string "
    "representation map";

NPoint P(unsigned short x, unsigned short y) { return NPoint{Value<unsigned short>{x}, Value<unsigned short>{y}}; }
mstch::node XY(char const* x, char const* y) { return Node(Map({{"x", Text(x)}, {"y", Text(y)}})); }

template <class Record>
mstch::map Write(Record const& record) {
  mstch::map root;
  Data archive(root);
  record.Save(archive);
  return root;
}

template <class F>
std::string InvalidArgumentOf(F&& f) {
  try {
    f();
  } catch (std::invalid_argument const& error) {
    return error.what();
  }
  return "no exception";
}

TEST(Helpers, WithHeaderBuildsTheMarkerPath) {
  EXPECT_TRUE(SameTree(
      Map({{"typename", Text("orv.meta.data.Zone")},
           {"is",
            Node(Map(
                {{"typename",
                  Node(Map(
                      {{"orv", Node(Map({{"meta", Node(Map({{"data", Node(Map({{"Zone", Bool(true)}}))}}))}}))}}))}}))},
           {"id", Text("1")}}),
      WithHeader("orv.meta.data.Zone", {{"id", Text("1")}})));
}

Zone MakeZone(std::array<std::uint8_t, 4> rgba, zone::Type type) {
  return Zone(12, "Car park", 3, rgba, zone::Detection::Enter, type,
              geometry::NormalizedPolygon({P(100, 200), P(900, 200), P(500, 800)}), true);
}

TEST(Zone, KeepsItsFields) {
  Zone const zone = MakeZone({1, 2, 3, 4}, zone::Type::Counting);
  EXPECT_EQ(zone.GetId(), 12U);
  EXPECT_EQ(zone.GetName(), "Car park");
  EXPECT_EQ(zone.GetChannel(), 3U);
  EXPECT_EQ(zone.GetColour(), (std::array<std::uint8_t, 4>{1, 2, 3, 4}));
  EXPECT_EQ(zone.GetDetection(), zone::Detection::Enter);
  EXPECT_EQ(zone.GetType(), zone::Type::Counting);
  EXPECT_EQ(zone.GetOutline().GetPoints().size(), 3U);
  EXPECT_TRUE(zone.GetMask());
  EXPECT_EQ(&static_cast<orv::object::Object const&>(zone).As<Zone>(), &zone);
}

TEST(Zone, WritesItsRecord) {
  EXPECT_TRUE(SameTree(
      WithHeader(
          "orv.meta.data.Zone",
          {{"id", Text("12")},
           {"name", Text("Car park")},
           {"channel", Text("3")},
           {"colour", Node(Map({{"r", Text("255")}, {"g", Text("0")}, {"b", Text("128")}, {"a", Text("255")}}))},
           {"detection", Text("enter")},
           {"type", Text("non_detection")},
           {"outline",
            Node(Map({{"outline", Array({XY("100", "200"), XY("900", "200"), XY("500", "800")})},
                      {"rect", Node(Map({{"top_left", XY("100", "200")}, {"bottom_right", XY("900", "800")}}))}}))},
           {"mask", Bool(true)}}),
      Write(MakeZone({255, 0, 128, 255}, zone::Type::NonDetection))));
}

TEST(Zone, WritesItsOutlineUnderTheSettings) {
  ScopedGeometrySettings settings(true, 1000, true, true);
  mstch::map const root = Write(MakeZone({0, 0, 0, 0}, zone::Type::Detection));
  EXPECT_TRUE(
      SameTree(Node(Map({{"outline", Array({XY("2", "997"), XY("14", "997"), XY("8", "988")})},
                         {"rect", Node(Map({{"top_left", XY("2", "997")}, {"bottom_right", XY("14", "988")}}))}})),
               root.at("outline")));
}

TEST(Zone, TypeWithoutTextFailsBeforeWriting) {
  mstch::map root;
  EXPECT_EQ(InvalidArgumentOf([&] {
              Data archive(root);
              MakeZone({0, 0, 0, 0}, static_cast<zone::Type>(200)).Save(archive);
            }),
            kOutOfRange);
  EXPECT_TRUE(root.empty());
}

TEST(Enumerations, HaveTheirTexts) {
  using zone::Detection;
  EXPECT_EQ(zone::ToString(Detection::Presence), "presence");
  EXPECT_EQ(zone::ToString(Detection::Enter), "enter");
  EXPECT_EQ(zone::ToString(Detection::Exit), "exit");
  EXPECT_EQ(zone::ToString(Detection::Appear), "appear");
  EXPECT_EQ(zone::ToString(Detection::Disappear), "disappear");
  EXPECT_EQ(zone::ToString(Detection::Stopped), "stopped");
  EXPECT_EQ(zone::ToString(Detection::Dwell), "dwell");
  EXPECT_EQ(zone::ToString(Detection::Direction), "direction");
  EXPECT_EQ(type::ToString(zone::Type::Detection), "detection");
  EXPECT_EQ(type::ToString(zone::Type::NonDetection), "non_detection");
  EXPECT_EQ(type::ToString(zone::Type::Counting), "counting");
  EXPECT_EQ(line::ToString(line::Direction::AToB), "a_to_b");
  EXPECT_EQ(line::ToString(line::Direction::BToA), "b_to_a");
  EXPECT_EQ(line::ToString(line::Direction::Both), "both");
  using Segment = SegmentedColourSignature::Segment;
  EXPECT_EQ(type::ToString(Segment::Full), "full");
  EXPECT_EQ(type::ToString(Segment::Upper), "upper");
  EXPECT_EQ(type::ToString(Segment::Lower), "lower");
  EXPECT_EQ(type::Strings<Segment>::GetMap().size(), 3U);
  EXPECT_EQ(type::Strings<zone::Detection>::GetMap().size(), 8U);
}

TEST(Enumerations, ValuesWithoutTextFail) {
  EXPECT_EQ(InvalidArgumentOf([] { zone::ToString(static_cast<zone::Detection>(8)); }), kOutOfRange);
  EXPECT_EQ(InvalidArgumentOf([] { type::ToString(static_cast<zone::Type>(3)); }), kOutOfRange);
  EXPECT_EQ(InvalidArgumentOf([] { line::ToString(static_cast<line::Direction>(-1)); }), kOutOfRange);
  EXPECT_EQ(InvalidArgumentOf([] { type::ToString(static_cast<SegmentedColourSignature::Segment>(3)); }), kOutOfRange);
}

TEST(CountLine, WritesSingleValuesForWidthAndPosition) {
  count::Line const line(7, Value<unsigned short>{65535}, Value<unsigned short>{32768}, 41, line::Direction::BToA, 12);
  EXPECT_EQ(line.GetRuleId(), 7U);
  EXPECT_EQ(line.GetWidth().GetValue(), 65535);
  EXPECT_EQ(line.GetPosition().GetValue(), 32768);
  EXPECT_EQ(line.GetCount(), 41U);
  EXPECT_EQ(line.GetDirection(), line::Direction::BToA);
  EXPECT_EQ(line.GetZoneId(), 12U);
  EXPECT_TRUE(SameTree(WithHeader("orv.meta.data.count.Line", {{"rule_id", Text("7")},
                                                               {"width", Text("65535")},
                                                               {"position", Text("32768")},
                                                               {"count", Text("41")},
                                                               {"direction", Text("b_to_a")},
                                                               {"zone_id", Text("12")}}),
                       Write(line)));
  ScopedGeometrySettings settings(true, 100, false, true);
  EXPECT_TRUE(SameTree(WithHeader("orv.meta.data.count.Line", {{"rule_id", Text("7")},
                                                               {"width", Text("100")},
                                                               {"position", Text("50.0008")},
                                                               {"count", Text("41")},
                                                               {"direction", Text("b_to_a")},
                                                               {"zone_id", Text("12")}}),
                       Write(line)));
}

TEST(CountValue, WritesSignedTextAndItsPosition) {
  count::Value const value(4, "Visitors", -3, 0, P(10, 20));
  EXPECT_EQ(value.GetId(), 4U);
  EXPECT_EQ(value.GetName(), "Visitors");
  EXPECT_EQ(value.GetValue(), -3);
  EXPECT_EQ(value.GetDifference(), 0);
  EXPECT_EQ(value.GetPosition(), P(10, 20));
  EXPECT_TRUE(SameTree(WithHeader("orv.meta.data.count.Value", {{"id", Text("4")},
                                                                {"name", Text("Visitors")},
                                                                {"value", Text("-3")},
                                                                {"difference", Text("0")},
                                                                {"position", XY("10", "20")}}),
                       Write(value)));
  count::Value const extreme(0, "", std::numeric_limits<std::int32_t>::min(), std::numeric_limits<std::int32_t>::max(),
                             P(0, 0));
  mstch::map const root = Write(extreme);
  EXPECT_EQ(boost::get<std::string>(root.at("value")), "-2147483648");
  EXPECT_EQ(boost::get<std::string>(root.at("difference")), "2147483647");
}

TEST(Confidence, WritesSixSignificantDigits) {
  classification::Confidence const confidence("person", 0.87654321F, 99);
  EXPECT_EQ(confidence.GetClass(), "person");
  EXPECT_EQ(confidence.GetConfidence(), 0.87654321F);
  EXPECT_EQ(confidence.GetObjectId(), 99U);
  EXPECT_TRUE(
      SameTree(WithHeader("orv.meta.data.classification.Confidence",
                          {{"class", Text("person")}, {"confidence", Text("0.876543")}, {"object_id", Text("99")}}),
               Write(confidence)));
}

TEST(Channel, WritesIdAndName) {
  EXPECT_TRUE(SameTree(WithHeader("orv.meta.data.Channel", {{"id", Text("2")}, {"name", Text("Entrance")}}),
                       Write(Channel(2, "Entrance"))));
}

TEST(GpuStats, WritesMemoryInFull) {
  GpuStats const stats(87, 6442450944ULL);
  EXPECT_EQ(stats.GetUtilisation(), 87U);
  EXPECT_EQ(stats.GetMemoryUsed(), 6442450944ULL);
  EXPECT_TRUE(
      SameTree(WithHeader("orv.meta.data.GpuStats", {{"utilisation", Text("87")}, {"memory_used", Text("6442450944")}}),
               Write(stats)));
}

TEST(ColourData, WritesComponentsAsNumbers) {
  ColourSignature::ColourData colour("teal", 0, 128, 255, 0.25F);
  EXPECT_EQ(colour.GetName(), "teal");
  EXPECT_EQ(colour.GetRed(), 0);
  EXPECT_EQ(colour.GetGreen(), 128);
  EXPECT_EQ(colour.GetBlue(), 255);
  EXPECT_EQ(colour.GetProportion(), 0.25F);
  mstch::map root;
  Data archive(root);
  colour.Serialize(archive);
  EXPECT_TRUE(SameTree(Map({{"colour_name", Text("teal")},
                            {"colour_value", Node(Map({{"r", Text("0")}, {"g", Text("128")}, {"b", Text("255")}}))},
                            {"proportion", Text("0.25")}}),
                       root));
}

mstch::node HistoryEntry(char const* iso, char const* day, char const* hours, char const* fraction, char const* epoch,
                         mstch::node point) {
  std::string const f(fraction);
  mstch::map key({{"year", Text("2024")},
                  {"month", Text("05")},
                  {"day", Text(day)},
                  {"hours", Text(hours)},
                  {"minutes", Text("00")},
                  {"seconds", Text("00")},
                  {"milliseconds", Text(f.substr(0, 3))},
                  {"microseconds", Text(f.substr(0, 6))},
                  {"nanoseconds", Text(f)},
                  {"epoch", Text(epoch)},
                  {"iso8601", Text(iso)},
                  {"offset", Node(Map({{"sign", Text("+")}, {"hours", Text("00")}, {"minutes", Text("00")}}))}});
  return Node(
      Map({{"key", Node(key)}, {"value", Node(WithHeader("orv.meta.data.object.GroundPoint", {{"value", point}}))}}));
}

TEST(History, WritesEntriesInAscendingTime) {
  ScopedTimeZone zone("UTC0");
  using namespace std::chrono;
  chrono::TimePoint const may6(sys_days(year(2024) / May / 6).time_since_epoch());
  std::map<chrono::TimePoint, object::GroundPoint> entries;
  entries.emplace(may6 + 13h + 5ns, object::GroundPoint(P(300, 400)));
  entries.emplace(may6 + 9h, object::GroundPoint(P(100, 200)));
  object::History const history(31, std::move(entries));
  EXPECT_EQ(history.GetId(), 31U);
  EXPECT_EQ(history.GetObjects().size(), 2U);
  EXPECT_TRUE(SameTree(WithHeader("orv.meta.data.object.History",
                                  {{"map", Array({HistoryEntry("2024-05-06T09:00:00.000000000+00:00", "06", "09",
                                                               "000000000", "1714986000", XY("100", "200")),
                                                  HistoryEntry("2024-05-06T13:00:00.000000005+00:00", "06", "13",
                                                               "000000005", "1715000400", XY("300", "400"))})},
                                   {"object_id", Text("31")}}),
                       Write(history)));
}

TEST(History, EmptyMapIsAnEmptyArray) {
  EXPECT_TRUE(SameTree(WithHeader("orv.meta.data.object.History", {{"map", Array({})}, {"object_id", Text("5")}}),
                       Write(object::History(5, {}))));
}

TEST(Records, KeepTheirConstructorValues) {
  EXPECT_EQ(object::Area(0.25F).GetValue(), 0.25F);
  EXPECT_EQ(object::Height(1.75F).GetValue(), 1.75F);
  EXPECT_EQ(object::Speed(3.5F).GetValue(), 3.5F);
  EXPECT_EQ(object::Gone(8).GetId(), 8U);
  EXPECT_EQ(object::GroundPoint(P(1, 2)).GetValue(), P(1, 2));
  EXPECT_EQ(object::PixelCount(1234U).GetValue(), 1234U);
  EXPECT_EQ(object::CalibratedPosition(geometry::Point<float, 2>{1.5F, -2.0F}).GetValue(),
            (geometry::Point<float, 2>{1.5F, -2.0F}));
  object::Merged const merged({1, 2}, 3);
  EXPECT_EQ(merged.GetInIds(), (std::vector<std::uint32_t>{1, 2}));
  EXPECT_EQ(merged.GetOutId(), 3U);
  object::Split const split(4, {5, 6});
  EXPECT_EQ(split.GetInId(), 4U);
  EXPECT_EQ(split.GetOutIds(), (std::vector<std::uint32_t>{5, 6}));
  EXPECT_TRUE(Armed(true).Get());
  EXPECT_EQ(data::Text("hello", "note").GetText(), "hello");
  EXPECT_EQ(data::Text("hello", "note").GetCategory(), "note");
  EXPECT_EQ(classification::Name("car").GetValue(), "car");
  ColourSignature const signature({ColourSignature::ColourData("red", 255, 0, 0, 1.0F)});
  ASSERT_EQ(signature.GetColours().size(), 1U);
  EXPECT_EQ(signature.GetColours()[0].GetName(), "red");
  SegmentedColourSignature const segmented({{SegmentedColourSignature::Segment::Upper, signature}});
  EXPECT_EQ(segmented.GetSegments().size(), 1U);
  TrackedObject const tracked(17, geometry::NormalizedPolygon({P(1, 1)}), Value<unsigned short>{200},
                              Value<unsigned short>{300}, {std::make_shared<object::Speed>(2.0F)});
  EXPECT_EQ(tracked.GetId(), 17U);
  EXPECT_EQ(tracked.GetOutline().GetPoints().size(), 1U);
  EXPECT_EQ(tracked.GetWidth().GetValue(), 200);
  EXPECT_EQ(tracked.GetHeight().GetValue(), 300);
  EXPECT_EQ(tracked.GetMeta().size(), 1U);
}

TEST(Records, CarryTheirTypeNames) {
  auto name = [](orv::object::Object const& o) {
    return std::string(orv::object::Object::TypeName(o.GetTypeNameId()));
  };
  EXPECT_EQ(name(object::Area(0)), "orv.meta.data.object.Area");
  EXPECT_EQ(name(object::Height(0)), "orv.meta.data.object.Height");
  EXPECT_EQ(name(object::Speed(0)), "orv.meta.data.object.Speed");
  EXPECT_EQ(name(object::Gone(0)), "orv.meta.data.object.Gone");
  EXPECT_EQ(name(object::GroundPoint(P(0, 0))), "orv.meta.data.object.GroundPoint");
  EXPECT_EQ(name(object::PixelCount(0)), "orv.meta.data.object.PixelCount");
  EXPECT_EQ(name(object::CalibratedPosition({0, 0})), "orv.meta.data.object.CalibratedPosition");
  EXPECT_EQ(name(object::Merged({}, 0)), "orv.meta.data.object.Merged");
  EXPECT_EQ(name(object::Split(0, {})), "orv.meta.data.object.Split");
  EXPECT_EQ(name(object::History(0, {})), "orv.meta.data.object.History");
  EXPECT_EQ(name(Armed(false)), "orv.meta.data.Armed");
  EXPECT_EQ(name(data::Text("", "")), "orv.meta.data.Text");
  EXPECT_EQ(name(GpuStats(0, 0)), "orv.meta.data.GpuStats");
  EXPECT_EQ(name(Tampered()), "orv.meta.data.Tampered");
  EXPECT_EQ(name(ColourSignature({})), "orv.meta.data.ColourSignature");
  EXPECT_EQ(name(SegmentedColourSignature({})), "orv.meta.data.SegmentedColourSignature");
  EXPECT_EQ(name(classification::Name("")), "orv.meta.data.classification.Name");
  EXPECT_EQ(name(classification::Confidence("", 0, 0)), "orv.meta.data.classification.Confidence");
  EXPECT_EQ(name(count::Value(0, "", 0, 0, P(0, 0))), "orv.meta.data.count.Value");
  EXPECT_EQ(name(count::Line(0, Value<unsigned short>{0}, Value<unsigned short>{0}, 0, line::Direction::Both, 0)),
            "orv.meta.data.count.Line");
  EXPECT_EQ(name(MakeZone({}, zone::Type::Detection)), "orv.meta.data.Zone");
  EXPECT_EQ(name(TrackedObject(0, {}, Value<unsigned short>{0}, Value<unsigned short>{0}, {})), "orv.meta.data.Object");
  EXPECT_EQ(name(Channel(0, "")), "orv.meta.data.Channel");
}

TEST(Records, CastOnlyToTheirOwnType) {
  data::Text const text("x", "y");
  orv::object::Object const& object = text;
  try {
    object.As<Zone>();
    FAIL() << "no exception";
  } catch (orv::object::BadCast const& error) {
    EXPECT_STREQ(error.what(), "Failed to cast the runtime object from 'orv.meta.data.Text' to a 'orv.meta.data.Zone'");
  }
  EXPECT_EQ(&object.As<data::Text>(), &text);
}

}  // namespace
}  // namespace orv::meta::data
