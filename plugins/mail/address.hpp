#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace orv::plugins::mail {

// Whether `address` is a plain mail address "local@domain": a local part of
// letters, digits and !#$%&'*+-/=?^_`{|}~ in dot-separated atoms, and a
// domain of dot-separated labels of letters, digits and hyphens. Display
// names, comments, quoted local parts and address literals are not taken, so
// no address can carry a line break, a comma or a second address.
bool IsAddress(std::string_view address) noexcept;

// `addresses` when each is an address; throws std::invalid_argument naming
// the property and the first that is not: "to address 'bob' is not an
// address like name@example.test".
std::vector<std::string> CheckAddresses(std::string_view property, std::vector<std::string> addresses);

// The domain of an address: the text after its last "@"; "localhost" for an
// empty address.
std::string DomainOf(std::string_view address);

}  // namespace orv::plugins::mail
