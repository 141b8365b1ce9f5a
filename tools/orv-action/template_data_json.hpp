#pragma once

#include <mstch/mstch.hpp>
#include <nlohmann/json.hpp>

namespace orv::tool {

// Template data as JSON: maps become objects (keys in ascending order, as the
// data holds them), arrays arrays, strings strings, bools bools. Template data
// holds nothing else; a number, lambda or shared object node throws
// std::invalid_argument naming its JSON path.
nlohmann::json ToJson(mstch::node const& data);

}  // namespace orv::tool
