#pragma once

#include <curl/curl.h>

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "network/failure.hpp"

namespace orv::plugins::request {

// The HTTP statuses that count as success: comma-separated codes ("200",
// "204") and classes ("2xx"), spaces allowed around each.
class ExpectedStatus {
 public:
  // "2xx": any success status.
  ExpectedStatus();
  // Throws std::invalid_argument naming `text` when an item is neither a code
  // from 100 to 599 nor a class from 1xx to 5xx, or when there is none.
  explicit ExpectedStatus(std::string_view text);

  bool Accepts(long status) const noexcept;
  // The text it was made from.
  std::string const& GetText() const noexcept { return text_; }

 private:
  std::string text_;
  std::vector<long> codes_;
  std::vector<long> classes_;  // the hundreds: 2 for 2xx
};

// How many bytes of a response body a failure's detail shows.
inline constexpr std::size_t kBodyExcerpt = 200;

// Appends to `body` as much of `data`, the next bytes of a response body, as
// keeps it at most kBodyExcerpt + 1 bytes long: enough for a failure's detail
// to show the first kBodyExcerpt and tell that more followed.
void KeepBodyStart(std::string& body, std::string_view data);

// The failure of a response with `status` and `body`, fed from a buffer:
// nullopt when `expected` accepts the status, otherwise code 13 with the
// status and a detail naming it, what was expected and the first 200 bytes of
// the body.
std::optional<network::Failure> CheckResponse(long status, std::string_view body, ExpectedStatus const& expected);

// The failure of a transfer that libcurl ended with `code` (not CURLE_OK);
// `errorText` is libcurl's text for it. Resolution 11, time-outs 12, a failed
// TLS handshake or local TLS set-up 14, a certificate that fails
// verification 15, everything else 13.
network::Failure FailureOf(CURLcode code, std::string_view errorText);

}  // namespace orv::plugins::request
