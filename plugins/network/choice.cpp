#include "network/choice.hpp"

#include <algorithm>
#include <cctype>
#include <stdexcept>

namespace orv::plugins::network {
namespace {

bool SameIgnoringCase(std::string_view a, std::string_view b) {
  return std::equal(a.begin(), a.end(), b.begin(), b.end(), [](char x, char y) {
    return std::tolower(static_cast<unsigned char>(x)) == std::tolower(static_cast<unsigned char>(y));
  });
}

}  // namespace

std::string CheckChoice(std::string_view property, std::string_view value,
                        std::initializer_list<std::string_view> accepted) {
  for (std::string_view const choice : accepted) {
    if (SameIgnoringCase(choice, value)) {
      return std::string(choice);
    }
  }
  std::string message = std::string(property) + " '" + std::string(value) + "' is not one of ";
  char const* separator = "";
  for (std::string_view const choice : accepted) {
    message.append(separator).append(choice);
    separator = ", ";
  }
  throw std::invalid_argument(message);
}

std::int64_t CheckRange(std::string_view property, std::int64_t value, std::int64_t low, std::int64_t high) {
  if (value < low || value > high) {
    throw std::invalid_argument(std::string(property) + " " + std::to_string(value) + " is not between " +
                                std::to_string(low) + " and " + std::to_string(high));
  }
  return value;
}

}  // namespace orv::plugins::network
