#include "orv/action/exception.hpp"

#include <gtest/gtest.h>

#include <exception>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

namespace orv::action {
namespace {

using exception::Code;

static_assert(!std::is_base_of_v<std::exception, Exception>, "an action failure is not a standard exception");
static_assert(!std::is_polymorphic_v<Exception>);
static_assert(std::is_copy_constructible_v<Exception>);
static_assert(std::is_same_v<std::underlying_type_t<Code>, std::uint32_t>);

std::string_view KeyOf(std::uint32_t code) { return Exception(static_cast<Code>(code)).GetLocalizedString(); }

TEST(Exception, EveryCodeHasItsKey) {
  std::vector<std::pair<Code, std::string_view>> const table = {
      {Code::None, ""},
      {Code::MailCouldntConnect, "couldnt_connect_to_the_smtp_server"},
      {Code::MailLoginFailed, "please_check_your_login_details"},
      {Code::MailCouldntSendData, "couldnt_send_data_to_the_smtp_server"},
      {Code::MailSendTimedOut, "the_server_timed_out_while_sending_the_email"},
      {Code::MailHostEmpty, "the_host_cannot_be_empty"},
      {Code::MailHostNotResolved, "the_host_couldnt_be_resolved"},
      {Code::MailBodyEmpty, "the_body_cannot_be_empty"},
      {Code::MailConnectionTimedOut, "connection_timed_out"},
      {Code::RequestUriEmpty, "the_uri_cannot_be_empty"},
      {Code::RequestUriUnparsable, "the_uri_couldnt_be_parsed"},
      {Code::RequestHostNotResolved, "the_host_couldnt_be_resolved"},
      {Code::RequestConnectionTimedOut, "connection_timed_out"},
      {Code::RequestFailed, "request_failed"},
      {Code::RequestTlsHandshakeFailed, "ssl_tls_handshake_error"},
      {Code::RequestCertificateVerificationFailed, "certificate_verification_failure"},
  };
  ASSERT_EQ(table.size(), 16U);
  for (std::uint32_t value = 0; value < table.size(); ++value) {
    EXPECT_EQ(static_cast<std::uint32_t>(table[value].first), value);
    EXPECT_EQ(Exception(table[value].first).GetLocalizedString(), table[value].second) << "code " << value;
    EXPECT_EQ(Exception(table[value].first).GetCode(), table[value].first);
  }
}

TEST(Exception, CodeZeroAndCodesAboveFifteenHaveAnEmptyKey) {
  EXPECT_TRUE(KeyOf(0).empty());
  EXPECT_TRUE(KeyOf(16).empty());
  EXPECT_TRUE(KeyOf(0xFFFFFFFFU).empty());
}

TEST(Exception, TheTwoFamiliesShareTheKeysOfHostResolutionAndTimeOut) {
  EXPECT_EQ(KeyOf(6), KeyOf(11));
  EXPECT_EQ(KeyOf(8), KeyOf(12));
  EXPECT_NE(Code::MailHostNotResolved, Code::RequestHostNotResolved);
}

TEST(Exception, TheLongestKeyIsThatOfCodeFour) {
  EXPECT_EQ(KeyOf(4).size(), 44U);
  for (std::uint32_t code = 0; code < 16; ++code) {
    EXPECT_LE(KeyOf(code).size(), 44U);
  }
}

TEST(Exception, KeysHaveStaticStorage) {
  std::string_view key;
  {
    Exception const exception(Code::RequestFailed);
    key = exception.GetLocalizedString();
  }
  EXPECT_EQ(key, "request_failed");
  EXPECT_EQ(key.data(), KeyOf(13).data());
}

TEST(Exception, IsThrownAndCaughtByValueAndPassesAStandardHandler) {
  bool caughtAsStandard = false;
  Code caught = Code::None;
  try {
    try {
      throw Exception(Code::MailLoginFailed);
    } catch (std::exception const&) {
      caughtAsStandard = true;
    }
  } catch (Exception const exception) {
    caught = exception.GetCode();
  }
  EXPECT_FALSE(caughtAsStandard);
  EXPECT_EQ(caught, Code::MailLoginFailed);
}

}  // namespace
}  // namespace orv::action
