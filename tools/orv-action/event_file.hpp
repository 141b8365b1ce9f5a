#pragma once

#include <memory>
#include <nlohmann/json.hpp>
#include <string>

#include "orv/meta/data/event.hpp"
#include "source_text.hpp"

namespace orv::tool {

// The event described by `json`, a document that ParseJson read from
// `source` (the event file format of docs/event-format.md). A missing,
// unknown, ill-typed or out-of-range field, or an event past the limits on
// objects, throws InputError "<name>:<line>:<column>: <JSON path>: <what was expected>".
std::shared_ptr<meta::data::Event> ToEvent(nlohmann::json const& json, SourceText const& source);

// Parses the JSON text of `source` and reads the event it describes; throws
// as ParseJson and ToEvent do.
std::shared_ptr<meta::data::Event> ReadEvent(SourceText const& source);

// Reads the event file at `path` ("-" for standard input), at most
// limits::kJsonTextBytes long.
std::shared_ptr<meta::data::Event> ReadEventFile(std::string const& path);

}  // namespace orv::tool
