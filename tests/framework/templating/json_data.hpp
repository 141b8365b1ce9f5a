#pragma once

#include <mstch/mstch.hpp>
#include <nlohmann/json.hpp>

namespace orv::templating::test {

// The mstch tree of a JSON value: whole numbers become int nodes, other
// numbers double nodes, the rest what their names say.
inline mstch::node ToNode(nlohmann::json const& value) {
  switch (value.type()) {
    case nlohmann::json::value_t::null:
    case nlohmann::json::value_t::discarded:
      return nullptr;
    case nlohmann::json::value_t::boolean:
      return value.get<bool>();
    case nlohmann::json::value_t::number_integer:
    case nlohmann::json::value_t::number_unsigned:
      return value.get<int>();
    case nlohmann::json::value_t::number_float:
      return value.get<double>();
    case nlohmann::json::value_t::string:
      return value.get<std::string>();
    case nlohmann::json::value_t::array: {
      mstch::array array;
      for (auto const& element : value) {
        array.push_back(ToNode(element));
      }
      return array;
    }
    case nlohmann::json::value_t::object: {
      mstch::map map;
      for (auto const& [key, element] : value.items()) {
        map.emplace(key, ToNode(element));
      }
      return map;
    }
    case nlohmann::json::value_t::binary:
      break;
  }
  return nullptr;
}

}  // namespace orv::templating::test
