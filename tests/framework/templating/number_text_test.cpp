#include "orv/templating/serialize/number_text.hpp"

#include <gtest/gtest.h>

#include <bit>
#include <cstdint>
#include <limits>
#include <locale>
#include <random>
#include <sstream>

namespace orv::templating::serialize {
namespace {

template <class T>
std::string StreamText(T value) {
  std::ostringstream stream;
  stream << value;
  return stream.str();
}

TEST(NumberText, EveryUnsignedShortMatchesTheStream) {
  for (unsigned int v = 0; v <= std::numeric_limits<unsigned short>::max(); ++v) {
    ASSERT_EQ(ToText(v), StreamText(v));
    ASSERT_EQ(ToText(static_cast<unsigned long>(v)), StreamText(static_cast<unsigned long>(v)));
    ASSERT_EQ(ToText(static_cast<int>(v)), StreamText(static_cast<int>(v)));
    ASSERT_EQ(ToText(-static_cast<int>(v)), StreamText(-static_cast<int>(v)));
    ASSERT_EQ(ToText(static_cast<double>(v)), StreamText(static_cast<double>(v)));
  }
  EXPECT_EQ(ToText(65535U), "65535");
  EXPECT_EQ(ToText(1234567.0), "1.23457e+06");
}

TEST(NumberText, IntegerEdgeValuesMatchTheStream) {
  for (unsigned int v : {0U, 1U, 9U, 10U, 99U, 100U, 2147483647U, 2147483648U, 4294967294U, 4294967295U}) {
    EXPECT_EQ(ToText(v), StreamText(v)) << v;
  }
  EXPECT_EQ(ToText(4294967295U), "4294967295");
  // 64 bits on every target; long is 32 bits on 32-bit ARM.
  for (std::uint64_t v : {std::uint64_t{0}, std::uint64_t{4294967295U}, std::uint64_t{4294967296U},
                          std::uint64_t{9223372036854775807U}, std::uint64_t{9223372036854775808U},
                          std::uint64_t{18446744073709551614U}, std::uint64_t{18446744073709551615U}}) {
    EXPECT_EQ(ToText(v), StreamText(v)) << v;
  }
  EXPECT_EQ(ToText(std::uint64_t{18446744073709551615U}), "18446744073709551615");
  EXPECT_EQ(ToText(std::numeric_limits<unsigned long>::max()), StreamText(std::numeric_limits<unsigned long>::max()));
  EXPECT_EQ(ToText(std::numeric_limits<unsigned long long>::max()), "18446744073709551615");
  for (int v : {std::numeric_limits<int>::min(), std::numeric_limits<int>::min() + 1, -1, 0, 1,
                std::numeric_limits<int>::max() - 1, std::numeric_limits<int>::max()}) {
    EXPECT_EQ(ToText(v), StreamText(v)) << v;
  }
  EXPECT_EQ(ToText(std::numeric_limits<int>::min()), "-2147483648");
  for (std::int64_t v : {std::numeric_limits<std::int64_t>::min(), std::int64_t{-1000000001}, std::int64_t{-1},
                         std::int64_t{0}, std::numeric_limits<std::int64_t>::max()}) {
    EXPECT_EQ(ToText(v), StreamText(v)) << v;
  }
  EXPECT_EQ(ToText(std::numeric_limits<std::int64_t>::min()), "-9223372036854775808");
  EXPECT_EQ(ToText(std::numeric_limits<long long>::max()), "9223372036854775807");
  for (long v : {std::numeric_limits<long>::min(), -1L, 0L, std::numeric_limits<long>::max()}) {
    EXPECT_EQ(ToText(v), StreamText(v)) << v;
  }
}

TEST(NumberText, AMillionRandomFloatsMatchTheStream) {
  // Random bit patterns cover every exponent: subnormals, NaNs of both signs
  // and any payload, and the infinities, in proportion to their encodings.
  std::mt19937 random(20240506U);
  for (int i = 0; i < 1000000; ++i) {
    auto const value = static_cast<double>(std::bit_cast<float>(static_cast<std::uint32_t>(random())));
    ASSERT_EQ(ToText(value), StreamText(value)) << std::bit_cast<std::uint64_t>(value);
  }
}

TEST(NumberText, SpecialFloatsMatchTheStream) {
  float const values[] = {0.0F,
                          -0.0F,
                          std::numeric_limits<float>::denorm_min(),
                          -std::numeric_limits<float>::denorm_min(),
                          std::numeric_limits<float>::min(),
                          std::numeric_limits<float>::max(),
                          std::numeric_limits<float>::lowest(),
                          std::numeric_limits<float>::epsilon(),
                          std::numeric_limits<float>::infinity(),
                          -std::numeric_limits<float>::infinity(),
                          std::numeric_limits<float>::quiet_NaN(),
                          -std::numeric_limits<float>::quiet_NaN(),
                          std::numeric_limits<float>::signaling_NaN(),
                          0.1F,
                          0.5F,
                          999999.5F,
                          9999995.0F,
                          0.0001F,
                          0.00001F,
                          123456.5F};
  for (float const f : values) {
    auto const value = static_cast<double>(f);
    EXPECT_EQ(ToText(value), StreamText(value)) << std::bit_cast<std::uint32_t>(f);
  }
  EXPECT_EQ(ToText(static_cast<double>(std::numeric_limits<float>::denorm_min())), "1.4013e-45");
  EXPECT_EQ(ToText(static_cast<double>(std::numeric_limits<float>::infinity())), "inf");
  EXPECT_EQ(ToText(-static_cast<double>(std::numeric_limits<float>::infinity())), "-inf");
  EXPECT_EQ(ToText(static_cast<double>(std::numeric_limits<float>::quiet_NaN())), "nan");
  EXPECT_EQ(ToText(188.3734), "188.373");
  EXPECT_EQ(ToText(50.0008), "50.0008");
}

// A locale that groups digits by three with ',' and writes ';' for the point.
struct Grouping : std::numpunct<char> {
  char do_thousands_sep() const override { return ','; }
  char do_decimal_point() const override { return ';'; }
  std::string do_grouping() const override { return "\3"; }
};

TEST(NumberText, AnotherGlobalLocaleIsHonoured) {
  std::locale const previous = std::locale::global(std::locale(std::locale::classic(), new Grouping));
  std::string const unsignedText = ToText(1234567U);
  std::string const signedText = ToText(-1234567);
  std::string const doubleText = ToText(1234.5);
  std::string const streamText = StreamText(1234567U);
  std::locale::global(previous);
  EXPECT_EQ(unsignedText, "1,234,567");
  EXPECT_EQ(signedText, "-1,234,567");
  EXPECT_EQ(doubleText, "1,234;5");
  EXPECT_EQ(unsignedText, streamText);
  EXPECT_EQ(ToText(1234567U), "1234567");
}

}  // namespace
}  // namespace orv::templating::serialize
