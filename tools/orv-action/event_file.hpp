#pragma once

#include <memory>
#include <nlohmann/json.hpp>
#include <string>

#include "orv/meta/data/event.hpp"

namespace orv::tool {

// Parses `text` as JSON. A syntax error throws InputError
// "<source>:<line>:<column>: <what was expected>".
nlohmann::json ParseJson(std::string const& text, std::string const& source);

// The event described by `json` (the event file format of docs/event-format.md).
// A missing, unknown or ill-typed field throws InputError
// "<source>: <JSON path>: <what was expected>".
std::shared_ptr<meta::data::Event> ToEvent(nlohmann::json const& json, std::string const& source);

// Reads the event file at `path` ("-" for standard input).
std::shared_ptr<meta::data::Event> ReadEventFile(std::string const& path);

// The time of an ISO 8601 text with nine fraction digits and an offset
// ("2024-05-06T07:08:09.123456789Z", "...+02:00"); throws InputError naming
// `where` otherwise.
meta::data::TimePoint ParseTime(std::string const& text, std::string const& where);

}  // namespace orv::tool
