#include "orv/type/bad_cast.hpp"

#include <gtest/gtest.h>

#include <typeinfo>

namespace orv::type {
namespace {

TEST(TypeBadCast, IsAStandardBadCastWithItsMessage) {
  try {
    throw BadCast("Failed to cast");
  } catch (std::bad_cast const& failure) {
    EXPECT_STREQ(failure.what(), "Failed to cast");
  }
}

}  // namespace
}  // namespace orv::type
