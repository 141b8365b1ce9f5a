#include <gtest/gtest.h>

#include <boost/variant/get.hpp>
#include <cmath>
#include <cstdint>
#include <limits>
#include <stdexcept>

#include "orv/object/object.hpp"
#include "orv/templating/serialize/archive/output/data.hpp"
#include "orv/templating/serialize/is.hpp"
#include "orv/templating/serialize/recursive.hpp"
#include "orv/test/tree.hpp"

namespace orv::templating::serialize::archive::output {
namespace {

using test::Array;
using test::Bool;
using test::Map;
using test::SameTree;
using test::Text;

TEST(Data, WritesTextUnchangedAndBoolsAsBools) {
  mstch::map root;
  Data archive(root);
  archive.SetNextName("name");
  Save(archive, std::string("Front door {{x}} <b>"));
  archive.SetNextName("armed");
  archive.SaveValue<bool>(true);
  archive.SetNextName("mask");
  archive.SaveValue<bool>(false);
  EXPECT_TRUE(
      SameTree(Map({{"name", Text("Front door {{x}} <b>")}, {"armed", Bool(true)}, {"mask", Bool(false)}}), root));
}

TEST(Data, WritesNumbersAsDecimalText) {
  mstch::map root;
  Data archive(root);
  archive.SetNextName("zero");
  archive.SaveValue<unsigned int>(0U);
  archive.SetNextName("uint_max");
  archive.SaveValue<unsigned int>(4294967295U);
  archive.SetNextName("ulong_max");
  archive.SaveValue<unsigned long>(std::numeric_limits<unsigned long>::max());
  archive.SetNextName("uint64_max");
  archive.SaveValue<std::uint64_t>(std::numeric_limits<std::uint64_t>::max());
  archive.SetNextName("int64_min");
  archive.SaveValue<std::int64_t>(std::numeric_limits<std::int64_t>::min());
  archive.SetNextName("long_long_max");
  archive.SaveValue<long long>(9223372036854775807LL);
  archive.SetNextName("int_min");
  archive.SaveValue<int>(std::numeric_limits<int>::min());
  archive.SetNextName("minus_three");
  archive.SaveValue<int>(-3);
  // long is 32 bits on 32-bit ARM; the 64-bit types are 64 bits everywhere.
  char const* const ulongMax = sizeof(unsigned long) == 8 ? "18446744073709551615" : "4294967295";
  EXPECT_TRUE(SameTree(Map({{"zero", Text("0")},
                            {"uint_max", Text("4294967295")},
                            {"ulong_max", Text(ulongMax)},
                            {"uint64_max", Text("18446744073709551615")},
                            {"int64_min", Text("-9223372036854775808")},
                            {"long_long_max", Text("9223372036854775807")},
                            {"int_min", Text("-2147483648")},
                            {"minus_three", Text("-3")}}),
                       root));
}

TEST(Data, WritesFloatsWithSixSignificantDigits) {
  struct Case {
    float value;
    char const* text;
  };
  Case const cases[] = {
      {0.5F, "0.5"},
      {3.0F, "3"},
      {0.1234567F, "0.123457"},
      {1234567.0F, "1.23457e+06"},
      {0.00001F, "1e-05"},
      {0.1F, "0.1"},
      {16777216.0F, "1.67772e+07"},
      {0.87654321F, "0.876543"},
      {std::numeric_limits<float>::quiet_NaN(), "nan"},
      {std::numeric_limits<float>::infinity(), "inf"},
      {-std::numeric_limits<float>::infinity(), "-inf"},
      {0.0F, "0"},
      {-0.0F, "-0"},
  };
  for (Case const& c : cases) {
    mstch::map root;
    Data archive(root);
    archive.SetNextName("v");
    archive.SaveValue<float>(c.value);
    EXPECT_TRUE(SameTree(Map({{"v", Text(c.text)}}), root)) << "for " << c.text;
  }
}

TEST(Data, RepeatedNameKeepsTheLastValue) {
  mstch::map root;
  Data archive(root);
  archive.SetNextName("a");
  archive.SaveValue<unsigned int>(1U);
  archive.SetNextName("a");
  archive.SaveValue<unsigned int>(2U);
  archive.SetNextName("b");
  Save(archive, std::string("first"));
  archive.SetNextName("b");
  Save(archive, std::string("second"));
  archive.SetNextName("c");
  Save(archive, std::string("text"));
  archive.SetNextName("c");
  archive.SaveValue<bool>(true);
  EXPECT_TRUE(SameTree(Map({{"a", Text("2")}, {"b", Text("second")}, {"c", Bool(true)}}), root));
}

TEST(Data, GetNextNameReturnsThePendingNameOnce) {
  mstch::map root;
  Data archive(root);
  EXPECT_EQ(archive.GetNextName(), "");
  archive.SetNextName("first");
  archive.SetNextName("second");
  EXPECT_EQ(archive.GetNextName(), "second");
  EXPECT_EQ(archive.GetNextName(), "");
  // A value with no pending name lands under the empty key.
  archive.SaveValue<bool>(true);
  EXPECT_TRUE(SameTree(Map({{"", Bool(true)}}), root));
}

TEST(Data, BuildsNestedMapsAndArrays) {
  mstch::map root;
  Data archive(root);
  archive.SetNextName("outer");
  archive.StartNode();
  archive.SetNextName("inner");
  archive.StartNode();
  archive.SetNextName("x");
  archive.SaveValue<unsigned int>(7U);
  archive.FinishNode();
  archive.SetNextName("list");
  archive.StartNode();
  archive.MakeArray(3);
  archive.SaveValue<unsigned int>(1U);
  archive.StartNode();
  archive.SetNextName("y");
  Save(archive, std::string("z"));
  archive.FinishNode();
  archive.SaveValue<bool>(false);
  archive.FinishNode();
  archive.FinishNode();
  archive.SetNextName("after");
  archive.SaveValue<unsigned int>(9U);
  EXPECT_TRUE(SameTree(
      Map({{"outer", test::Node(Map({{"inner", test::Node(Map({{"x", Text("7")}}))},
                                     {"list", Array({Text("1"), test::Node(Map({{"y", Text("z")}})), Bool(false)})}}))},
           {"after", Text("9")}}),
      root));
}

TEST(Data, EmptyArrayStaysAnEmptyArray) {
  mstch::map root;
  Data archive(root);
  archive.SetNextName("none");
  archive.StartNode();
  archive.MakeArray(0);
  archive.FinishNode();
  EXPECT_TRUE(SameTree(Map({{"none", Array({})}}), root));
}

TEST(Data, ValuesInAnArrayDoNotUseThePendingName) {
  mstch::map root;
  Data archive(root);
  archive.SetNextName("list");
  archive.StartNode();
  archive.MakeArray(1);
  archive.SetNextName("kept");
  archive.SaveValue<unsigned int>(5U);
  archive.FinishNode();
  archive.SaveValue<bool>(true);
  EXPECT_TRUE(SameTree(Map({{"list", Array({Text("5")})}, {"kept", Bool(true)}}), root));
}

TEST(Data, StartNodeReplacesWhatTheSlotHeld) {
  mstch::map root;
  Data archive(root);
  archive.SetNextName("a");
  Save(archive, std::string("old"));
  archive.SetNextName("a");
  archive.StartNode();
  archive.FinishNode();
  EXPECT_TRUE(SameTree(Map({{"a", test::Node(Map({}))}}), root));
}

TEST(Data, TheRootIsNeverAnArray) {
  mstch::map root;
  Data archive(root);
  archive.MakeArray(2);
  EXPECT_THROW(archive.SaveValue<unsigned int>(1U), boost::bad_get);
  EXPECT_THROW(Save(archive, std::string("x")), boost::bad_get);
  EXPECT_THROW(archive.StartNode(), boost::bad_get);
  EXPECT_TRUE(root.empty());
}

TEST(Data, FailedWriteKeepsThePendingName) {
  mstch::map root;
  Data archive(root);
  archive.MakeArray(0);
  archive.SetNextName("pending");
  EXPECT_THROW(archive.SaveValue<bool>(true), boost::bad_get);
  EXPECT_EQ(archive.GetNextName(), "pending");
}

TEST(Data, TheRootCannotBeFinished) {
  mstch::map root;
  Data archive(root);
  try {
    archive.FinishNode();
    FAIL() << "no exception";
  } catch (std::logic_error const& error) {
    EXPECT_STREQ(error.what(), "FinishNode called with no node open: the root cannot be closed");
  }
}

TEST(Data, TheTreeOutlivesTheArchive) {
  mstch::map root;
  {
    Data archive(root);
    archive.SetNextName("kept");
    archive.StartNode();
    archive.SetNextName("v");
    archive.SaveValue<unsigned long>(12UL);
  }
  EXPECT_TRUE(SameTree(Map({{"kept", test::Node(Map({{"v", Text("12")}}))}}), root));
}

TEST(Data, CerealDispatchNamesAndWritesValues) {
  mstch::map root;
  Data archive(root);
  archive(cereal::make_nvp("count", 3U), cereal::make_nvp("big", 5000000000UL), cereal::make_nvp("ratio", 0.25F),
          cereal::make_nvp("flag", true), cereal::make_nvp("name", std::string("gate")));
  EXPECT_TRUE(SameTree(Map({{"count", Text("3")},
                            {"big", Text("5000000000")},
                            {"ratio", Text("0.25")},
                            {"flag", Bool(true)},
                            {"name", Text("gate")}}),
                       root));
}

TEST(Recursive, WritesADottedPathOfMaps) {
  mstch::map root;
  Data archive(root);
  bool const yes = true;
  cereal::Recursive<bool const>{"orv.meta.data.Zone", &yes}.Serialize(archive);
  EXPECT_TRUE(SameTree(
      Map({{"orv", test::Node(Map({{"meta", test::Node(Map({{"data", test::Node(Map({{"Zone", Bool(true)}}))}}))}}))}}),
      root));
}

TEST(Recursive, NameWithoutDotsIsOneBool) {
  mstch::map root;
  Data archive(root);
  bool const no = false;
  cereal::Recursive<bool const>{"Plain", &no}.Serialize(archive);
  EXPECT_TRUE(SameTree(Map({{"Plain", Bool(false)}}), root));
}

TEST(Recursive, EmptySegmentsGiveEmptyKeys) {
  mstch::map root;
  Data archive(root);
  bool const yes = true;
  cereal::Recursive<bool const>{"a..b.", &yes}.Serialize(archive);
  EXPECT_TRUE(SameTree(
      Map({{"a", test::Node(Map({{"", test::Node(Map({{"b", test::Node(Map({{"", Bool(true)}}))}}))}}))}}), root));
}

TEST(Is, NamesTheMarkerNodes) {
  cereal::Is const is("typename", "orv.meta.data.Zone");
  EXPECT_STREQ(is.GetNodeName(), "is");
  EXPECT_STREQ(is.GetKeyName(), "typename");
  EXPECT_STREQ(is.GetMarker().name, "orv.meta.data.Zone");
  EXPECT_TRUE(*is.GetMarker().value);
}

struct ZoneLike : object::Object {
  static constexpr char const* kTypeName = object::type_name::kZone;
  ZoneLike() : Object(object::TypeIdOf<ZoneLike>) {}
};

constexpr char kPlainName[] = "PlainTestType";
struct Plain : object::Object {
  static constexpr char const* kTypeName = kPlainName;
  Plain() : Object(object::TypeIdOf<Plain>) {}
};

struct Unregistered : object::Object {
  static constexpr char const* kTypeName = "orv.test.NeverRegistered";
  Unregistered() : Object(object::TypeIdOf<Unregistered>) {}
};

TEST(ObjectHeader, WritesTheTypeNameAndItsMarker) {
  mstch::map root;
  Data archive(root);
  ZoneLike().Serialize(archive);
  EXPECT_TRUE(SameTree(
      Map({{"typename", Text("orv.meta.data.Zone")},
           {"is",
            test::Node(Map(
                {{"typename",
                  test::Node(Map(
                      {{"orv", test::Node(Map(
                                   {{"meta", test::Node(Map(
                                                 {{"data", test::Node(Map({{"Zone", Bool(true)}}))}}))}}))}}))}}))}}),
      root));
}

TEST(ObjectHeader, TypeNameWithoutDotsIsOneBoolInsideTheMarkerMaps) {
  ASSERT_TRUE(object::AddTypeName(kPlainName));
  mstch::map root;
  Data archive(root);
  Plain().Serialize(archive);
  EXPECT_TRUE(SameTree(Map({{"typename", Text("PlainTestType")},
                            {"is", test::Node(Map({{"typename", test::Node(Map({{"PlainTestType", Bool(true)}}))}}))}}),
                       root));
}

TEST(ObjectHeader, UnregisteredClassIsNamedInTheFailure) {
  mstch::map root;
  Data archive(root);
  try {
    Unregistered().Serialize(archive);
    FAIL() << "no exception";
  } catch (std::logic_error const& error) {
    EXPECT_STREQ(error.what(),
                 "The class has not been registered: "
                 "orv::templating::serialize::archive::output::(anonymous namespace)::Unregistered");
  }
  EXPECT_TRUE(root.empty());
}

}  // namespace
}  // namespace orv::templating::serialize::archive::output
