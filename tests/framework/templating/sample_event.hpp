#pragma once

#include <cstddef>
#include <mstch/mstch.hpp>
#include <string>

// Template data shaped like a serialised event, and a mail template over it,
// shared by the tests and the rendering benchmark.
namespace orv::templating::sample {

// {"the_event": ...}: the event record (header, id, name, type, start, end,
// host, ip) with channel, observable, zone, tracked-object (each with its own
// meta groups), counting-line, counter and text groups; about 560 nodes.
// With `everyKind` it also holds one group of every other record kind.
mstch::map MakeEvent(bool everyKind = false);

// The number of nodes of `node`, itself included.
std::size_t CountNodes(mstch::node const& node);

// A 40-line plain-text mail over MakeEvent's data.
extern char const kMailTemplate[];

}  // namespace orv::templating::sample
