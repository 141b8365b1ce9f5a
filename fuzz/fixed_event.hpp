#pragma once

#include <cstddef>
#include <cstdint>
#include <mstch/mstch.hpp>
#include <vector>

#include "orv/templating/template.hpp"

namespace orv::fuzz {

// The template data of examples/events/every_kind.json (every kind of record),
// read once, with times in UTC.
mstch::map const& FixedEventData();

// Data of every node kind templates can meet, template data holds only some
// of them: text (empty too), booleans, numbers, lists of lists, maps in lists.
mstch::map const& MixedData();

// What the first byte of a template target's input chooses: the escaping
// (bits 0 and 1), the data (bit 2: MixedData, otherwise FixedEventData) and
// the rendering limit (bit 3: `largeLimit`, otherwise 200 bytes, which finds
// the limits' edges).
struct RenderingChoice {
  templating::Escape escape;
  mstch::map const* data;
  std::size_t limit;
};
RenderingChoice ChooseRendering(std::uint8_t flags, std::size_t largeLimit);

// Renders `compiled` as chosen, checks that the output stays within the
// limit, and returns the names its check finds missing (none when the check
// ran out of steps).
std::vector<templating::MissingName> RenderAndFindMissing(templating::Template const& compiled,
                                                          RenderingChoice const& choice);

}  // namespace orv::fuzz
