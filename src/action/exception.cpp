#include "orv/action/exception.hpp"

#include <array>

namespace orv::action {
namespace {

// Indexed by code value.
constexpr std::array<std::string_view, 16> kKeys = {
    "",
    "couldnt_connect_to_the_smtp_server",
    "please_check_your_login_details",
    "couldnt_send_data_to_the_smtp_server",
    "the_server_timed_out_while_sending_the_email",
    "the_host_cannot_be_empty",
    "the_host_couldnt_be_resolved",
    "the_body_cannot_be_empty",
    "connection_timed_out",
    "the_uri_cannot_be_empty",
    "the_uri_couldnt_be_parsed",
    "the_host_couldnt_be_resolved",
    "connection_timed_out",
    "request_failed",
    "ssl_tls_handshake_error",
    "certificate_verification_failure",
};

}  // namespace

std::string_view Exception::GetLocalizedString() const noexcept {
  auto const index = static_cast<std::uint32_t>(code_);
  return index < kKeys.size() ? kKeys[index] : std::string_view();
}

}  // namespace orv::action
