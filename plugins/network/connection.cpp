#include "network/connection.hpp"

namespace orv::plugins::network {

void Configure(CURL* handle, ConnectionSettings const& settings, char* errorBuffer) {
  errorBuffer[0] = '\0';
  curl_easy_setopt(handle, CURLOPT_ERRORBUFFER, errorBuffer);
  curl_easy_setopt(handle, CURLOPT_NOSIGNAL, 1L);
  curl_easy_setopt(handle, CURLOPT_CONNECTTIMEOUT_MS, static_cast<long>(settings.connectTimeoutMs));
  curl_easy_setopt(handle, CURLOPT_TIMEOUT_MS, static_cast<long>(settings.timeoutMs));
  curl_easy_setopt(handle, CURLOPT_SSL_VERIFYPEER, settings.verifyTls ? 1L : 0L);
  curl_easy_setopt(handle, CURLOPT_SSL_VERIFYHOST, settings.verifyTls ? 2L : 0L);
  if (!settings.caFile.empty()) {
    curl_easy_setopt(handle, CURLOPT_CAINFO, settings.caFile.c_str());
  }
}

std::string ErrorText(CURLcode code, char const* errorBuffer) {
  return errorBuffer[0] != '\0' ? std::string(errorBuffer) : std::string(curl_easy_strerror(code));
}

bool Connected(CURL* handle) {
  // A reused connection has no connect time, but the transfer on it started.
  curl_off_t connectTime = 0;
  curl_off_t startTime = 0;
  curl_easy_getinfo(handle, CURLINFO_CONNECT_TIME_T, &connectTime);
  curl_easy_getinfo(handle, CURLINFO_PRETRANSFER_TIME_T, &startTime);
  return connectTime > 0 || startTime > 0;
}

}  // namespace orv::plugins::network
