#include <gtest/gtest.h>

#include <atomic>
#include <thread>

#include "orv/geometry/normalized.hpp"
#include "orv/geometry/polygon.hpp"
#include "orv/templating/serialize/archive/output/data.hpp"
#include "orv/test/geometry_settings.hpp"
#include "orv/test/tree.hpp"

namespace orv::geometry {
namespace {

using normalized::Value;
using templating::serialize::archive::output::Data;
using test::Array;
using test::Map;
using test::Node;
using test::SameTree;
using test::ScopedGeometrySettings;
using test::Text;
using NPoint = Point<Value<unsigned short>, 2>;

NPoint P(unsigned short x, unsigned short y) { return NPoint{Value<unsigned short>{x}, Value<unsigned short>{y}}; }

mstch::node XY(char const* x, char const* y) { return Node(Map({{"x", Text(x)}, {"y", Text(y)}})); }

mstch::map WritePoint(NPoint const& point) {
  mstch::map root;
  Data archive(root);
  normalized::Save(archive, point);
  return root;
}

std::string WriteScalar(unsigned short raw) {
  mstch::map root;
  Data archive(root);
  archive.SetNextName("v");
  normalized::SaveScalar(archive, Value<unsigned short>{raw});
  return boost::get<std::string>(root.at("v"));
}

TEST(Settings, StartOffAndKeepWhatIsSet) {
  EXPECT_FALSE(normalized::UsingCustomSerializedRange());
  EXPECT_EQ(normalized::GetCustomSerializedRangeMax(), 0U);
  EXPECT_FALSE(normalized::GetRoundSerializedValues());
  EXPECT_FALSE(normalized::GetFlipSerializedYAxis());
  {
    ScopedGeometrySettings settings(true, 4000000000U, true, true);
    EXPECT_TRUE(normalized::UsingCustomSerializedRange());
    EXPECT_EQ(normalized::GetCustomSerializedRangeMax(), 4000000000U);
    EXPECT_TRUE(normalized::GetRoundSerializedValues());
    EXPECT_TRUE(normalized::GetFlipSerializedYAxis());
  }
  EXPECT_FALSE(normalized::UsingCustomSerializedRange());
  EXPECT_EQ(normalized::GetCustomSerializedRangeMax(), 0U);
}

TEST(PointWriter, WritesRawValuesByDefault) {
  EXPECT_TRUE(SameTree(Map({{"x", Text("32767")}, {"y", Text("65535")}}), WritePoint(P(32767, 65535))));
  EXPECT_TRUE(SameTree(Map({{"x", Text("0")}, {"y", Text("1")}}), WritePoint(P(0, 1))));
}

TEST(PointWriter, FlipsY) {
  ScopedGeometrySettings settings(false, 0, false, true);
  EXPECT_TRUE(SameTree(Map({{"x", Text("0")}, {"y", Text("65535")}}), WritePoint(P(0, 0))));
  EXPECT_TRUE(SameTree(Map({{"x", Text("65535")}, {"y", Text("0")}}), WritePoint(P(65535, 65535))));
  EXPECT_TRUE(SameTree(Map({{"x", Text("100")}, {"y", Text("65435")}}), WritePoint(P(100, 100))));
}

TEST(PointWriter, RawValuesIgnoreRounding) {
  ScopedGeometrySettings settings(false, 100, true, false);
  EXPECT_TRUE(SameTree(Map({{"x", Text("32767")}, {"y", Text("12345")}}), WritePoint(P(32767, 12345))));
}

TEST(PointWriter, ScalesToACustomRangeWithRounding) {
  ScopedGeometrySettings settings(true, 100, true, false);
  EXPECT_TRUE(SameTree(Map({{"x", Text("50")}, {"y", Text("100")}}), WritePoint(P(32767, 65535))));
  // 328 scales to 0.5005 and rounds up, 327 to 0.49897 and rounds down.
  EXPECT_TRUE(SameTree(Map({{"x", Text("1")}, {"y", Text("0")}}), WritePoint(P(328, 327))));
}

TEST(PointWriter, ScalesToACustomRangeKeepingTheFraction) {
  ScopedGeometrySettings settings(true, 100, false, false);
  EXPECT_TRUE(SameTree(Map({{"x", Text("49.9992")}, {"y", Text("100")}}), WritePoint(P(32767, 65535))));
  ScopedGeometrySettings wide(true, 1920, false, false);
  EXPECT_TRUE(SameTree(Map({{"x", Text("188.382")}, {"y", Text("0")}}), WritePoint(P(6430, 0))));
}

TEST(PointWriter, FlipsBeforeScaling) {
  ScopedGeometrySettings settings(true, 1000, true, true);
  EXPECT_TRUE(SameTree(Map({{"x", Text("0")}, {"y", Text("1000")}}), WritePoint(P(0, 0))));
  EXPECT_TRUE(SameTree(Map({{"x", Text("250")}, {"y", Text("750")}}), WritePoint(P(16384, 16384))));
}

TEST(PointWriter, RangeMaximumZeroWritesZeros) {
  ScopedGeometrySettings settings(true, 0, false, true);
  EXPECT_TRUE(SameTree(Map({{"x", Text("0")}, {"y", Text("0")}}), WritePoint(P(65535, 12))));
  ScopedGeometrySettings rounded(true, 0, true, false);
  EXPECT_TRUE(SameTree(Map({{"x", Text("0")}, {"y", Text("0")}}), WritePoint(P(1, 65535))));
}

TEST(ScalarRule, FollowsTheRangeButNeverFlips) {
  EXPECT_EQ(WriteScalar(65535), "65535");
  EXPECT_EQ(WriteScalar(32768), "32768");
  {
    ScopedGeometrySettings settings(true, 100, true, true);
    EXPECT_EQ(WriteScalar(65535), "100");
    EXPECT_EQ(WriteScalar(0), "0");
  }
  {
    ScopedGeometrySettings settings(true, 100, false, true);
    EXPECT_EQ(WriteScalar(32768), "50.0008");
  }
  {
    ScopedGeometrySettings settings(false, 100, true, true);
    EXPECT_EQ(WriteScalar(3), "3");
  }
  EXPECT_EQ(normalized::ToSerialized(40000), 40000.0);
}

TEST(ScalarRule, AppendsInsideAnArray) {
  mstch::map root;
  Data archive(root);
  archive.SetNextName("list");
  archive.StartNode();
  archive.MakeArray(2);
  normalized::SaveScalar(archive, Value<unsigned short>{1});
  normalized::SaveScalar(archive, Value<unsigned short>{2});
  archive.FinishNode();
  EXPECT_TRUE(SameTree(Map({{"list", Array({Text("1"), Text("2")})}}), root));
}

TEST(BoundingBox, OfNoPointsIsAtTheOrigin) {
  auto const box = NormalizedPolygon().GetBoundingBox();
  EXPECT_EQ(box.topLeft, P(0, 0));
  EXPECT_EQ(box.bottomRight, P(0, 0));
}

TEST(BoundingBox, OfOnePointHasNoSize) {
  auto const box = NormalizedPolygon({P(7, 9)}).GetBoundingBox();
  EXPECT_EQ(box.topLeft, P(7, 9));
  EXPECT_EQ(box.bottomRight, P(7, 9));
}

TEST(BoundingBox, TakesTheExtremesInAnyOrder) {
  auto const box = NormalizedPolygon({P(500, 20), P(10, 60000), P(65535, 300), P(200, 0)}).GetBoundingBox();
  EXPECT_EQ(box.topLeft, P(10, 0));
  EXPECT_EQ(box.bottomRight, P(65535, 60000));
  auto const reversed = NormalizedPolygon({P(200, 0), P(65535, 300), P(10, 60000), P(500, 20)}).GetBoundingBox();
  EXPECT_EQ(reversed.topLeft, P(10, 0));
  EXPECT_EQ(reversed.bottomRight, P(65535, 60000));
}

mstch::map WritePolygon(NormalizedPolygon const& polygon) {
  mstch::map root;
  Data archive(root);
  SavePolygon(archive, polygon);
  return root;
}

TEST(PolygonWriter, EmptyPolygon) {
  EXPECT_TRUE(SameTree(
      Map({{"outline", Array({})}, {"rect", Node(Map({{"top_left", XY("0", "0")}, {"bottom_right", XY("0", "0")}}))}}),
      WritePolygon(NormalizedPolygon())));
  ScopedGeometrySettings settings(false, 0, false, true);
  EXPECT_TRUE(SameTree(Map({{"outline", Array({})},
                            {"rect", Node(Map({{"top_left", XY("0", "65535")}, {"bottom_right", XY("0", "65535")}}))}}),
                       WritePolygon(NormalizedPolygon())));
}

TEST(PolygonWriter, WritesThePointsInOrderAndTheBox) {
  NormalizedPolygon const triangle({P(300, 100), P(100, 900), P(700, 500)});
  EXPECT_TRUE(SameTree(Map({{"outline", Array({XY("300", "100"), XY("100", "900"), XY("700", "500")})},
                            {"rect", Node(Map({{"top_left", XY("100", "100")}, {"bottom_right", XY("700", "900")}}))}}),
                       WritePolygon(triangle)));
}

TEST(PolygonWriter, FlipsTheCornersToo) {
  ScopedGeometrySettings settings(false, 0, false, true);
  NormalizedPolygon const triangle({P(300, 100), P(100, 900), P(700, 500)});
  EXPECT_TRUE(
      SameTree(Map({{"outline", Array({XY("300", "65435"), XY("100", "64635"), XY("700", "65035")})},
                    {"rect", Node(Map({{"top_left", XY("100", "65435")}, {"bottom_right", XY("700", "64635")}}))}}),
               WritePolygon(triangle)));
}

TEST(PolygonWriter, MemberSaveWritesTheSame) {
  ScopedGeometrySettings settings(true, 200, true, false);
  NormalizedPolygon const square({P(0, 0), P(65535, 0), P(65535, 65535), P(0, 65535)});
  mstch::map root;
  Data archive(root);
  square.Save(archive);
  EXPECT_TRUE(SameTree(Map({{"outline", Array({XY("0", "0"), XY("200", "0"), XY("200", "200"), XY("0", "200")})},
                            {"rect", Node(Map({{"top_left", XY("0", "0")}, {"bottom_right", XY("200", "200")}}))}}),
                       root));
  EXPECT_TRUE(SameTree(WritePolygon(square), root));
}

TEST(Settings, MayChangeWhilePointsAreWritten) {
  ScopedGeometrySettings settings(false, 0, false, false);
  std::atomic<bool> stop{false};
  std::thread writer([&stop] {
    while (!stop.load()) {
      auto const point = WritePoint(P(65535, 0));
      std::string const& x = boost::get<std::string>(point.at("x"));
      ASSERT_TRUE(x == "65535" || x == "10") << x;
    }
  });
  for (int i = 0; i < 2000; ++i) {
    normalized::SetCustomSerializedRangeMax(10);
    normalized::SetUsingCustomSerializedRange(i % 2 == 0);
    normalized::SetFlipSerializedYAxis(i % 3 == 0);
  }
  stop = true;
  writer.join();
}

}  // namespace
}  // namespace orv::geometry
