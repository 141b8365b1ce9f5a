#pragma once

#include <string>
#include <vector>

namespace orv::plugins::request {

// One HTTP request rendered from one event, ready to be sent (now, or later
// from a queue): it holds no credentials and no connection settings, which
// stay with the action.
struct RequestMessage {
  std::string method;                // GET, POST, PUT, PATCH or DELETE
  std::string uri;                   // absolute http or https address, checked
  std::vector<std::string> headers;  // "Name: value", without line ends
  std::string body;                  // sent with POST, PUT and PATCH only

  friend bool operator==(RequestMessage const&, RequestMessage const&) = default;
};

}  // namespace orv::plugins::request
