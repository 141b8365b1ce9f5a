#pragma once

#include <functional>
#include <string_view>

#include "orv/log/export.hpp"

namespace orv::log {

// One message for a person: what went wrong and what it takes to fix it.
struct ORV_LOG_API Record {
  std::string_view source;  // who writes it, e.g. the action's type name "orv.action.Request"
  std::string_view text;    // the message, without a line end
};

// Receives every record written in the process. It may be called from many
// threads at once and must be thread-safe itself; the views of a record live
// only for the call.
using Sink = std::function<void(Record const& record)>;

// Replaces the process-wide sink and returns the one it replaces. An empty
// `sink` restores the default, which writes "<source>: <text>" and a line end
// to standard error. Thread-safe: SetSink waits for the calls of the old sink
// that are running, so once it has returned the old sink is never called
// again and whatever it refers to may go. A sink must therefore not call
// SetSink itself.
//
//   std::vector<std::string> lines;  // guarded by a mutex in a real host
//   orv::log::SetSink([&](orv::log::Record const& r) { lines.emplace_back(r.text); });
ORV_LOG_API Sink SetSink(Sink sink);

// Writes a record to the current sink. Thread-safe. An exception thrown by
// the sink reaches the caller.
ORV_LOG_API void Write(std::string_view source, std::string_view text);

// The default sink: "<source>: <text>\n" to standard error in one write, so
// lines of concurrent records do not interleave.
ORV_LOG_API void WriteToStandardError(Record const& record);

}  // namespace orv::log
