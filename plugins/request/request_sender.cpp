#include "request/request_sender.hpp"

#include <algorithm>
#include <chrono>
#include <memory>

#include "orv/outbox/retry_policy.hpp"

namespace orv::plugins::request {
namespace {

struct HeaderList {
  curl_slist* list = nullptr;
  HeaderList() = default;
  HeaderList(HeaderList const&) = delete;
  HeaderList& operator=(HeaderList const&) = delete;
  ~HeaderList() { curl_slist_free_all(list); }
  void Add(char const* line) {
    curl_slist* extended = curl_slist_append(list, line);
    if (extended == nullptr) {
      throw std::bad_alloc();
    }
    list = extended;
  }
};

// Keeps the first bytes of the response body for a failure's detail; reads
// the rest so that the connection can be reused.
std::size_t KeepStart(char* data, std::size_t size, std::size_t count, void* target) {
  std::size_t const bytes = size * count;
  KeepBodyStart(*static_cast<std::string*>(target), std::string_view(data, bytes));
  return bytes;
}

void SetAuthentication(CURL* handle, RequestSettings const& settings) {
  if (settings.auth == "basic" || settings.auth == "digest") {
    curl_easy_setopt(handle, CURLOPT_HTTPAUTH, settings.auth == "basic" ? CURLAUTH_BASIC : CURLAUTH_DIGEST);
    curl_easy_setopt(handle, CURLOPT_USERNAME, settings.username.c_str());
    curl_easy_setopt(handle, CURLOPT_PASSWORD, settings.password.c_str());
  } else if (settings.auth == "bearer") {
    curl_easy_setopt(handle, CURLOPT_HTTPAUTH, CURLAUTH_BEARER);
    curl_easy_setopt(handle, CURLOPT_XOAUTH2_BEARER, settings.token.c_str());
  }
}

}  // namespace

std::optional<network::Failure> Send(network::CurlPool& pool, RequestMessage const& message,
                                     RequestSettings const& settings) {
  network::CurlPool::Lease const lease = pool.Acquire();
  CURL* const handle = lease.Get();
  char error[CURL_ERROR_SIZE];
  network::Configure(handle, settings.connection, error);
  curl_easy_setopt(handle, CURLOPT_URL, message.uri.c_str());
  curl_easy_setopt(handle, CURLOPT_PROTOCOLS_STR, "http,https");
  curl_easy_setopt(handle, CURLOPT_FOLLOWLOCATION, 0L);

  HeaderList headers;
  for (std::string const& header : message.headers) {
    headers.Add(header.c_str());
  }
  // No "Expect: 100-continue" round trip before larger bodies.
  headers.Add("Expect:");
  curl_easy_setopt(handle, CURLOPT_HTTPHEADER, headers.list);

  if (message.method == "GET") {
    curl_easy_setopt(handle, CURLOPT_HTTPGET, 1L);
  } else {
    if (message.method != "DELETE") {
      curl_easy_setopt(handle, CURLOPT_POSTFIELDS, message.body.data());
      curl_easy_setopt(handle, CURLOPT_POSTFIELDSIZE_LARGE, static_cast<curl_off_t>(message.body.size()));
    }
    if (message.method != "POST") {
      curl_easy_setopt(handle, CURLOPT_CUSTOMREQUEST, message.method.c_str());
    }
  }
  SetAuthentication(handle, settings);
  if (!settings.clientCertificate.empty()) {
    curl_easy_setopt(handle, CURLOPT_SSLCERT, settings.clientCertificate.c_str());
  }
  if (!settings.clientKey.empty()) {
    curl_easy_setopt(handle, CURLOPT_SSLKEY, settings.clientKey.c_str());
  }

  std::string body;
  curl_easy_setopt(handle, CURLOPT_WRITEFUNCTION, &KeepStart);
  curl_easy_setopt(handle, CURLOPT_WRITEDATA, &body);

  CURLcode const code = curl_easy_perform(handle);
  if (code != CURLE_OK) {
    return FailureOf(code, network::ErrorText(code, error));
  }
  long status = 0;
  curl_easy_getinfo(handle, CURLINFO_RESPONSE_CODE, &status);
  auto failure = CheckResponse(status, body, settings.expected);
  if (failure) {
    // libcurl reads both forms of the header, seconds and a date.
    curl_off_t retryAfter = 0;
    if (curl_easy_getinfo(handle, CURLINFO_RETRY_AFTER, &retryAfter) == CURLE_OK && retryAfter > 0) {
      // Any wait past the longest give-up time means the same: give up. The
      // cap keeps a server's large number from overflowing the conversion.
      auto const longest = std::chrono::duration_cast<std::chrono::seconds>(outbox::kLongestRetryTime).count();
      failure->retryAfter = std::chrono::seconds(std::min<curl_off_t>(retryAfter, longest + 1));
    }
  }
  return failure;
}

}  // namespace orv::plugins::request
