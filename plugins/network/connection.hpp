#pragma once

#include <curl/curl.h>

#include <cstdint>
#include <string>

namespace orv::plugins::network {

// How a transfer connects: TLS verification and time-outs, as both network
// actions configure them.
struct ConnectionSettings {
  bool verifyTls = true;                 // the server's certificate chain and name
  std::string caFile;                    // PEM file of trusted CAs; empty: the system's
  std::int64_t connectTimeoutMs = 5000;  // until the connection is made
  std::int64_t timeoutMs = 10000;        // for the whole transfer
};

// Sets the options of `settings` and those every transfer of these actions
// needs (no signals, so that time-outs work on any thread) on `handle`, with
// `errorBuffer` (CURL_ERROR_SIZE bytes) receiving libcurl's error text.
void Configure(CURL* handle, ConnectionSettings const& settings, char* errorBuffer);

// libcurl's error text of the last transfer: the error buffer when libcurl
// filled it, otherwise the text of `code`.
std::string ErrorText(CURLcode code, char const* errorBuffer);

// Whether the last transfer of `handle` got as far as a connection (a TCP
// connection made, or an open one reused).
bool Connected(CURL* handle);

}  // namespace orv::plugins::network
