#include "network/text.hpp"

#include <algorithm>

namespace orv::plugins::network {

std::string_view Trim(std::string_view text) noexcept {
  constexpr std::string_view kSpace = " \t\r\n";
  auto const first = text.find_first_not_of(kSpace);
  if (first == std::string_view::npos) {
    return {};
  }
  return text.substr(first, text.find_last_not_of(kSpace) - first + 1);
}

std::string Excerpt(std::string_view text, std::size_t limit) {
  std::string excerpt(text.substr(0, limit));
  for (char& c : excerpt) {
    auto const byte = static_cast<unsigned char>(c);
    if (byte < 0x20 || byte == 0x7f) {
      c = ' ';
    }
  }
  if (text.size() > limit) {
    excerpt += "...";
  }
  return excerpt;
}

std::string WithoutLineBreaks(std::string_view text) {
  std::string result;
  result.reserve(text.size());
  for (char const c : text) {
    if (c != '\r' && c != '\n') {
      result.push_back(c);
    }
  }
  return result;
}

std::string Redact(std::string_view text, std::vector<std::string_view> secrets) {
  std::sort(secrets.begin(), secrets.end(), [](std::string_view a, std::string_view b) { return a.size() > b.size(); });
  std::string result(text);
  for (std::string_view const secret : secrets) {
    if (secret.empty()) {
      continue;
    }
    for (auto at = result.find(secret); at != std::string::npos; at = result.find(secret, at + 3)) {
      result.replace(at, secret.size(), "***");
    }
  }
  return result;
}

}  // namespace orv::plugins::network
