#pragma once

#include <cstddef>
#include <memory>
#include <mstch/mstch.hpp>
#include <vector>

#include "orv/action/export.hpp"
#include "orv/meta/data/event.hpp"
#include "orv/object/object.hpp"
#include "orv/templating/serialize/archive/output/data.hpp"

namespace orv::action {

// The template data of `event`: a map with the single key "the_event", which
// holds the event's header, "id", "name", "type", "start", "end", "host",
// "ip" and one array per kind of record the event carries (see
// docs/template-data.md). The host name and address are looked up afresh.
// Tracked objects nest as deep as the data goes. Building the data, and later
// destroying it (as destroying the event's own records), recurses once per
// level of nesting, so an event nested thousands of levels deep can exhaust a
// thread's stack: a host that takes events from untrusted input bounds their
// nesting first, as orv-action does (32 levels).
// Exceptions of the writers pass through and no partial data is returned;
// an empty pointer throws std::invalid_argument.
ORV_ACTION_API mstch::map SerializeEvent(std::shared_ptr<meta::data::Event const> const& event);

}  // namespace orv::action

namespace orv::meta::data {

// Writes `event` into the node open in `archive`: its object header, "id",
// "name", "type" (a node with "string", the type text, and the type text
// itself as a key set to true), "start" and "end" (time nodes), "host", "ip",
// and then the groups of its records. The address and host name are fetched
// before anything is written.
ORV_ACTION_API void SaveEvent(templating::serialize::archive::output::Data& archive, Event const& event);

}  // namespace orv::meta::data

namespace orv::templating::serialize::archive::output {

// Writes `objects` into the node open in `archive`, grouped by kind: one
// array per kind present, under its fixed key, in a fixed order of kinds;
// within a kind, in the order of `objects`. Kinds without a key are skipped.
// Tracked objects write the groups of their own records inside their element,
// to any depth, recursing once per level.
// Every pointer must be set.
ORV_ACTION_API void Save(Data& archive, std::vector<std::shared_ptr<object::Object const>> const& objects);

}  // namespace orv::templating::serialize::archive::output
