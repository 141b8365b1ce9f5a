#include "orv/property/array.hpp"

#include <gtest/gtest.h>

#include <memory>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

#include "observables.hpp"
#include "orv/object/primitive.hpp"
#include "orv/observable/observable.hpp"
#include "orv/property/primitive.hpp"

namespace orv::property {
namespace {

using object::ConstPointer;
using test::MakeObservable;
using test::ObservablePtr;
using test::Values;

hash::MurmurThree32 const kObservableId("orv.observable.Observable");

class Array : public testing::Test {
 protected:
  ObservablePtr const a_ = MakeObservable(1);
  ObservablePtr const b_ = MakeObservable(2);
  ObservablePtr const c_ = MakeObservable(3);
};

TEST_F(Array, HoldsOnePointerToAnObservablePerValue) {
  ObservableArray const array("observables", {a_, b_, a_}, "The observables", "");
  EXPECT_EQ(array.GetTypeNameId(), hash::MurmurThree32("orv.property.Array.ConstPointer"));
  EXPECT_EQ(array.GetName(), "observables");
  EXPECT_EQ(array.GetDescription(), "The observables");
  EXPECT_EQ(array.GetExtra(), "");
  EXPECT_EQ(array.GetElementType(), kObservableId);
  ASSERT_EQ(array.GetElements().size(), 3U);
  for (auto const& element : array.GetElements()) {
    EXPECT_EQ(element.GetTypeNameId(), hash::MurmurThree32("orv.object.ConstPointer"));
    EXPECT_EQ(element.GetPointee(), kObservableId);
  }
  EXPECT_EQ(Values(array), (std::vector<ObservablePtr>{a_, b_, a_}));
}

TEST_F(Array, DescribesItsValidValues) {
  std::ostringstream out;
  ObservableArray("o", {}, "", "").DescribeValidValues(out);
  EXPECT_EQ(out.str(), "Any valid array");
}

TEST_F(Array, AddAppendsACopyWithoutCheckingThePointee) {
  ObservableArray array("o", {a_}, "", "");
  ConstPointer element(b_, kObservableId);
  array.Add(element);
  ConstPointer other(std::make_shared<int const>(5), hash::MurmurThree32("orv.meta.data.Zone"));
  array.Add(other);
  ASSERT_EQ(array.GetElements().size(), 3U);
  EXPECT_TRUE(array.GetElements()[1] == element);
  EXPECT_TRUE(array.GetElements()[2] == other);
}

TEST_F(Array, AddRefusesAnythingButAPointer) {
  ObservableArray array("o", {a_}, "", "");
  object::Primitive<bool> flag(true);
  try {
    array.Add(flag);
    FAIL() << "no exception";
  } catch (object::BadCast const& error) {
    EXPECT_STREQ(error.what(),
                 "Failed to cast the runtime object from 'orv.object.Bool' to a 'orv.object.ConstPointer'");
  }
  EXPECT_EQ(array.GetElements().size(), 1U);
}

TEST_F(Array, EraseRemovesEveryOccurrenceKeepingTheOrder) {
  ObservableArray array("o", {a_, b_, a_, c_, a_}, "", "");
  ConstPointer element(a_, kObservableId);
  array.Erase(element);
  EXPECT_EQ(Values(array), (std::vector<ObservablePtr>{b_, c_}));
}

TEST_F(Array, EraseOfAnAbsentElementChangesNothing) {
  ObservableArray array("o", {a_, b_}, "", "");
  ConstPointer absent(c_, kObservableId);
  array.Erase(absent);
  EXPECT_EQ(Values(array), (std::vector<ObservablePtr>{a_, b_}));
  // Same address, other pointee type: not equal, so not erased.
  ConstPointer retyped(a_, hash::MurmurThree32("orv.meta.data.Zone"));
  array.Erase(retyped);
  EXPECT_EQ(Values(array), (std::vector<ObservablePtr>{a_, b_}));
}

TEST_F(Array, SetAtReplacesOneElement) {
  ObservableArray array("o", {a_, b_}, "", "");
  ConstPointer element(c_, kObservableId);
  array.SetAt(1, element);
  EXPECT_EQ(Values(array), (std::vector<ObservablePtr>{a_, c_}));
}

TEST_F(Array, SetAtPastTheEndThrowsTheStandardMessageAndChangesNothing) {
  ObservableArray array("o", {a_, b_}, "", "");
  ConstPointer element(c_, kObservableId);
  try {
    array.SetAt(2, element);
    FAIL() << "no exception";
  } catch (std::out_of_range const& error) {
    EXPECT_STREQ(error.what(), "vector::_M_range_check: __n (which is 2) >= this->size() (which is 2)");
  }
  EXPECT_EQ(Values(array), (std::vector<ObservablePtr>{a_, b_}));
}

TEST_F(Array, SetAtRefusesAnotherPointeeType) {
  ObservableArray array("o", {a_}, "", "");
  ConstPointer element(std::make_shared<int const>(5), hash::MurmurThree32("orv.meta.data.Zone"));
  EXPECT_THROW(array.SetAt(0, element), std::invalid_argument);
  EXPECT_EQ(Values(array), (std::vector<ObservablePtr>{a_}));
}

TEST_F(Array, EqualityNeedsTheSameElementsInTheSameOrder) {
  ObservableArray const array("o", {a_, b_}, "d", "");
  EXPECT_TRUE(array.EqualTo(ObservableArray("o", {a_, b_}, "d", "")));
  EXPECT_FALSE(array.EqualTo(ObservableArray("o", {b_, a_}, "d", "")));
  EXPECT_FALSE(array.EqualTo(ObservableArray("o", {a_}, "d", "")));
  EXPECT_FALSE(array.EqualTo(ObservableArray("o", {a_, b_}, "other", "")));
  EXPECT_FALSE(array.EqualTo(Primitive<bool>("o", true, "d", "")));
}

TEST_F(Array, SetReplacesTheElementsByThoseOfAnotherArray) {
  ObservableArray array("o", {a_}, "", "");
  array.Set(ObservableArray("p", {b_, c_}, "", ""));
  EXPECT_EQ(Values(array), (std::vector<ObservablePtr>{b_, c_}));
  EXPECT_EQ(array.GetName(), "o");
  EXPECT_THROW(array.Set(object::Primitive<bool>(true)), object::BadCast);
  EXPECT_EQ(Values(array), (std::vector<ObservablePtr>{b_, c_}));
}

TEST_F(Array, AssignsFromPlainObservables) {
  ObservableArray array("o", {a_}, "", "");
  Property& property = array;
  property = Property::Observables{c_, b_};
  EXPECT_EQ(Values(array), (std::vector<ObservablePtr>{c_, b_}));
}

TEST_F(Array, CopiesAndClonesCopyEveryElement) {
  ObservableArray const array("o", {a_, b_}, "d", "");
  ObservableArray const copy(array);
  EXPECT_TRUE(copy.EqualTo(array));
  auto const clone = array.Clone();
  EXPECT_TRUE(clone->EqualTo(array));
  EXPECT_EQ(a_.use_count(), 4);
}

}  // namespace
}  // namespace orv::property
