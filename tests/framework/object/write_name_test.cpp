#include "orv/object/write_name.hpp"

#include <gtest/gtest.h>

#include <sstream>

namespace orv::object {
namespace {

TEST(WriteName, WritesTheName) {
  std::ostringstream out;
  WriteName(out << '\'', "orv.meta.data.Zone") << '\'';
  EXPECT_EQ(out.str(), "'orv.meta.data.Zone'");
  EXPECT_TRUE(out.good());
}

TEST(WriteName, ANullNameSetsTheBadBit) {
  std::ostringstream out;
  WriteName(out << "from '", nullptr);
  EXPECT_EQ(out.str(), "from '");
  EXPECT_EQ(out.rdstate(), std::ios_base::badbit);
}

TEST(WriteName, WhatFollowsANullNameIsDroppedAndFailsTheStream) {
  std::ostringstream out;
  WriteName(out << "from '", nullptr) << "' to 'x'" << 42;
  EXPECT_EQ(out.str(), "from '");
  // Every insertion into a bad stream adds failbit.
  EXPECT_EQ(out.rdstate(), std::ios_base::badbit | std::ios_base::failbit);
}

TEST(WriteName, AnEmptyNameWritesNothingAndKeepsTheStreamGood) {
  std::ostringstream out;
  WriteName(out << '<', "") << '>';
  EXPECT_EQ(out.str(), "<>");
  EXPECT_TRUE(out.good());
}

}  // namespace
}  // namespace orv::object
