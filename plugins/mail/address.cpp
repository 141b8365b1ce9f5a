#include "mail/address.hpp"

#include <cctype>
#include <stdexcept>

namespace orv::plugins::mail {
namespace {

bool IsAtomText(char c) {
  return std::isalnum(static_cast<unsigned char>(c)) != 0 ||
         std::string_view("!#$%&'*+-/=?^_`{|}~").find(c) != std::string_view::npos;
}

bool IsLabelCharacter(char c) { return std::isalnum(static_cast<unsigned char>(c)) != 0 || c == '-'; }

// Dot-separated runs of `allowed`, none of them empty.
template <class Allowed>
bool IsDotted(std::string_view text, Allowed allowed) {
  if (text.empty() || text.front() == '.' || text.back() == '.') {
    return false;
  }
  char previous = '\0';
  for (char const c : text) {
    if (c == '.' ? previous == '.' : !allowed(c)) {
      return false;
    }
    previous = c;
  }
  return true;
}

}  // namespace

bool IsAddress(std::string_view address) noexcept {
  auto const at = address.rfind('@');
  if (at == std::string_view::npos || address.size() > 254) {
    return false;
  }
  std::string_view const local = address.substr(0, at);
  std::string_view const domain = address.substr(at + 1);
  if (local.size() > 64 || !IsDotted(local, IsAtomText) || !IsDotted(domain, IsLabelCharacter)) {
    return false;
  }
  // Labels neither start nor end with a hyphen.
  for (std::size_t start = 0; start <= domain.size();) {
    auto const end = std::min(domain.find('.', start), domain.size());
    if (domain[start] == '-' || domain[end - 1] == '-') {
      return false;
    }
    start = end + 1;
  }
  return true;
}

std::vector<std::string> CheckAddresses(std::string_view property, std::vector<std::string> addresses) {
  for (std::string const& address : addresses) {
    if (!IsAddress(address)) {
      throw std::invalid_argument(std::string(property) + " address '" + address +
                                  "' is not an address like name@example.test");
    }
  }
  return addresses;
}

std::string DomainOf(std::string_view address) {
  auto const at = address.rfind('@');
  return at == std::string_view::npos || at + 1 == address.size() ? "localhost" : std::string(address.substr(at + 1));
}

}  // namespace orv::plugins::mail
