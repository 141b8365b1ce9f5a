#include "orv/hash/murmur_three_32.hpp"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <unordered_set>

namespace orv::hash {
namespace {

struct Vector {
  char const* text;
  std::uint32_t id;         // with sign-extended bytes inside whole blocks
  std::uint32_t reference;  // the published MurmurHash3 x86 32-bit, same seed
};

constexpr Vector kVectors[] = {
#include "murmur_three_32_vectors.inc"
};

TEST(MurmurThree32, MatchesIndependentlyComputedVectors) {
  for (Vector const& vector : kVectors) {
    EXPECT_EQ(MurmurThree32(vector.text).GetValue(), vector.id) << '"' << vector.text << '"';
    EXPECT_EQ(Hash(vector.text).GetValue(), vector.id) << '"' << vector.text << '"';
  }
}

TEST(MurmurThree32, SevenBitTextIsTheReferenceHash) {
  for (Vector const& vector : kVectors) {
    bool sevenBit = true;
    for (char const* c = vector.text; *c != '\0'; ++c) {
      sevenBit = sevenBit && static_cast<unsigned char>(*c) < 0x80;
    }
    if (sevenBit) {
      EXPECT_EQ(vector.id, vector.reference) << '"' << vector.text << '"';
    }
  }
}

TEST(MurmurThree32, EmptyStringIsTheFinalisedSeed) {
  constexpr MurmurThree32::Data data = MurmurThree32::MakeData("");
  static_assert(data == MurmurThree32::Data{0x30, 0x52, 0xF6, 0x5B});
  EXPECT_EQ(MurmurThree32("").GetValue(), 0x5BF65230U);
}

TEST(MurmurThree32, HighByteInsideABlockDiffersFromTheReference) {
  // "\x80bcd" is one whole block: the sign-extended 0x80 sets every higher bit.
  EXPECT_EQ(MurmurThree32("\x80"
                          "bcd")
                .GetValue(),
            0xB29BEF51U);
  EXPECT_NE(0xB29BEF51U, 0x94E4C177U);  // the reference hash of the same bytes
}

TEST(MurmurThree32, HighByteInTheTailIsTheReference) { EXPECT_EQ(MurmurThree32("abcd\x80").GetValue(), 0xD8167DADU); }

TEST(MurmurThree32, BytesAreLeastSignificantFirst) {
  MurmurThree32 const id("orv.meta.data.Zone");
  std::uint32_t const value = id.GetValue();
  EXPECT_EQ(id.GetData()[0], value & 0xFFU);
  EXPECT_EQ(id.GetData()[1], (value >> 8) & 0xFFU);
  EXPECT_EQ(id.GetData()[2], (value >> 16) & 0xFFU);
  EXPECT_EQ(id.GetData()[3], value >> 24);
}

TEST(MurmurThree32, DefaultIsUntypedAndEqualityIsByBytes) {
  constexpr MurmurThree32 untyped;
  static_assert(untyped.IsUntyped());
  static_assert(MurmurThree32("orv.meta.data.Zone") == MurmurThree32(MurmurThree32::MakeData("orv.meta.data.Zone")));
  static_assert(MurmurThree32("orv.meta.data.Zone") != MurmurThree32("orv.meta.data.Text"));
  MurmurThree32 copy;
  copy = MurmurThree32("orv.meta.data.Zone");
  EXPECT_EQ(copy, MurmurThree32("orv.meta.data.Zone"));
  EXPECT_FALSE(copy.IsUntyped());
}

TEST(MurmurThree32, StdHashIsTheValue) {
  MurmurThree32 const id("orv.meta.data.Event");
  EXPECT_EQ(std::hash<MurmurThree32>{}(id), id.GetValue());
  std::unordered_set<MurmurThree32> ids{id, MurmurThree32("orv.meta.data.Event")};
  EXPECT_EQ(ids.size(), 1U);
}

}  // namespace
}  // namespace orv::hash
