#include "orv/property/property.hpp"

#include <gtest/gtest.h>

#include <sstream>
#include <stdexcept>
#include <string>

#include "orv/object/pointer.hpp"
#include "orv/object/primitive.hpp"
#include "orv/property/array.hpp"
#include "orv/property/context.hpp"
#include "orv/property/convert.hpp"
#include "orv/property/primitive.hpp"
#include "orv/type/bad_cast.hpp"

namespace orv::property {
namespace {

// An object whose type id no type name is registered for.
class Unnamed : public object::Object {
 public:
  Unnamed() : Object(hash::MurmurThree32("orv.test.NoSuchName")) {}
};

template <class Call>
std::string LogicErrorOf(Call call) {
  try {
    call();
  } catch (std::logic_error const& error) {
    return error.what();
  }
  return "no std::logic_error";
}

template <class Call>
std::string BadCastOf(Call call) {
  try {
    call();
  } catch (type::BadCast const& error) {
    return error.what();
  }
  return "no orv::type::BadCast";
}

TEST(Property, KeepsItsTexts) {
  Primitive<bool> const property("armed", true, "Whether it is armed", "extra");
  EXPECT_EQ(property.GetName(), "armed");
  EXPECT_EQ(property.GetDescription(), "Whether it is armed");
  EXPECT_EQ(property.GetExtra(), "extra");
  EXPECT_EQ(&property.GetObject(), &property);
}

TEST(Property, AScalarRefusesElementOperationsNamingItself) {
  Primitive<std::string> property("label", "x", "A label", "");
  object::ConstPointer element;
  EXPECT_EQ(LogicErrorOf([&] { property.Add(element); }),
            "Cannot add an element to the property 'label': it is not an array");
  EXPECT_EQ(LogicErrorOf([&] { property.Erase(element); }),
            "Cannot erase an element from the property 'label': it is not an array");
  EXPECT_EQ(LogicErrorOf([&] { property.SetAt(0, element); }),
            "Cannot set an element of the property 'label': it is not an array");
}

TEST(Property, ComparesTheBasePartsOnly) {
  Primitive<bool> const a("flag", true, "d", "e");
  EXPECT_TRUE(a == Primitive<bool>("flag", false, "d", "e"));
  EXPECT_FALSE(a == Primitive<bool>("other", true, "d", "e"));
  EXPECT_FALSE(a == Primitive<bool>("flag", true, "other", "e"));
  EXPECT_FALSE(a == Primitive<bool>("flag", true, "d", "other"));
  EXPECT_FALSE(a == Primitive<std::string>("flag", "", "d", "e"));
}

TEST(Property, AssigningObservablesToAScalarIsRefused) {
  Primitive<bool> property("flag", true, "", "");
  EXPECT_EQ(BadCastOf([&] { static_cast<Property&>(property) = Property::Observables{}; }),
            "Cannot set external property with a 'orv.property.Array.ConstPointer'. Make sure to use the same type "
            "as the property");
  EXPECT_TRUE(property.Get());
}

TEST(Primitive, HaveTheirTypeIds) {
  EXPECT_EQ(Primitive<bool>("b", false, "", "").GetTypeNameId(), hash::MurmurThree32("orv.property.Bool"));
  EXPECT_EQ(Primitive<std::string>("s", "", "", "").GetTypeNameId(), hash::MurmurThree32("orv.property.String"));
}

TEST(Primitive, SetsFromObjectsAndPropertiesOfItsValueType) {
  Primitive<std::string> text("t", "", "", "");
  text.Set(object::Primitive<std::string>("from an object"));
  EXPECT_EQ(text.Get(), "from an object");
  text.Set(Primitive<std::string>("u", "from a property", "", ""));
  EXPECT_EQ(text.Get(), "from a property");
  text.Set(std::string("typed"));
  EXPECT_EQ(text.Get(), "typed");

  Primitive<bool> flag("f", false, "", "");
  flag.Set(object::Primitive<bool>(true));
  EXPECT_TRUE(flag.Get());
  flag.Set(Primitive<bool>("g", false, "", ""));
  EXPECT_FALSE(flag.Get());
}

TEST(Primitive, RefusesOtherTypesWithTheConversionMessage) {
  Primitive<bool> flag("f", true, "", "");
  EXPECT_EQ(BadCastOf([&] { flag.Set(Primitive<std::string>("s", "true", "", "")); }),
            "Cannot set external property with a 'orv.property.String'. Make sure to use the same type as the "
            "property");
  EXPECT_TRUE(flag.Get());
}

TEST(Primitive, EqualToComparesValueAndBaseParts) {
  Primitive<bool> const flag("f", true, "d", "");
  EXPECT_TRUE(flag.EqualTo(Primitive<bool>("f", true, "d", "")));
  EXPECT_FALSE(flag.EqualTo(Primitive<bool>("f", false, "d", "")));
  EXPECT_FALSE(flag.EqualTo(Primitive<bool>("g", true, "d", "")));
  EXPECT_FALSE(flag.EqualTo(object::Primitive<bool>(true)));
}

TEST(Primitive, DescribeTheirValidValues) {
  std::ostringstream out;
  Primitive<bool>("f", true, "", "").DescribeValidValues(out) << "|";
  Primitive<std::string>("s", "", "", "").DescribeValidValues(out);
  EXPECT_EQ(out.str(), "true or false|Any text");
}

TEST(Primitive, CloneCopiesEverything) {
  Primitive<std::string> const text("t", "value", "d", "e");
  auto const clone = text.Clone();
  EXPECT_NE(clone.get(), &text);
  EXPECT_TRUE(clone->EqualTo(text));
}

TEST(Convert, ReadsTheFourAcceptedKinds) {
  EXPECT_TRUE(external::Convert<bool>(object::Primitive<bool>(true)));
  EXPECT_TRUE(external::Convert<bool>(Primitive<bool>("f", true, "", "")));
  EXPECT_EQ(external::Convert<std::string>(object::Primitive<std::string>("a")), "a");
  EXPECT_EQ(external::Convert<std::string>(Primitive<std::string>("s", "b", "", "")), "b");
}

TEST(Convert, NamesTheTypeItRefuses) {
  EXPECT_EQ(BadCastOf([] { external::Convert<std::string>(object::Primitive<bool>(true)); }),
            "Cannot set external property with a 'orv.object.Bool'. Make sure to use the same type as the property");
  EXPECT_EQ(BadCastOf([] { external::Convert<bool>(object::ConstPointer()); }),
            "Cannot set external property with a 'orv.object.ConstPointer'. Make sure to use the same type as the "
            "property");
}

TEST(Convert, AnUnnamedTypeCutsTheMessageShort) {
  EXPECT_EQ(BadCastOf([] { external::Convert<bool>(Unnamed()); }), "Cannot set external property with a '");
}

TEST(Check, RefusesAnEmptyOwnerOnly) {
  try {
    context::Check(nullptr);
    FAIL() << "no exception";
  } catch (std::invalid_argument const& error) {
    EXPECT_STREQ(error.what(), "Cannot write an external property that has no owner");
  }
  EXPECT_NO_THROW(context::Check(std::make_shared<int>(1)));
}

TEST(Direction, PushingIsZero) {
  EXPECT_EQ(static_cast<int>(context::Direction::ToOwner), 0);
  EXPECT_EQ(static_cast<int>(context::Direction::FromOwner), 1);
}

}  // namespace
}  // namespace orv::property
