#pragma once

#include <charconv>
#include <cstdint>
#include <optional>
#include <random>
#include <string>
#include <string_view>

namespace orv::outbox::detail {

// 128 random bits as 32 hexadecimal digits, made anew by every Outbox.
inline std::string MakeRunId() {
  static constexpr char kDigits[] = "0123456789abcdef";
  std::random_device device;
  std::string id;
  for (int word = 0; word < 4; ++word) {
    auto bits = device();
    for (int digit = 0; digit < 8; ++digit, bits >>= 4) {
      id += kDigits[bits & 0xf];
    }
  }
  return id;
}

// A delivery id is the accepting run's random id, a dash and the message's
// sequence number. Sequence numbers only grow within a run; across runs they
// may repeat (a message sent before it was written leaves no trace), so the
// run id keeps every delivery id unique. The id is stored with its message.
inline std::string MakeDeliveryId(std::string_view runId, std::int64_t sequence) {
  char digits[20];
  auto const end = std::to_chars(digits, digits + sizeof digits, sequence).ptr;
  std::string id;
  id.reserve(runId.size() + 1 + static_cast<std::size_t>(end - digits));
  id.append(runId).append(1, '-').append(digits, end);
  return id;
}

// The sequence number at the end of `deliveryId`.
inline std::optional<std::int64_t> ParseSequence(std::string_view deliveryId) {
  auto const dash = deliveryId.rfind('-');
  if (dash == std::string_view::npos || dash == 0) {
    return std::nullopt;
  }
  auto const digits = deliveryId.substr(dash + 1);
  std::int64_t sequence = 0;
  auto const [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), sequence);
  if (digits.empty() || error != std::errc() || end != digits.data() + digits.size() || sequence <= 0) {
    return std::nullopt;
  }
  return sequence;
}

}  // namespace orv::outbox::detail
