#include "orv/object/object.hpp"

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <typeinfo>

#include "orv/meta/data/channel.hpp"
#include "orv/meta/data/observable.hpp"

namespace orv::object {
namespace {

// Minimal records under the names of the table, for casting.
class Zone : public Object {
 public:
  static constexpr char const* kTypeName = type_name::kZone;
  Zone() : Object(TypeIdOf<Zone>) {}
};

class Text : public Object {
 public:
  static constexpr char const* kTypeName = type_name::kText;
  Text() : Object(TypeIdOf<Text>) {}
};

class Unnamed : public Object {
 public:
  static constexpr char const* kTypeName = "orv.test.NeverRegistered";
  Unnamed() : Object(TypeIdOf<Unnamed>) {}
};

// Carries Zone's id although it is another class: the cast trusts the id.
class ZoneImpostor : public Object {
 public:
  ZoneImpostor() : Object(TypeIdOf<Zone>) {}
};

std::string CastMessage(Object const& object) {
  try {
    static_cast<void>(object.As<Zone>());
  } catch (BadCast const& failure) {
    return failure.what();
  }
  ADD_FAILURE() << "no BadCast";
  return {};
}

TEST(Object, CarriesTheTypeIdOfItsName) {
  Zone const zone;
  EXPECT_EQ(zone.GetTypeNameId(), hash::MurmurThree32("orv.meta.data.Zone"));
}

TEST(Object, AsReturnsTheSameObjectWhenTheIdMatches) {
  Zone zone;
  Object& object = zone;
  EXPECT_EQ(&object.As<Zone>(), &zone);
  Object const& constant = zone;
  EXPECT_EQ(&constant.As<Zone const>(), &zone);
  EXPECT_EQ(&constant.As<Zone>(), &zone);
}

TEST(Object, AsTrustsTheIdAlone) {
  ZoneImpostor impostor;
  Object& object = impostor;
  EXPECT_EQ(static_cast<void*>(&object.As<Zone>()), static_cast<void*>(&impostor));
}

TEST(Object, FailedCastNamesBothTypes) {
  Text const text;
  EXPECT_EQ(CastMessage(text), "Failed to cast the runtime object from 'orv.meta.data.Text' to a 'orv.meta.data.Zone'");
}

TEST(Object, FailedCastIsABadCastOfTheStandardLibrary) {
  Text text;
  EXPECT_THROW(static_cast<void>(static_cast<Object&>(text).As<Zone>()), std::bad_cast);
  EXPECT_THROW(static_cast<void>(static_cast<Object const&>(text).As<Zone>()), BadCast);
}

TEST(Object, FailedCastFromAnUnknownTypeStopsAfterTheFirstQuote) {
  Unnamed const unnamed;
  EXPECT_EQ(CastMessage(unnamed), "Failed to cast the runtime object from '");
}

TEST(Object, FailedCastOfMetaDataRecords) {
  meta::data::Channel const channel(2, "front");
  try {
    static_cast<void>(static_cast<Object const&>(channel).As<meta::data::Observable const>());
    FAIL() << "no BadCast";
  } catch (BadCast const& failure) {
    EXPECT_STREQ(failure.what(),
                 "Failed to cast the runtime object from 'orv.meta.data.Channel' to a 'orv.meta.data.Observable'");
  }
}

TEST(Object, CopyKeepsTheTypeId) {
  Zone const zone;
  Object const copy(zone);
  EXPECT_EQ(copy.GetTypeNameId(), zone.GetTypeNameId());
}

TEST(Object, BaseDefaultsHaveNoChildrenAndNoValue) {
  Zone zone;
  Object const& constant = zone;
  EXPECT_EQ(zone.Begin(), zone.End());
  EXPECT_EQ(constant.Begin(), constant.End());
  EXPECT_FALSE(zone.GetRequired());
  EXPECT_TRUE(zone.EqualTo(zone));
  EXPECT_FALSE(zone.EqualTo(Zone()));
}

TEST(Object, BaseSetRefusesNamingBothTypes) {
  Zone zone;
  try {
    zone.Set(Text());
    FAIL() << "no logic_error";
  } catch (std::logic_error const& failure) {
    EXPECT_STREQ(failure.what(),
                 "Cannot set an object of type 'orv.meta.data.Zone' from one of type 'orv.meta.data.Text'");
  }
}

TEST(BadCast, KeepsItsMessage) {
  BadCast const failure("message");
  EXPECT_STREQ(failure.what(), "message");
}

}  // namespace
}  // namespace orv::object
