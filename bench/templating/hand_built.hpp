#pragma once

#include <mstch/mstch.hpp>

#include "orv/meta/data/event.hpp"

namespace orv::bench {

// The template data of `event` built straight into mstch maps, without the
// archive: the floor that SerializeEvent is measured against. It asks the
// same network functions for the host name and address and yields the same
// tree for the kinds of record it knows (those of the golden event: tracked
// objects, zones, counting lines, counters, channels, observables,
// classifications, colour signatures, speeds, areas and heights); any other
// kind throws std::logic_error.
mstch::map HandBuiltTemplateData(meta::data::Event const& event);

}  // namespace orv::bench
