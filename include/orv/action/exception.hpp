#pragma once

#include <cstdint>
#include <string_view>

#include "orv/action/export.hpp"

namespace orv::action {
namespace exception {

// Why a concrete action failed. Codes 1 to 8 belong to actions that send mail
// through a mail server, 9 to 15 to actions that make a request to a URI.
enum class Code : std::uint32_t {
  None = 0,
  MailCouldntConnect = 1,
  MailLoginFailed = 2,
  MailCouldntSendData = 3,
  MailSendTimedOut = 4,
  MailHostEmpty = 5,
  MailHostNotResolved = 6,
  MailBodyEmpty = 7,
  MailConnectionTimedOut = 8,
  RequestUriEmpty = 9,
  RequestUriUnparsable = 10,
  RequestHostNotResolved = 11,
  RequestConnectionTimedOut = 12,
  RequestFailed = 13,
  RequestTlsHandshakeFailed = 14,
  RequestCertificateVerificationFailed = 15,
};

}  // namespace exception

// What a concrete action throws, by value, when it fails in a way the user
// should see. Deliberately not a std::exception: a handler for those does not
// catch it.
//
// The user interface shows the translation of GetLocalizedString(), a key such
// as "couldnt_connect_to_the_smtp_server". Codes of the two families that mean
// the same to the user share a key (6 and 11, 8 and 12).
class ORV_ACTION_API Exception {
 public:
  explicit Exception(exception::Code code) noexcept : code_(code) {}

  exception::Code GetCode() const noexcept { return code_; }

  // The localized-string key of the code; empty for Code::None and for any
  // value above 15. The text has static storage.
  std::string_view GetLocalizedString() const noexcept;

 private:
  exception::Code code_;
};

}  // namespace orv::action
