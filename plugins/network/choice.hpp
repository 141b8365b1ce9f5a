#pragma once

#include <cstdint>
#include <initializer_list>
#include <string>
#include <string_view>

namespace orv::plugins::network {

// The spelling of `value` among `accepted`, compared without regard to case
// ("post" gives "POST"). Throws std::invalid_argument naming the property,
// the value and the accepted ones: "method 'FETCH' is not one of GET, POST".
std::string CheckChoice(std::string_view property, std::string_view value,
                        std::initializer_list<std::string_view> accepted);

// `value` when it lies in [low, high]; throws std::invalid_argument naming the
// property, the value and the range: "port 0 is not between 1 and 65535".
std::int64_t CheckRange(std::string_view property, std::int64_t value, std::int64_t low, std::int64_t high);

}  // namespace orv::plugins::network
