#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>

#include "orv/hash/export.hpp"

namespace orv::hash {

// A 32-bit type id: the MurmurHash3 (x86, 32-bit) of a dotted type name such as
// "orv.meta.data.Zone", held as four bytes, least significant first.
//
// Everything is constexpr so that the id of a known type name costs nothing at
// run time. The all-zero id means "untyped".
class ORV_HASH_API MurmurThree32 {
 public:
  using Data = std::array<std::uint8_t, 4>;

  // The seed every id is made with.
  static constexpr std::uint32_t kSeed = 0x0AEF6901U;

  // Returns the four id bytes of the NUL-terminated `text`.
  //
  // Differs from the reference hash in one deliberate way: inside whole 4-byte
  // blocks every byte is taken as a signed char and sign-extended before it is
  // combined, so bytes of 0x80 and above give ids of their own. The 1 to 3 tail
  // bytes are taken unsigned, as in the reference. For 7-bit text the result is
  // the reference hash.
  static constexpr Data MakeData(char const* text) noexcept {
    std::size_t length = 0;
    while (text[length] != '\0') {
      ++length;
    }
    std::uint32_t h = kSeed;
    std::size_t const blocks = length / 4;
    for (std::size_t block = 0; block < blocks; ++block) {
      std::uint32_t k = 0;
      for (std::size_t byte = 0; byte < 4; ++byte) {
        auto const widened =
            static_cast<std::uint32_t>(static_cast<std::int32_t>(static_cast<signed char>(text[block * 4 + byte])));
        k |= widened << (8 * byte);
      }
      h ^= Mix(k);
      h = RotateLeft(h, 13) * 5U + 0xe6546b64U;
    }
    std::size_t const tail = blocks * 4;
    std::uint32_t k = 0;
    switch (length & 3U) {
      case 3:
        k ^= static_cast<std::uint32_t>(static_cast<unsigned char>(text[tail + 2])) << 16;
        [[fallthrough]];
      case 2:
        k ^= static_cast<std::uint32_t>(static_cast<unsigned char>(text[tail + 1])) << 8;
        [[fallthrough]];
      case 1:
        k ^= static_cast<std::uint32_t>(static_cast<unsigned char>(text[tail]));
        h ^= Mix(k);
        break;
      default:
        break;
    }
    h ^= static_cast<std::uint32_t>(length);
    h ^= h >> 16;
    h *= 0x85ebca6bU;
    h ^= h >> 13;
    h *= 0xc2b2ae35U;
    h ^= h >> 16;
    return Data{static_cast<std::uint8_t>(h), static_cast<std::uint8_t>(h >> 8), static_cast<std::uint8_t>(h >> 16),
                static_cast<std::uint8_t>(h >> 24)};
  }

  // The untyped id: all four bytes zero.
  constexpr MurmurThree32() noexcept = default;
  constexpr explicit MurmurThree32(Data data) noexcept : data_(data) {}
  // The id of the NUL-terminated type name `text`.
  constexpr explicit MurmurThree32(char const* text) noexcept : data_(MakeData(text)) {}

  // The id as an unsigned 32-bit number (the bytes read least significant first).
  constexpr std::uint32_t GetValue() const noexcept {
    return static_cast<std::uint32_t>(data_[0]) | static_cast<std::uint32_t>(data_[1]) << 8 |
           static_cast<std::uint32_t>(data_[2]) << 16 | static_cast<std::uint32_t>(data_[3]) << 24;
  }
  constexpr Data const& GetData() const noexcept { return data_; }
  // True for the all-zero "untyped" id.
  constexpr bool IsUntyped() const noexcept { return GetValue() == 0; }

  friend constexpr bool operator==(MurmurThree32 const& a, MurmurThree32 const& b) noexcept {
    return a.data_ == b.data_;
  }

 private:
  static constexpr std::uint32_t RotateLeft(std::uint32_t x, int r) noexcept { return (x << r) | (x >> (32 - r)); }
  static constexpr std::uint32_t Mix(std::uint32_t k) noexcept {
    k *= 0xcc9e2d51U;
    k = RotateLeft(k, 15);
    return k * 0x1b873593U;
  }

  Data data_{};
};

// Computes MakeData at run time, for text that is only known then.
ORV_HASH_API MurmurThree32 Hash(char const* text) noexcept;

}  // namespace orv::hash

template <>
struct std::hash<orv::hash::MurmurThree32> {
  constexpr std::size_t operator()(orv::hash::MurmurThree32 const& id) const noexcept { return id.GetValue(); }
};
