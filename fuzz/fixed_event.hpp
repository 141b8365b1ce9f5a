#pragma once

#include <mstch/mstch.hpp>

namespace orv::fuzz {

// The template data of examples/events/every_kind.json (every kind of record),
// read once, with times in UTC.
mstch::map const& FixedEventData();

// Data of every node kind templates can meet, template data holds only some
// of them: text (empty too), booleans, numbers, lists of lists, maps in lists.
mstch::map const& MixedData();

}  // namespace orv::fuzz
