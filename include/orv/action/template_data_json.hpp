#pragma once

#include <mstch/mstch.hpp>
#include <string>

#include "orv/action/export.hpp"

namespace orv::action {

// `data` (template data, as SerializeEvent makes it) as JSON text: maps become
// objects with their keys in ascending order, arrays arrays, strings strings,
// bools bools, an empty node null. Bytes of a string that are not UTF-8 show
// as U+FFFD. `indent` below 0 gives one line without spaces; 0 or more one
// member per line, each level indented by that many spaces. Template data
// holds nothing else: a number, lambda or shared object node throws
// std::invalid_argument naming its place ("$.the_event.id").
//
//   std::string json = TemplateDataToJson(SerializeEvent(event), 2);
ORV_ACTION_API std::string TemplateDataToJson(mstch::node const& data, int indent = -1);

}  // namespace orv::action
