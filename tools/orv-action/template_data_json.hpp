#pragma once

#include <memory>
#include <mstch/mstch.hpp>
#include <nlohmann/json.hpp>

#include "orv/meta/data/event.hpp"

namespace orv::tool {

// Template data as JSON: maps become objects (keys in ascending order, as the
// data holds them), arrays arrays, strings strings, bools bools. Template data
// holds nothing else; a number, lambda or shared object node throws
// std::invalid_argument naming its JSON path.
nlohmann::json ToJson(mstch::node const& data);

// The template data that an action receives for `event`, as JSON: what
// `orv-action data` prints and the studio shows.
nlohmann::json TemplateDataOf(std::shared_ptr<meta::data::Event const> const& event);

}  // namespace orv::tool
