#include "orv/object/pointer.hpp"

#include <gtest/gtest.h>

#include <memory>
#include <stdexcept>
#include <string>

#include "orv/object/primitive.hpp"
#include "orv/observable/observable.hpp"

namespace orv::object {
namespace {

hash::MurmurThree32 const kObservableId("orv.observable.Observable");
hash::MurmurThree32 const kOtherId("orv.meta.data.Zone");

// Any object that carries the id of the non-const pointer type.
class NonConstPointerId : public Object {
 public:
  NonConstPointerId() : Object(hash::MurmurThree32("orv.object.Pointer")) {}
};

TEST(ConstPointer, HasItsTypeId) {
  EXPECT_EQ(ConstPointer().GetTypeNameId(), hash::MurmurThree32("orv.object.ConstPointer"));
  EXPECT_STREQ(Object::TypeName(ConstPointer().GetTypeNameId()), "orv.object.ConstPointer");
}

TEST(ConstPointer, AnUntypedPointerAdoptsThePointeeOfItsFirstValue) {
  auto const observable = std::make_shared<observable::Observable const>(1);
  ConstPointer pointer;
  EXPECT_TRUE(pointer.GetPointee().IsUntyped());
  pointer.Set(observable, kObservableId);
  EXPECT_EQ(pointer.GetPointee(), kObservableId);
  EXPECT_EQ(pointer.GetPointer(), observable);
}

TEST(ConstPointer, RefusesAValueOfAnotherPointeeType) {
  auto const observable = std::make_shared<observable::Observable const>(1);
  ConstPointer pointer(observable, kObservableId);
  try {
    pointer.Set(std::make_shared<int const>(3), kOtherId);
    FAIL() << "no exception";
  } catch (std::invalid_argument const& error) {
    EXPECT_STREQ(error.what(), "Cannot set value from pointer of different type");
  }
  EXPECT_EQ(pointer.GetPointer(), observable);
  EXPECT_EQ(pointer.GetPointee(), kObservableId);
}

TEST(ConstPointer, AcceptsAnEmptyValueOfItsPointeeType) {
  ConstPointer pointer(std::make_shared<observable::Observable const>(1), kObservableId);
  pointer.Set(nullptr, kObservableId);
  EXPECT_EQ(pointer.GetPointer(), nullptr);
  EXPECT_EQ(pointer.GetPointee(), kObservableId);
}

TEST(ConstPointer, SetFromAnotherPointerObjectFollowsThePointeeRule) {
  auto const observable = std::make_shared<observable::Observable const>(1);
  ConstPointer pointer;
  pointer.Set(static_cast<Object const&>(ConstPointer(observable, kObservableId)));
  EXPECT_EQ(pointer.GetPointer(), observable);
  EXPECT_THROW(pointer.Set(static_cast<Object const&>(ConstPointer(observable, kOtherId))), std::invalid_argument);
  EXPECT_THROW(pointer.Set(static_cast<Object const&>(Primitive<bool>(true))), BadCast);
}

TEST(ConstPointer, GetOfAnUntypedEmptyPointerIsEmpty) {
  EXPECT_EQ(ConstPointer().Get<observable::Observable>(), nullptr);
}

TEST(ConstPointer, GetSharesTheStoredPointer) {
  auto const observable = std::make_shared<observable::Observable const>(4);
  ConstPointer const pointer(observable, kObservableId);
  std::shared_ptr<observable::Observable const> const got = pointer.Get<observable::Observable>();
  EXPECT_EQ(got, observable);
  EXPECT_EQ(observable.use_count(), 3);
  EXPECT_EQ(got->GetId(), 4U);
}

TEST(ConstPointer, GetOfAnotherPointeeTypeThrows) {
  ConstPointer const pointer(std::make_shared<int const>(3), kOtherId);
  try {
    pointer.Get<observable::Observable>();
    FAIL() << "no exception";
  } catch (BadCast const& error) {
    EXPECT_STREQ(error.what(), "Stored pointer does not point to an object of the requested type");
  }
}

TEST(ConstPointer, EqualityIsSameAddressAndSamePointee) {
  auto const observable = std::make_shared<observable::Observable const>(1);
  // Same address, another ownership block.
  std::shared_ptr<observable::Observable const> const alias(std::shared_ptr<int>(), observable.get());
  EXPECT_TRUE(ConstPointer(observable, kObservableId) == ConstPointer(alias, kObservableId));
  EXPECT_FALSE(ConstPointer(observable, kObservableId) == ConstPointer(observable, kOtherId));
  EXPECT_FALSE(ConstPointer(observable, kObservableId) ==
               ConstPointer(std::make_shared<observable::Observable const>(1), kObservableId));
}

TEST(ConstPointer, EqualToNeverReportsEquality) {
  auto const observable = std::make_shared<observable::Observable const>(1);
  ConstPointer const pointer(observable, kObservableId);
  EXPECT_FALSE(pointer.EqualTo(ConstPointer(observable, kObservableId)));
  EXPECT_FALSE(pointer.EqualTo(pointer));
  EXPECT_FALSE(pointer.EqualTo(Primitive<bool>(true)));
  try {
    pointer.EqualTo(NonConstPointerId());
    FAIL() << "no exception";
  } catch (BadCast const& error) {
    EXPECT_STREQ(error.what(),
                 "Failed to cast the runtime object from 'orv.object.Pointer' to a 'orv.object.ConstPointer'");
  }
}

TEST(ConstPointer, CopiesShareThePointerAndThePointee) {
  auto const observable = std::make_shared<observable::Observable const>(1);
  ConstPointer const pointer(observable, kObservableId);
  ConstPointer const copy(pointer);
  EXPECT_TRUE(copy == pointer);
  EXPECT_EQ(copy.GetTypeNameId(), pointer.GetTypeNameId());
  EXPECT_EQ(observable.use_count(), 3);
}

TEST(Primitive, BoolAndStringHaveTheirTypeIds) {
  EXPECT_EQ(Primitive<bool>().GetTypeNameId(), hash::MurmurThree32("orv.object.Bool"));
  EXPECT_EQ(Primitive<std::string>().GetTypeNameId(), hash::MurmurThree32("orv.object.String"));
}

TEST(Primitive, HoldsSetsAndComparesItsValue) {
  Primitive<std::string> text("door");
  EXPECT_EQ(text.Get(), "door");
  text.Set(Primitive<std::string>("gate"));
  EXPECT_EQ(text.Get(), "gate");
  EXPECT_TRUE(text.EqualTo(Primitive<std::string>("gate")));
  EXPECT_FALSE(text.EqualTo(Primitive<std::string>("door")));
  EXPECT_FALSE(Primitive<bool>(false).EqualTo(Primitive<std::string>("")));
  EXPECT_TRUE(Primitive<bool>(true).EqualTo(Primitive<bool>(true)));
}

TEST(Primitive, RefusesAValueOfAnotherType) {
  Primitive<bool> flag(true);
  try {
    flag.Set(Primitive<std::string>("true"));
    FAIL() << "no exception";
  } catch (BadCast const& error) {
    EXPECT_STREQ(error.what(), "Failed to cast the runtime object from 'orv.object.String' to a 'orv.object.Bool'");
  }
  EXPECT_TRUE(flag.Get());
}

}  // namespace
}  // namespace orv::object
