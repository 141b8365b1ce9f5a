#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "network/curl_pool.hpp"
#include "network/network_action.hpp"
#include "request/request_message.hpp"
#include "request/request_sender.hpp"

namespace orv::plugins::request {

// How the requests of one action are sent, with its settings of one moment.
//
// What the outbox stores of a request is its method, address, headers and
// body: no credentials. The password, token and client certificate stay
// with the action; so does the password of the address's user information
// when it is the one the action's configured address holds: the stored
// address lacks it, and it is put back, as the action has it then, when the
// request is sent.
class RequestCourier : public network::Courier<RequestMessage> {
 public:
  // `uriPassword`: the password written in the action's configured address
  // (as written, not decoded), or empty.
  RequestCourier(RequestSettings settings, std::shared_ptr<network::CurlPool> pool, std::string uriPassword);

  // With a delivery id, the request carries it as its "Idempotency-Key"
  // header, in place of any such header the action's headers set.
  std::optional<network::Failure> Send(RequestMessage const& message, std::string const& deliveryId) const override;
  // The password, the token, and the password of the address.
  std::vector<std::string> Secrets(RequestMessage const& message) const override;
  // The address, its password as "***".
  std::string Destination(RequestMessage const& message) const override;
  // CBOR: {"v": 1, "method", "uri", "headers": [...], "body", "uri_password": bool}.
  std::string Encode(RequestMessage const& message) const override;
  RequestMessage Decode(std::string const& payload) const override;

 private:
  RequestSettings settings_;
  std::shared_ptr<network::CurlPool> pool_;
  std::string uriPassword_;
};

}  // namespace orv::plugins::request
