#include "orv/log/sink.hpp"

#include <cstdio>
#include <mutex>
#include <shared_mutex>
#include <string>
#include <utility>

namespace orv::log {
namespace {

// Writers share the lock while the sink runs, so records are written in
// parallel; a replacement takes it alone and so waits for running calls.
struct Current {
  std::shared_mutex mutex;
  Sink sink = &WriteToStandardError;
};

Current& GetCurrent() {
  static Current current;
  return current;
}

}  // namespace

Sink SetSink(Sink sink) {
  if (!sink) {
    sink = &WriteToStandardError;
  }
  Current& current = GetCurrent();
  std::unique_lock const lock(current.mutex);
  std::swap(current.sink, sink);
  return sink;
}

void Write(std::string_view source, std::string_view text) {
  Current& current = GetCurrent();
  std::shared_lock const lock(current.mutex);
  current.sink(Record{source, text});
}

void WriteToStandardError(Record const& record) {
  std::string line;
  line.reserve(record.source.size() + record.text.size() + 3);
  line.append(record.source).append(": ").append(record.text).push_back('\n');
  std::fwrite(line.data(), 1, line.size(), stderr);
}

}  // namespace orv::log
