// The pure parts of orv.action.Mail: addresses, the MIME text, rendering and
// the mapping of SMTP failures.

#include <gtest/gtest.h>

#include <chrono>
#include <memory>
#include <stdexcept>
#include <string>

#include "mail/address.hpp"
#include "mail/mail_courier.hpp"
#include "mail/mail_template.hpp"
#include "mail/mime.hpp"
#include "mail/smtp.hpp"

namespace orv::plugins::mail {
namespace {

using action::exception::Code;

MailMessage Sample() {
  MailMessage mail;
  mail.from = "camera@example.test";
  mail.to = {"a@example.test", "b@example.test"};
  mail.cc = {"c@example.test"};
  mail.bcc = {"hidden@example.test"};
  mail.subject = "Tür offen\r\nBcc: evil@example.test";
  mail.body = "Hallo Wörld\n.\nend";
  mail.date = std::chrono::system_clock::time_point(std::chrono::seconds(1700000000));
  mail.messageId = "orv.1.2.3@example.test";
  return mail;
}

TEST(Address, TakesPlainAddressesOnly) {
  for (char const* good : {"a@example.test", "first.last+tag@sub.example.test", "x@localhost", "o'hara@x-y.test"}) {
    EXPECT_TRUE(IsAddress(good)) << good;
  }
  for (char const* bad : {"", "a", "@example.test", "a@", "a@@b", "a b@example.test", "a@exa mple.test",
                          "Name <a@example.test>", "a@example.test,b@example.test", "a@example.test\r\nBcc: x@y",
                          ".a@example.test", "a..b@example.test", "a@-example.test", "a@example-.test", "a@.test"}) {
    EXPECT_FALSE(IsAddress(bad)) << bad;
  }
}

TEST(Address, CheckNamesThePropertyAndTheBadAddress) {
  EXPECT_EQ(CheckAddresses("to", {"a@example.test"}), std::vector<std::string>{"a@example.test"});
  try {
    CheckAddresses("cc", {"a@example.test", "bob"});
    FAIL() << "no exception";
  } catch (std::invalid_argument const& error) {
    EXPECT_STREQ(error.what(), "cc address 'bob' is not an address like name@example.test");
  }
  EXPECT_EQ(DomainOf("a@example.test"), "example.test");
  EXPECT_EQ(DomainOf(""), "localhost");
}

TEST(BuildMailText, WritesThePlainTextMailExactly) {
  EXPECT_EQ(BuildMailText(Sample()),
            "Date: Tue, 14 Nov 2023 22:13:20 +0000\r\n"
            "From: camera@example.test\r\n"
            "Subject: =?UTF-8?B?VMO8cg==?= offenBcc: evil@example.test\r\n"
            "To: a@example.test, b@example.test\r\n"
            "Cc: c@example.test\r\n"
            "Message-Id: <orv.1.2.3@example.test>\r\n"
            "MIME-Version: 1.0\r\n"
            "Content-Type: text/plain; charset=utf-8\r\n"
            "Content-Transfer-Encoding: quoted-printable\r\n"
            "\r\n"
            "Hallo W=C3=B6rld\r\n"
            ".\r\n"
            "end\r\n");
}

// Found by fuzz_mime: GMime wrote a subject's "=?utf-8?q?x?=" as it was, and
// the mail arrived with the subject "Door x" instead.
TEST(BuildMailText, EncodesASubjectThatLooksLikeEncodedWords) {
  MailMessage mail = Sample();
  mail.subject = "Door =?utf-8?q?x?= open";
  std::string const text = BuildMailText(mail);
  // base64 of "Door =?utf-8?q?x?= open"
  EXPECT_NE(text.find("\r\nSubject: =?UTF-8?B?RG9vciA9P3V0Zi04P3E/eD89IG9wZW4=?=\r\nTo: "), std::string::npos) << text;

  // Long ones fold into words of at most 45 bytes, never inside a character.
  mail.subject = "=?" + std::string(42, 'a') + "\xC3\xBC" + std::string(10, 'b');
  std::string const folded = BuildMailText(mail);
  // "=?" and 42 "a" (44 bytes), then "ü" and 10 "b".
  EXPECT_NE(folded.find("\r\nSubject: =?UTF-8?B?PT9hYWFhYWFhYWFhYWFhYWFhYWFhYWFhYWFhYWFhYWFhYWFhYWFhYWFhYWE=?=\r\n"
                        " =?UTF-8?B?w7xiYmJiYmJiYmJi?=\r\nTo: "),
            std::string::npos)
      << folded;
}

TEST(BuildMailText, WritesMultipartAlternativeWithAnHtmlBody) {
  MailMessage mail = Sample();
  mail.subject = "plain";
  mail.cc.clear();
  mail.htmlBody = "<p>Hallo &amp; W\xC3\xB6rld</p>";
  EXPECT_EQ(BuildMailText(mail),
            "Date: Tue, 14 Nov 2023 22:13:20 +0000\r\n"
            "From: camera@example.test\r\n"
            "Subject: plain\r\n"
            "To: a@example.test, b@example.test\r\n"
            "Message-Id: <orv.1.2.3@example.test>\r\n"
            "MIME-Version: 1.0\r\n"
            "Content-Type: multipart/alternative; boundary=\"=_orv_alternative_1488dfa8\"\r\n"
            "\r\n"
            "--=_orv_alternative_1488dfa8\r\n"
            "Content-Type: text/plain; charset=utf-8\r\n"
            "Content-Transfer-Encoding: quoted-printable\r\n"
            "\r\n"
            "Hallo W=C3=B6rld\r\n"
            ".\r\n"
            "end\r\n"
            "--=_orv_alternative_1488dfa8\r\n"
            "Content-Type: text/html; charset=utf-8\r\n"
            "Content-Transfer-Encoding: quoted-printable\r\n"
            "\r\n"
            "<p>Hallo &amp; W=C3=B6rld</p>\r\n"
            "--=_orv_alternative_1488dfa8--\r\n");
}

TEST(BuildMailText, NoBccAnywhereAndTheSameMailGivesTheSameText) {
  std::string const text = BuildMailText(Sample());
  EXPECT_EQ(text.find("hidden"), std::string::npos);
  EXPECT_EQ(text, BuildMailText(Sample()));
}

TEST(Render, RendersWithoutEscapingAndDropsLineBreaksFromTheSubject) {
  MailTemplate mail;
  mail.from = "camera@example.test";
  mail.to = {"a@example.test"};
  mail.subject = templating::Template("Alarm: {{name}}", templating::Escape::None);
  mail.body = templating::Template("<{{name}}>", templating::Escape::None);
  mail.htmlBody = templating::Template("<p>{{name}}</p>", templating::Escape::Html);
  mstch::map const data{{"name", std::string("a & b\r\nBcc: x@example.test")}};
  auto const date = std::chrono::system_clock::time_point(std::chrono::seconds(5));
  auto const rendered = std::get<MailMessage>(Render(mail, data, date, "id@example.test"));
  EXPECT_EQ(rendered.subject, "Alarm: a & bBcc: x@example.test");
  EXPECT_EQ(rendered.body, "<a & b\r\nBcc: x@example.test>");
  EXPECT_EQ(rendered.htmlBody, "<p>a &amp; b\r\nBcc: x@example.test</p>");
  EXPECT_EQ(rendered.to, std::vector<std::string>{"a@example.test"});
  EXPECT_EQ(rendered.date, date);
  EXPECT_EQ(rendered.messageId, "id@example.test");
}

TEST(Render, AnEmptyBodyIsCode7) {
  MailTemplate mail;
  mail.body = templating::Template(" {{missing}}\r\n", templating::Escape::None);
  EXPECT_EQ(std::get<network::Failure>(Render(mail, mstch::map{}, {}, "x")),
            (network::Failure{Code::MailBodyEmpty, "the body is empty once rendered"}));
}

TEST(MessageIdFor, IsStableForOneEventAndAction) {
  auto const start = std::chrono::system_clock::time_point(std::chrono::nanoseconds(1700000000123456789));
  EXPECT_EQ(MessageIdFor(start, 7, 3, "camera@example.test"), "orv.1700000000123456789.7.3@example.test");
  EXPECT_EQ(MessageIdFor(start, 7, 3, ""), "orv.1700000000123456789.7.3@localhost");
  EXPECT_NE(MessageIdFor(start, 7, 4, ""), MessageIdFor(start, 7, 3, ""));
}

TEST(FailureOf, MapsEachKindOfFailureToItsCode) {
  EXPECT_EQ(FailureOf(CURLE_COULDNT_RESOLVE_HOST, "Could not resolve host: x.invalid", "", false),
            (network::Failure{Code::MailHostNotResolved, "Could not resolve host: x.invalid"}));
  EXPECT_EQ(FailureOf(CURLE_COULDNT_CONNECT, "t", "", false).code, Code::MailCouldntConnect);
  EXPECT_EQ(FailureOf(CURLE_PEER_FAILED_VERIFICATION, "t", "", true).code, Code::MailCouldntConnect);
  EXPECT_EQ(FailureOf(CURLE_USE_SSL_FAILED, "t", "", true).code, Code::MailCouldntConnect);
  EXPECT_EQ(FailureOf(CURLE_LOGIN_DENIED, "Login denied", "535 5.7.8 Authentication credentials invalid", true),
            (network::Failure{Code::MailLoginFailed,
                              "Login denied; the server said: 535 5.7.8 Authentication credentials invalid"}));
  EXPECT_EQ(FailureOf(CURLE_OPERATION_TIMEDOUT, "t", "", false).code, Code::MailConnectionTimedOut);
  EXPECT_EQ(FailureOf(CURLE_OPERATION_TIMEDOUT, "t", "", true).code, Code::MailSendTimedOut);
  EXPECT_EQ(FailureOf(CURLE_SEND_ERROR, "RCPT failed: 550", "550 no", true).code, Code::MailCouldntSendData);
  EXPECT_EQ(FailureOf(CURLE_RECV_ERROR, "t", "", true).code, Code::MailCouldntSendData);
  EXPECT_EQ(FailureOf(CURLE_WEIRD_SERVER_REPLY, "t", "", true).code, Code::MailCouldntSendData);
}

TEST(KeepReply, KeepsTheLastLineUnlessARefusalCameBefore) {
  std::string kept;
  KeepReply(kept, "220 mail.example.test ESMTP\r\n");
  EXPECT_EQ(kept, "220 mail.example.test ESMTP");
  KeepReply(kept, "250 OK\r\n");
  EXPECT_EQ(kept, "250 OK");
  KeepReply(kept, "\r\n");
  EXPECT_EQ(kept, "250 OK");
  KeepReply(kept, "550 5.1.1 No such user\r\n");
  KeepReply(kept, "221 Bye\r\n");
  EXPECT_EQ(kept, "550 5.1.1 No such user");
  KeepReply(kept, "451 4.3.0 Try later\r\n");
  EXPECT_EQ(kept, "451 4.3.0 Try later");
}

TEST(KeepReply, KeepsOneLineOfAtMost200Bytes) {
  std::string kept;
  KeepReply(kept, std::string("250-a\tb\x01") + "c" + std::string(300, 'x') + "\r\n");
  EXPECT_EQ(kept, "250-a b c" + std::string(191, 'x') + "...");
}

TEST(DefaultPort, FollowsTheSecurity) {
  EXPECT_EQ(DefaultPort("none"), 25);
  EXPECT_EQ(DefaultPort("starttls"), 587);
  EXPECT_EQ(DefaultPort("tls"), 465);
}

TEST(MailCourier, StoresTheRenderedMailWithoutServerOrPassword) {
  MailSettings settings;
  settings.host = "mail.example.test";
  settings.security = "tls";
  settings.password = "s3cret";
  MailCourier const courier(settings, std::make_shared<network::CurlPool>());
  MailMessage mail = Sample();
  mail.htmlBody = "<p>x</p>";
  std::string const stored = courier.Encode(mail);
  EXPECT_EQ(stored.find("s3cret"), std::string::npos);
  EXPECT_EQ(stored.find("mail.example.test"), std::string::npos);
  MailMessage expected = mail;
  expected.messageId.clear();  // made from the delivery id when sent
  EXPECT_EQ(courier.Decode(stored), expected);
  EXPECT_EQ(courier.Destination(mail),
            "smtps://mail.example.test:465 to a@example.test, b@example.test, c@example.test (and 1 bcc)");
  EXPECT_EQ(courier.Secrets(mail), (std::vector<std::string>{"s3cret"}));
  auto const what = [&](std::string const& bytes) {
    try {
      courier.Decode(bytes);
    } catch (std::runtime_error const& error) {
      return std::string(error.what());
    }
    return std::string("no std::runtime_error");
  };
  EXPECT_EQ(what(std::string("\xa1\x61v\x02", 4)), "not a stored mail of version 1");
  EXPECT_EQ(what(std::string("\xa1\x61v\x01", 4)).rfind("a stored mail without its parts: ", 0), 0U);
  EXPECT_EQ(what("\xff").rfind("not a stored mail: ", 0), 0U);
}

TEST(MessageIdForDelivery, IsTheDeliveryIdAtTheSendersDomain) {
  EXPECT_EQ(MessageIdForDelivery("0123abcd-7", "camera@example.test"), "orv.0123abcd-7@example.test");
}

}  // namespace
}  // namespace orv::plugins::mail
