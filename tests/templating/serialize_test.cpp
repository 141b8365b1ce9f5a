#include "orv/action/serialize.hpp"

#include <gtest/gtest.h>

#include <chrono>
#include <functional>
#include <stdexcept>
#include <thread>

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
#include "orv/network/address.hpp"
#include "orv/test/geometry_settings.hpp"
#include "orv/test/scoped_time_zone.hpp"
#include "orv/test/tree.hpp"

namespace orv::action {
namespace {

using namespace std::chrono_literals;
namespace data = meta::data;
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
using Objects = data::Objects;

NPoint P(unsigned short x, unsigned short y) { return NPoint{Value<unsigned short>{x}, Value<unsigned short>{y}}; }
mstch::node XY(char const* x, char const* y) { return Node(Map({{"x", Text(x)}, {"y", Text(y)}})); }

// 2024-05-06T07:08:09Z plus `offset`.
data::TimePoint May6th(std::chrono::nanoseconds offset) {
  using namespace std::chrono;
  return data::TimePoint(sys_days(year(2024) / May / 6).time_since_epoch() + 7h + 8min + 9s + offset);
}

// The time node of 2024-05-06T07:08:SS.FFFFFFFFF in a zone of offset +00:00.
mstch::node TimeNode(char const* seconds, char const* fraction, char const* epoch) {
  std::string const f(fraction);
  std::string const iso = std::string("2024-05-06T07:08:") + seconds + "." + f + "+00:00";
  return Node(Map({{"year", Text("2024")},
                   {"month", Text("05")},
                   {"day", Text("06")},
                   {"hours", Text("07")},
                   {"minutes", Text("08")},
                   {"seconds", Text(seconds)},
                   {"milliseconds", Text(f.substr(0, 3))},
                   {"microseconds", Text(f.substr(0, 6))},
                   {"nanoseconds", Text(f)},
                   {"epoch", Text(epoch)},
                   {"iso8601", Text(iso)},
                   {"offset", Node(Map({{"sign", Text("+")}, {"hours", Text("00")}, {"minutes", Text("00")}}))}}));
}

std::shared_ptr<data::Event const> MakeEvent(std::string type, Objects objects) {
  auto event = std::make_shared<data::Event>("Gate", std::move(type), "video", May6th(5ns), std::move(objects));
  event->SetId(42);
  event->SetEnd(May6th(1s + 250ms));
  return event;
}

// The event's own entries, before its groups.
mstch::map EventEntries(mstch::node type) {
  return WithHeader("orv.meta.data.Event", {{"id", Text("42")},
                                            {"name", Text("Gate")},
                                            {"type", std::move(type)},
                                            {"start", TimeNode("09", "000000005", "1714979289")},
                                            {"end", TimeNode("10", "250000000", "1714979290")},
                                            {"host", Text(network::GetHostname())},
                                            {"ip", Text(network::GetLocalIPAddress().to_string())}});
}

mstch::node MotionType() { return Node(Map({{"string", Text("motion")}, {"motion", Bool(true)}})); }

// The expected event: its entries plus `groups`.
mstch::map ExpectedEvent(std::initializer_list<std::pair<std::string const, mstch::node>> groups) {
  mstch::map event = EventEntries(MotionType());
  for (auto const& group : groups) {
    event.insert(group);
  }
  return Map({{"the_event", Node(event)}});
}

// The groups that `objects` give inside an open node.
mstch::map Groups(Objects const& objects) {
  mstch::map root;
  Data archive(root);
  templating::serialize::archive::output::Save(archive, objects);
  return root;
}

class SerializeEventTest : public ::testing::Test {
 protected:
  ScopedTimeZone zone_{"UTC0"};
};

// The largest event id and times after 2038, up to the last a time point can
// hold, come out exactly on every target.
TEST_F(SerializeEventTest, LargestIdAndTimesAfter2038) {
  using TimePoint = std::chrono::time_point<std::chrono::system_clock, std::chrono::nanoseconds>;
  auto event = std::make_shared<data::Event>("Gate", "motion", "video", TimePoint(4294967296s + 1ns), Objects{});
  event->SetId(4294967295U);
  event->SetEnd(TimePoint::max());
  mstch::map const result = SerializeEvent(event);
  auto const& theEvent = boost::get<mstch::map>(result.at("the_event"));
  EXPECT_EQ(boost::get<std::string>(theEvent.at("id")), "4294967295");
  auto const& start = boost::get<mstch::map>(theEvent.at("start"));
  EXPECT_EQ(boost::get<std::string>(start.at("iso8601")), "2106-02-07T06:28:16.000000001+00:00");
  EXPECT_EQ(boost::get<std::string>(start.at("epoch")), "4294967296");
  EXPECT_EQ(boost::get<std::string>(start.at("year")), "2106");
  auto const& end = boost::get<mstch::map>(theEvent.at("end"));
  EXPECT_EQ(boost::get<std::string>(end.at("iso8601")), "2262-04-11T23:47:16.854775807+00:00");
  EXPECT_EQ(boost::get<std::string>(end.at("epoch")), "9223372036");
}

TEST_F(SerializeEventTest, EventWithoutObjectsEndsWithIp) {
  mstch::map const result = SerializeEvent(MakeEvent("motion", {}));
  ASSERT_EQ(result.size(), 1U);
  EXPECT_EQ(result.begin()->first, "the_event");
  EXPECT_TRUE(SameTree(ExpectedEvent({}), result));
}

TEST_F(SerializeEventTest, TypeTextBecomesAKeySetToTrue) {
  mstch::map const empty = SerializeEvent(MakeEvent("", {}));
  EXPECT_TRUE(
      SameTree(Map({{"the_event", Node(EventEntries(Node(Map({{"string", Text("")}, {"", Bool(true)}}))))}}), empty));
  mstch::map const string = SerializeEvent(MakeEvent("string", {}));
  EXPECT_TRUE(SameTree(Map({{"the_event", Node(EventEntries(Node(Map({{"string", Bool(true)}}))))}}), string));
}

TEST_F(SerializeEventTest, EmptyPointerIsRejected) {
  try {
    SerializeEvent(nullptr);
    FAIL() << "no exception";
  } catch (std::invalid_argument const& error) {
    EXPECT_STREQ(error.what(), "SerializeEvent needs an event, not an empty pointer");
  }
}

TEST_F(SerializeEventTest, FailuresPassThrough) {
  auto const badZone =
      std::make_shared<data::Zone>(1, "z", 0, std::array<std::uint8_t, 4>{}, data::zone::Detection::Enter,
                                   static_cast<data::zone::Type>(99), geometry::NormalizedPolygon(), false);
  EXPECT_THROW(SerializeEvent(MakeEvent("motion", {std::make_shared<data::object::Area>(1.0F), badZone})),
               std::invalid_argument);
}

TEST_F(SerializeEventTest, GroupsFollowTheEventEntries) {
  mstch::map const result = SerializeEvent(MakeEvent("motion", {std::make_shared<data::object::Speed>(2.5F)}));
  EXPECT_TRUE(SameTree(
      ExpectedEvent({{"Speed", Array({Node(WithHeader("orv.meta.data.object.Speed", {{"value", Text("2.5")}}))})}}),
      result));
}

TEST_F(SerializeEventTest, SaveEventWritesIntoTheOpenNode) {
  mstch::map root;
  Data archive(root);
  data::SaveEvent(archive, *MakeEvent("motion", {}));
  EXPECT_TRUE(SameTree(EventEntries(MotionType()), root));
}

TEST(Dispatch, EmptyListWritesNothing) { EXPECT_TRUE(Groups({}).empty()); }

TEST(Dispatch, UnknownKindsAreSkipped) {
  EXPECT_TRUE(
      Groups({MakeEvent("motion", {}), std::make_shared<data::Event>("e", "t", "c", May6th(0ns), Objects{})}).empty());
}

TEST(Dispatch, GroupsByKindKeepingOrderWithinAKind) {
  EXPECT_TRUE(SameTree(
      Map({{"Area", Array({Node(WithHeader("orv.meta.data.object.Area", {{"value", Text("1")}})),
                           Node(WithHeader("orv.meta.data.object.Area", {{"value", Text("2")}})),
                           Node(WithHeader("orv.meta.data.object.Area", {{"value", Text("3")}}))})},
           {"Zone",
            Array({Node(WithHeader(
                "orv.meta.data.Zone",
                {{"id", Text("9")},
                 {"name", Text("Z")},
                 {"channel", Text("1")},
                 {"colour", Node(Map({{"r", Text("1")}, {"g", Text("2")}, {"b", Text("3")}, {"a", Text("4")}}))},
                 {"detection", Text("exit")},
                 {"type", Text("counting")},
                 {"outline",
                  Node(Map({{"outline", Array({})},
                            {"rect", Node(Map({{"top_left", XY("0", "0")}, {"bottom_right", XY("0", "0")}}))}}))},
                 {"mask", Bool(false)}}))})}}),
      Groups(
          {std::make_shared<data::object::Area>(1.0F), std::make_shared<data::object::Area>(2.0F),
           std::make_shared<data::Zone>(9, "Z", 1, std::array<std::uint8_t, 4>{1, 2, 3, 4}, data::zone::Detection::Exit,
                                        data::zone::Type::Counting, geometry::NormalizedPolygon(), false),
           std::make_shared<data::object::Area>(3.0F)})));
}

TEST(Dispatch, EqualObjectsAreAllWritten) {
  auto const speed = std::make_shared<data::object::Speed>(0.5F);
  mstch::node const element = Node(WithHeader("orv.meta.data.object.Speed", {{"value", Text("0.5")}}));
  EXPECT_TRUE(SameTree(Map({{"Speed", Array({element, element, element})}}),
                       Groups({speed, std::make_shared<data::object::Speed>(0.5F), speed})));
}

TEST(Dispatch, MergeWithoutInputsGivesAnEmptyArray) {
  EXPECT_TRUE(SameTree(
      Map({{"Merged",
            Array({Node(WithHeader("orv.meta.data.object.Merged", {{"in_ids", Array({})}, {"out_id", Text("5")}}))})}}),
      Groups({std::make_shared<data::object::Merged>(std::vector<std::uint32_t>{}, 5)})));
}

TEST(Dispatch, TamperIsTheHeaderAlone) {
  EXPECT_TRUE(SameTree(Map({{"Tamper", Array({Node(WithHeader("orv.meta.data.Tampered"))})}}),
                       Groups({std::make_shared<data::Tampered>()})));
}

TEST(Dispatch, EmptySegmentMapGivesAnEmptySegmentsNode) {
  EXPECT_TRUE(SameTree(
      Map({{"SegmentedColourSignature",
            Array({Node(WithHeader("orv.meta.data.SegmentedColourSignature", {{"segments", Node(Map({}))}}))})}}),
      Groups({std::make_shared<data::SegmentedColourSignature>(
          std::map<data::SegmentedColourSignature::Segment, data::ColourSignature>{})})));
}

TEST(Dispatch, SegmentWithoutTextFails) {
  using Segment = data::SegmentedColourSignature::Segment;
  Objects const objects{std::make_shared<data::SegmentedColourSignature>(
      std::map<Segment, data::ColourSignature>{{static_cast<Segment>(-7), data::ColourSignature({})}})};
  mstch::map root;
  Data archive(root);
  try {
    templating::serialize::archive::output::Save(archive, objects);
    FAIL() << "no exception";
  } catch (std::invalid_argument const& error) {
    EXPECT_STREQ(error.what(),
                 "Cannot convert the enum into its string representation as the value is out of range of the string "
                 "representation map");
  }
}

// Every kind once, in an order unlike the groups' order.
TEST(Dispatch, WritesEveryKind) {
  ScopedTimeZone zone("UTC0");
  using ColourData = data::ColourSignature::ColourData;
  using Segment = data::SegmentedColourSignature::Segment;
  data::ColourSignature const signature({ColourData("red", 255, 0, 0, 0.75F), ColourData("navy", 0, 0, 128, 0.25F)});
  Objects const objects{
      std::make_shared<data::object::CalibratedPosition>(geometry::Point<float, 2>{1.5F, -2.25F}),
      std::make_shared<data::object::PixelCount>(4000000000U),
      std::make_shared<data::Armed>(true),
      std::make_shared<data::Observable>(17),
      std::make_shared<data::Zone>(3, "Yard", 2, std::array<std::uint8_t, 4>{255, 0, 128, 255},
                                   data::zone::Detection::Presence, data::zone::Type::Detection,
                                   geometry::NormalizedPolygon({P(1, 2)}), true),
      std::make_shared<data::Tampered>(),
      std::make_shared<data::object::Split>(4, std::vector<std::uint32_t>{5, 6}),
      std::make_shared<data::object::Speed>(3.25F),
      std::make_shared<data::TrackedObject>(8, geometry::NormalizedPolygon({P(10, 20), P(30, 40)}),
                                            Value<unsigned short>{100}, Value<unsigned short>{200}, Objects{}),
      std::make_shared<data::object::Merged>(std::vector<std::uint32_t>{1, 2}, 3),
      std::make_shared<data::object::History>(
          9, std::map<data::TimePoint, data::object::GroundPoint>{{May6th(0ns), data::object::GroundPoint(P(7, 8))}}),
      std::make_shared<data::object::Height>(1.8F),
      std::make_shared<data::object::GroundPoint>(P(500, 600)),
      std::make_shared<data::GpuStats>(55, 8589934592ULL),
      std::make_shared<data::object::Gone>(12),
      std::make_shared<data::count::Line>(7, Value<unsigned short>{10}, Value<unsigned short>{20}, 30,
                                          data::line::Direction::Both, 3),
      std::make_shared<data::Text>("hello", "note"),
      std::make_shared<data::count::Value>(1, "In", 5, -1, P(3, 4)),
      std::make_shared<data::SegmentedColourSignature>(
          std::map<Segment, data::ColourSignature>{{Segment::Lower, signature}, {Segment::Full, signature}}),
      std::make_shared<data::ColourSignature>(signature),
      std::make_shared<data::classification::Confidence>("car", 0.5F, 8),
      std::make_shared<data::classification::Name>("vehicle"),
      std::make_shared<data::Channel>(2, "Yard cam"),
      std::make_shared<data::object::Area>(0.125F),
  };
  mstch::node const colours =
      Array({Node(Map({{"colour_name", Text("red")},
                       {"colour_value", Node(Map({{"r", Text("255")}, {"g", Text("0")}, {"b", Text("0")}}))},
                       {"proportion", Text("0.75")}})),
             Node(Map({{"colour_name", Text("navy")},
                       {"colour_value", Node(Map({{"r", Text("0")}, {"g", Text("0")}, {"b", Text("128")}}))},
                       {"proportion", Text("0.25")}}))});
  mstch::node const signatureNode = Node(WithHeader("orv.meta.data.ColourSignature", {{"colours", colours}}));
  mstch::map const expected = Map({
      {"Area", Array({Node(WithHeader("orv.meta.data.object.Area", {{"value", Text("0.125")}}))})},
      {"Channel", Array({Node(WithHeader("orv.meta.data.Channel", {{"id", Text("2")}, {"name", Text("Yard cam")}}))})},
      {"Classification", Array({Node(WithHeader("orv.meta.data.classification.Name", {{"value", Text("vehicle")}}))})},
      {"DLClassification",
       Array({Node(WithHeader("orv.meta.data.classification.Confidence",
                              {{"class", Text("car")}, {"confidence", Text("0.5")}, {"object_id", Text("8")}}))})},
      {"ColourSignature", Array({signatureNode})},
      {"SegmentedColourSignature",
       Array({Node(WithHeader("orv.meta.data.SegmentedColourSignature",
                              {{"segments", Node(Map({{"full", signatureNode}, {"lower", signatureNode}}))}}))})},
      {"Counter", Array({Node(WithHeader("orv.meta.data.count.Value", {{"id", Text("1")},
                                                                       {"name", Text("In")},
                                                                       {"value", Text("5")},
                                                                       {"difference", Text("-1")},
                                                                       {"position", XY("3", "4")}}))})},
      {"Text", Array({Node(WithHeader("orv.meta.data.Text", {{"value", Text("hello")}, {"category", Text("note")}}))})},
      {"CountingLine", Array({Node(WithHeader("orv.meta.data.count.Line", {{"rule_id", Text("7")},
                                                                           {"width", Text("10")},
                                                                           {"position", Text("20")},
                                                                           {"count", Text("30")},
                                                                           {"direction", Text("both")},
                                                                           {"zone_id", Text("3")}}))})},
      {"Gone", Array({Node(WithHeader("orv.meta.data.object.Gone", {{"id", Text("12")}}))})},
      {"GpuStats", Array({Node(WithHeader("orv.meta.data.GpuStats",
                                          {{"utilisation", Text("55")}, {"memory_used", Text("8589934592")}}))})},
      {"GroundPoint", Array({Node(WithHeader("orv.meta.data.object.GroundPoint", {{"value", XY("500", "600")}}))})},
      {"Height", Array({Node(WithHeader("orv.meta.data.object.Height", {{"value", Text("1.8")}}))})},
      {"History",
       Array({Node(WithHeader("orv.meta.data.object.History",
                              {{"map", Array({Node(Map({{"key", TimeNode("09", "000000000", "1714979289")},
                                                        {"value", Node(WithHeader("orv.meta.data.object.GroundPoint",
                                                                                  {{"value", XY("7", "8")}}))}}))})},
                               {"object_id", Text("9")}}))})},
      {"Merged", Array({Node(WithHeader("orv.meta.data.object.Merged",
                                        {{"in_ids", Array({Text("1"), Text("2")})}, {"out_id", Text("3")}}))})},
      {"Object",
       Array({Node(WithHeader("orv.meta.data.Object",
                              {{"id", Text("8")},
                               {"outline", Node(Map({{"outline", Array({XY("10", "20"), XY("30", "40")})},
                                                     {"rect", Node(Map({{"top_left", XY("10", "20")},
                                                                        {"bottom_right", XY("30", "40")}}))}}))},
                               {"width", Text("100")},
                               {"height", Text("200")}}))})},
      {"Speed", Array({Node(WithHeader("orv.meta.data.object.Speed", {{"value", Text("3.25")}}))})},
      {"Split", Array({Node(WithHeader("orv.meta.data.object.Split",
                                       {{"in_id", Text("4")}, {"out_ids", Array({Text("5"), Text("6")})}}))})},
      {"Tamper", Array({Node(WithHeader("orv.meta.data.Tampered"))})},
      {"Zone",
       Array({Node(WithHeader(
           "orv.meta.data.Zone",
           {{"id", Text("3")},
            {"name", Text("Yard")},
            {"channel", Text("2")},
            {"colour", Node(Map({{"r", Text("255")}, {"g", Text("0")}, {"b", Text("128")}, {"a", Text("255")}}))},
            {"detection", Text("presence")},
            {"type", Text("detection")},
            {"outline", Node(Map({{"outline", Array({XY("1", "2")})},
                                  {"rect", Node(Map({{"top_left", XY("1", "2")}, {"bottom_right", XY("1", "2")}}))}}))},
            {"mask", Bool(true)}}))})},
      {"Observable", Array({Node(WithHeader("orv.meta.data.Observable", {{"id", Text("17")}}))})},
      {"Armed", Array({Node(WithHeader("orv.meta.data.Armed", {{"armed", Bool(true)}}))})},
      {"Pixels", Array({Node(WithHeader("orv.meta.data.object.PixelCount", {{"value", Text("4000000000")}}))})},
      {"CalibratedPosition",
       Array({Node(WithHeader("orv.meta.data.object.CalibratedPosition",
                              {{"value", Node(Map({{"x", Text("1.5")}, {"y", Text("-2.25")}}))}}))})},
  });
  EXPECT_EQ(expected.size(), 24U);
  EXPECT_TRUE(SameTree(expected, Groups(objects)));

  // A map does not show the order in which groups were written; an open array
  // does: there each group's array is appended, and its key stays pending
  // until the element's header replaces it.
  mstch::map root;
  Data archive(root);
  archive.SetNextName("order");
  archive.StartNode();
  archive.MakeArray(24);
  templating::serialize::archive::output::Save(archive, objects);
  archive.FinishNode();
  std::vector<std::string> order;
  for (mstch::node const& group : boost::get<mstch::array>(root.at("order"))) {
    auto const& first = boost::get<mstch::map>(boost::get<mstch::array>(group).at(0));
    order.push_back(boost::get<std::string>(first.at("typename")));
  }
  EXPECT_EQ(order, (std::vector<std::string>{"orv.meta.data.object.Area",
                                             "orv.meta.data.Channel",
                                             "orv.meta.data.classification.Name",
                                             "orv.meta.data.classification.Confidence",
                                             "orv.meta.data.ColourSignature",
                                             "orv.meta.data.SegmentedColourSignature",
                                             "orv.meta.data.count.Value",
                                             "orv.meta.data.Text",
                                             "orv.meta.data.count.Line",
                                             "orv.meta.data.object.Gone",
                                             "orv.meta.data.GpuStats",
                                             "orv.meta.data.object.GroundPoint",
                                             "orv.meta.data.object.Height",
                                             "orv.meta.data.object.History",
                                             "orv.meta.data.object.Merged",
                                             "orv.meta.data.Object",
                                             "orv.meta.data.object.Speed",
                                             "orv.meta.data.object.Split",
                                             "orv.meta.data.Tampered",
                                             "orv.meta.data.Zone",
                                             "orv.meta.data.Observable",
                                             "orv.meta.data.Armed",
                                             "orv.meta.data.object.PixelCount",
                                             "orv.meta.data.object.CalibratedPosition"}));
}

// A tracked object whose outline is the single point (x, y), as written.
mstch::map ExpectedTracked(std::uint32_t id, char const* width, char const* height,
                           std::initializer_list<std::pair<std::string const, mstch::node>> groups, char const* x = "1",
                           char const* y = "2") {
  mstch::map tracked =
      WithHeader("orv.meta.data.Object",
                 {{"id", Text(std::to_string(id))},
                  {"outline", Node(Map({{"outline", Array({XY(x, y)})},
                                        {"rect", Node(Map({{"top_left", XY(x, y)}, {"bottom_right", XY(x, y)}}))}}))},
                  {"width", Text(width)},
                  {"height", Text(height)}});
  for (auto const& group : groups) {
    tracked.insert(group);
  }
  return tracked;
}

std::shared_ptr<data::TrackedObject const> Tracked(std::uint32_t id, unsigned short width, unsigned short height,
                                                   Objects meta) {
  return std::make_shared<data::TrackedObject>(id, geometry::NormalizedPolygon({P(1, 2)}), Value<unsigned short>{width},
                                               Value<unsigned short>{height}, std::move(meta));
}

TEST(TrackedObject, WidthAndHeightFollowTheScalarRule) {
  Objects const objects{Tracked(1, 65535, 32768, {})};
  EXPECT_TRUE(SameTree(Map({{"Object", Array({Node(ExpectedTracked(1, "65535", "32768", {}))})}}), Groups(objects)));
  {
    ScopedGeometrySettings settings(true, 100, true, true);
    // The point (1, 2) scales to 0.0015 and, flipped, to 99.997.
    EXPECT_TRUE(
        SameTree(Map({{"Object", Array({Node(ExpectedTracked(1, "100", "50", {}, "0", "100"))})}}), Groups(objects)));
  }
  {
    ScopedGeometrySettings settings(true, 100, false, false);
    mstch::map const groups = Groups(objects);
    auto const& element = boost::get<mstch::map>(boost::get<mstch::array>(groups.at("Object"))[0]);
    EXPECT_EQ(boost::get<std::string>(element.at("width")), "100");
    EXPECT_EQ(boost::get<std::string>(element.at("height")), "50.0008");
  }
}

TEST(TrackedObject, MetaGroupsLandInTheObjectsOwnNode) {
  Objects const objects{
      Tracked(1, 10, 20,
              {std::make_shared<data::Zone>(2, "Z", 0, std::array<std::uint8_t, 4>{}, data::zone::Detection::Exit,
                                            data::zone::Type::Detection, geometry::NormalizedPolygon(), false),
               std::make_shared<data::object::Speed>(4.0F)})};
  mstch::map const groups = Groups(objects);
  auto const& element = boost::get<mstch::map>(boost::get<mstch::array>(groups.at("Object"))[0]);
  EXPECT_EQ(element.count("meta"), 0U);
  EXPECT_EQ(element.count("Speed"), 1U);
  EXPECT_EQ(element.count("Zone"), 1U);
  EXPECT_TRUE(SameTree(
      Node(ExpectedTracked(
          1, "10", "20",
          {{"Speed", Array({Node(WithHeader("orv.meta.data.object.Speed", {{"value", Text("4")}}))})},
           {"Zone",
            Array({Node(WithHeader(
                "orv.meta.data.Zone",
                {{"id", Text("2")},
                 {"name", Text("Z")},
                 {"channel", Text("0")},
                 {"colour", Node(Map({{"r", Text("0")}, {"g", Text("0")}, {"b", Text("0")}, {"a", Text("0")}}))},
                 {"detection", Text("exit")},
                 {"type", Text("detection")},
                 {"outline",
                  Node(Map({{"outline", Array({})},
                            {"rect", Node(Map({{"top_left", XY("0", "0")}, {"bottom_right", XY("0", "0")}}))}}))},
                 {"mask", Bool(false)}}))})}})),
      boost::get<mstch::array>(groups.at("Object"))[0]));
}

TEST(TrackedObject, NestsTwoHundredDeep) {
  constexpr std::uint32_t kDepth = 200;
  std::shared_ptr<data::TrackedObject const> chain =
      Tracked(kDepth, 1, 1, {std::make_shared<data::object::Speed>(9.0F)});
  for (std::uint32_t id = kDepth - 1; id >= 1; --id) {
    chain = Tracked(id, 1, 1, {chain});
  }
  // The expected tree, built from the inside out.
  mstch::map expected = ExpectedTracked(
      kDepth, "1", "1", {{"Speed", Array({Node(WithHeader("orv.meta.data.object.Speed", {{"value", Text("9")}}))})}});
  for (std::uint32_t id = kDepth - 1; id >= 1; --id) {
    expected = ExpectedTracked(id, "1", "1", {{"Object", Array({Node(std::move(expected))})}});
  }
  EXPECT_TRUE(SameTree(Map({{"Object", Array({Node(std::move(expected))})}}), Groups({chain})));
}

// A chain of tracked objects 1, 2, ... `depth`, each in the meta data of the
// one before; the innermost carries a speed.
std::shared_ptr<data::TrackedObject const> Chain(std::uint32_t depth) {
  std::shared_ptr<data::TrackedObject const> chain =
      Tracked(depth, 1, 1, {std::make_shared<data::object::Speed>(9.0F)});
  for (std::uint32_t id = depth - 1; id >= 1; --id) {
    chain = Tracked(id, 1, 1, {chain});
  }
  return chain;
}

// Tracked objects nest as deep as the data goes: no level is cut off.
TEST_F(SerializeEventTest, TrackedObjectsNestAsDeepAsTheDataGoes) {
  constexpr std::uint32_t kDepth = 300;
  mstch::map const result = SerializeEvent(MakeEvent("motion", {Chain(kDepth)}));
  // Down the "Object" groups to the innermost object's speed.
  mstch::map const* level = &boost::get<mstch::map>(result.at("the_event"));
  for (std::uint32_t id = 1; id <= kDepth; ++id) {
    mstch::array const& objects = boost::get<mstch::array>(level->at("Object"));
    ASSERT_EQ(objects.size(), 1U);
    level = &boost::get<mstch::map>(objects.front());
    ASSERT_EQ(boost::get<std::string>(level->at("id")), std::to_string(id));
  }
  EXPECT_EQ(level->count("Object"), 0U);
  EXPECT_EQ(level->count("Speed"), 1U);
}

TEST_F(SerializeEventTest, TenThousandObjects) {
  Objects objects;
  for (std::uint32_t id = 0; id < 10000; ++id) {
    objects.push_back(Tracked(id, static_cast<unsigned short>(id % 65536), 7,
                              {std::make_shared<data::object::Speed>(static_cast<float>(id) / 4)}));
  }
  // Built and compared by moving: a copy of a node copies its whole tree
  // (a growing vector of nodes copies every element).
  mstch::array expected;
  expected.reserve(10000);
  for (std::uint32_t id = 0; id < 10000; ++id) {
    std::ostringstream speed;
    speed << static_cast<double>(static_cast<float>(id) / 4);
    expected.emplace_back(ExpectedTracked(
        id, std::to_string(id).c_str(), "7",
        {{"Speed", Array({Node(WithHeader("orv.meta.data.object.Speed", {{"value", Text(speed.str())}}))})}}));
  }
  mstch::map event = ExpectedEvent({});
  boost::get<mstch::map>(event.at("the_event")).emplace("Object", std::move(expected));
  mstch::node const expectedTree(std::move(event));
  mstch::node const result(SerializeEvent(MakeEvent("motion", std::move(objects))));
  EXPECT_TRUE(SameTree(expectedTree, result));
}

TEST_F(SerializeEventTest, ThreadsSerialiseTheSameEventAlike) {
  auto const event = MakeEvent("motion", {Tracked(1, 2, 3, {std::make_shared<data::object::Area>(0.5F)}),
                                          std::make_shared<data::Channel>(1, "c")});
  mstch::map const reference = SerializeEvent(event);
  std::vector<mstch::map> results(4);
  std::vector<std::thread> threads;
  for (auto& result : results) {
    threads.emplace_back([&event, &result] {
      for (int i = 0; i < 50; ++i) {
        result = SerializeEvent(event);
      }
    });
  }
  for (auto& thread : threads) {
    thread.join();
  }
  for (auto const& result : results) {
    EXPECT_TRUE(SameTree(reference, result));
  }
}

}  // namespace
}  // namespace orv::action
