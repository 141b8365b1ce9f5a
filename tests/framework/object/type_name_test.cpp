#include <gtest/gtest.h>

#include <iterator>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "orv/object/object.hpp"

namespace orv::object {
namespace {

TEST(TypeName, KnowsEveryNameOfTheSystemFromTheStart) {
  for (char const* name : type_name::kAll) {
    EXPECT_STREQ(Object::TypeName(hash::MurmurThree32(name)), name);
  }
}

TEST(TypeName, TheBuiltInNamesHaveDistinctIds) {
  std::set<std::uint32_t> ids;
  for (char const* name : type_name::kAll) {
    ids.insert(hash::MurmurThree32(name).GetValue());
  }
  EXPECT_EQ(ids.size(), std::size(type_name::kAll));
  EXPECT_EQ(std::size(type_name::kAll), 37U);
}

TEST(TypeName, UnknownIdGivesNull) {
  EXPECT_EQ(Object::TypeName(hash::MurmurThree32("orv.test.Unknown")), nullptr);
  EXPECT_EQ(Object::TypeName(hash::MurmurThree32()), nullptr);
}

TEST(TypeName, AddedNamesAreKnownAndTheFirstStays) {
  EXPECT_TRUE(AddTypeName("orv.test.Added"));
  EXPECT_STREQ(Object::TypeName(hash::MurmurThree32("orv.test.Added")), "orv.test.Added");
  EXPECT_FALSE(AddTypeName("orv.test.Added"));
  EXPECT_FALSE(AddTypeName("orv.meta.data.Zone"));
}

TEST(TypeName, AddingAndLookingUpFromManyThreads) {
  static constexpr char const* kNames[] = {"orv.test.ThreadA", "orv.test.ThreadB", "orv.test.ThreadC",
                                           "orv.test.ThreadD"};
  std::vector<std::thread> threads;
  for (char const* name : kNames) {
    threads.emplace_back([name] {
      AddTypeName(name);
      for (int i = 0; i < 1000; ++i) {
        EXPECT_STREQ(Object::TypeName(hash::MurmurThree32(name)), name);
        EXPECT_STREQ(Object::TypeName(hash::MurmurThree32("orv.meta.data.Zone")), "orv.meta.data.Zone");
      }
    });
  }
  for (auto& thread : threads) {
    thread.join();
  }
}

}  // namespace
}  // namespace orv::object
