#pragma once

#include "orv/hash/murmur_three_32.hpp"

namespace orv::test {

// Two distinct type names with the same 32-bit id (0x35e3cf75), found once by
// hashing generated names until two met.
inline constexpr char const* kCollidingFirst = "orv.test.collision.Type51627";
inline constexpr char const* kCollidingSecond = "orv.test.collision.Type129469";

static_assert(hash::MurmurThree32(kCollidingFirst) == hash::MurmurThree32(kCollidingSecond));
static_assert(hash::MurmurThree32(kCollidingFirst).GetValue() == 0x35e3cf75U);

}  // namespace orv::test
