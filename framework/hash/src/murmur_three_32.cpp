#include "orv/hash/murmur_three_32.hpp"

namespace orv::hash {

MurmurThree32 Hash(char const* text) noexcept { return MurmurThree32(text); }

}  // namespace orv::hash
