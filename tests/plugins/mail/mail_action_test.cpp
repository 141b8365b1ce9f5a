// orv.action.Mail against a real local SMTP server (aiosmtpd): the message
// received, and every failure provoked for real.

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "orv/action/loader.hpp"
#include "orv/action/registry.hpp"
#include "orv/log/sink.hpp"
#include "orv/meta/data/event.hpp"
#include "orv/object/primitive.hpp"
#include "orv/property/primitive.hpp"
#include "servers.hpp"

namespace orv::test {
namespace {

using Texts = std::vector<std::string>;
using Integer = object::Primitive<std::int64_t>;

std::string const kCertificates = ORV_TEST_WORK_DIR "/mail-certificates";

class MailAction : public ::testing::Test {
 protected:
  static void SetUpTestSuite() {
    loader_ = std::make_unique<action::plugin::Loader>(true);
    MakeCertificates(kCertificates);
    server_ = std::make_unique<ServerProcess>("smtp_server.py", kCertificates);
  }
  static void TearDownTestSuite() { server_.reset(); }

  void SetUp() override {
    orv::log::SetSink([this](orv::log::Record const& record) {
      std::lock_guard const lock(mutex_);
      logged_.push_back(std::string(record.source) + ": " + std::string(record.text));
    });
    action_ = MakeAction("orv.action.Mail");
    Set(action_, "host", "127.0.0.1");
    Set(action_, "security", "none");
    Set(action_, "port", Integer(server_->Port("plain")));
    Set(action_, "from", "camera@example.test");
    Set(action_, "to", object::Primitive<Texts>({"a@example.test", "b@example.test"}));
    Set(action_, "subject", "Alarm: {{the_event.name}}");
    Set(action_, "body", "Event {{the_event.name}} of type {{the_event.type.string}}");
  }
  void TearDown() override { orv::log::SetSink(nullptr); }

  std::uint32_t Fire(std::string const& text = "test") {
    return CodeOf([&] { action_->Test(text); });
  }
  std::vector<std::string> Logged() {
    std::lock_guard const lock(mutex_);
    return logged_;
  }

  static inline std::unique_ptr<action::plugin::Loader> loader_;
  static inline std::unique_ptr<ServerProcess> server_;
  std::shared_ptr<action::Action> action_;
  std::mutex mutex_;
  std::vector<std::string> logged_;
};

TEST_F(MailAction, SendsTheMailToEveryRecipientWithExactHeaders) {
  Set(action_, "cc", object::Primitive<Texts>({"c@example.test"}));
  Set(action_, "bcc", object::Primitive<Texts>({"hidden@example.test"}));
  ASSERT_EQ(Fire("Tür offen"), 0U);
  auto const mail = server_->Next();
  EXPECT_EQ(mail["listener"], "plain");
  EXPECT_EQ(mail["mail_from"], "camera@example.test");
  EXPECT_EQ(mail["rcpt_tos"], (Texts{"a@example.test", "b@example.test", "c@example.test", "hidden@example.test"}));
  EXPECT_EQ(mail["subject"], "Alarm: Tür offen");
  EXPECT_EQ(mail["text"], "Event Tür offen of type test\r\n");
  EXPECT_EQ(mail["html"], nullptr);
  std::string const data = mail["data"];
  EXPECT_NE(data.find("\r\nFrom: camera@example.test\r\n"), std::string::npos) << data;
  EXPECT_NE(data.find("\r\nTo: a@example.test, b@example.test\r\nCc: c@example.test\r\n"), std::string::npos);
  EXPECT_NE(data.find("\r\nSubject: Alarm: =?UTF-8?B?VMO8cg==?= offen\r\n"), std::string::npos);
  EXPECT_NE(data.find("\r\nMIME-Version: 1.0\r\nContent-Type: text/plain; charset=utf-8\r\n"
                      "Content-Transfer-Encoding: quoted-printable\r\n\r\nEvent T=C3=BCr offen of type test\r\n"),
            std::string::npos);
  EXPECT_EQ(data.find("hidden"), std::string::npos);
  EXPECT_TRUE(data.starts_with("Date: ")) << data;
  EXPECT_NE(data.find("\r\nMessage-Id: <orv."), std::string::npos);
}

TEST_F(MailAction, NoValueFromTheEventAddsAHeaderOrARecipient) {
  Set(action_, "html_body", "<p>{{the_event.name}}</p>");
  std::string const attack = "x\r\nBcc: evil@example.test\r\n\r\n<b>";
  ASSERT_EQ(Fire(attack), 0U);
  auto const mail = server_->Next();
  EXPECT_EQ(mail["rcpt_tos"], (Texts{"a@example.test", "b@example.test"}));
  EXPECT_EQ(mail["subject"], "Alarm: xBcc: evil@example.test<b>");
  EXPECT_EQ(mail["text"], "Event " + attack + " of type test");
  EXPECT_EQ(mail["html"], "<p>x\r\nBcc: evil@example.test\r\n\r\n&lt;b&gt;</p>");
  std::string const data = mail["data"];
  std::string const header = data.substr(0, data.find("\r\n\r\n") + 2);
  EXPECT_EQ(header.find("\r\nBcc:"), std::string::npos) << header;
  EXPECT_EQ(header.find("evil@example.test\r\n"), std::string::npos) << header;
  EXPECT_NE(data.find("Content-Type: multipart/alternative;"), std::string::npos);
}

TEST_F(MailAction, LogsInWithStartTlsAndWithImplicitTls) {
  Set(action_, "ca_file", (kCertificates + "/ca.pem").c_str());
  Set(action_, "username", "alice");
  Set(action_, "password", "s3cret");
  Set(action_, "security", "starttls");
  Set(action_, "port", Integer(server_->Port("starttls")));
  ASSERT_EQ(Fire(), 0U);
  auto mail = server_->Next();
  EXPECT_EQ(mail["listener"], "starttls");
  EXPECT_EQ(mail["authenticated"], "alice");
  Set(action_, "security", "tls");
  Set(action_, "port", Integer(server_->Port("tls")));
  ASSERT_EQ(Fire(), 0U);
  mail = server_->Next();
  EXPECT_EQ(mail["listener"], "tls");
  EXPECT_EQ(mail["authenticated"], "alice");
}

TEST_F(MailAction, EveryFailureHasItsCode) {
  SilentListener const silent;
  FullListener const full;
  // Only the time-outs provoked are short: everything else, TLS set-up with
  // the system's CA certificates among it, may take long on a busy machine.
  enum class Wait { Long, Short };
  struct Case {
    std::string host;
    int port;
    std::vector<std::pair<std::string, std::string>> settings;
    std::uint32_t code;
    std::string detail;  // the start of what is logged
    Wait wait = Wait::Long;
  };
  int const plain = server_->Port("plain");
  std::vector<Case> const cases = {
      {"127.0.0.1", RefusedPort(), {}, 1, "Failed to connect to 127.0.0.1 port"},
      {"127.0.0.1", server_->Port("starttls"), {{"security", "starttls"}}, 1, "SSL certificate problem"},
      {"127.0.0.1", plain, {{"username", "alice"}, {"password", "wrong"}}, 2, "Login denied; the server said: 535"},
      {"127.0.0.1", plain, {{"from", "reject-sender@example.test"}}, 3, "MAIL failed: 550; the server said: 550"},
      {"127.0.0.1", plain, {{"to", "reject@example.test"}}, 3, "RCPT failed: 550; the server said: 550 5.1.1"},
      {"127.0.0.1", plain, {{"to", "reject-data@example.test"}}, 3, ""},
      {"127.0.0.1", plain, {{"to", "drop@example.test"}}, 3, ""},
      {"127.0.0.1", plain, {{"to", "slow@example.test"}}, 4, "Operation timed out after", Wait::Short},
      {"127.0.0.1", silent.Port(), {}, 4, "", Wait::Short},
      {"", plain, {}, 5, "the host is empty"},
      {"nothing.invalid", plain, {}, 6, "Could not resolve host: nothing.invalid"},
      {"127.0.0.1", plain, {{"body", "{{the_event.nothing}}"}}, 7, "the body is empty once rendered"},
      {"127.0.0.1", full.Port(), {}, 8, "", Wait::Short},
  };
  for (Case const& c : cases) {
    SetUp();
    Set(action_, "host", c.host.c_str());
    Set(action_, "port", Integer(c.port));
    if (c.wait == Wait::Short) {
      Set(action_, "connect_timeout_ms", Integer(300));
      Set(action_, "timeout_ms", Integer(600));
    }
    for (auto const& [name, value] : c.settings) {
      Set(action_, name, value.c_str());
    }
    auto const before = Logged().size();
    EXPECT_EQ(Fire(), c.code) << c.host << ":" << c.port;
    auto const logged = Logged();
    ASSERT_EQ(logged.size(), before + 1) << c.port;
    EXPECT_TRUE(logged.back().starts_with("orv.action.Mail: " + c.detail)) << logged.back();
    EXPECT_EQ(logged.back().find("wrong"), std::string::npos);
  }
}

TEST_F(MailAction, LogsThePasswordAsStarsWhereTheServerQuotesIt) {
  Set(action_, "username", "alice");
  Set(action_, "password", "s3cret");
  Set(action_, "to", "quote-login@example.test");
  EXPECT_EQ(Fire(), 3U);
  EXPECT_EQ(Logged(), (std::vector<std::string>{"orv.action.Mail: RCPT failed: 550; the server said: 550 5.7.1 "
                                                "refused for login alice:***"}));
}

TEST_F(MailAction, KeepsItsConnectionUntilAConnectionSettingChanges) {
  ASSERT_EQ(Fire(), 0U);
  int const first = server_->Next()["peer"];
  ASSERT_EQ(Fire(), 0U);
  EXPECT_EQ(server_->Next()["peer"], first);
  Set(action_, "ca_file", (kCertificates + "/ca.pem").c_str());
  ASSERT_EQ(Fire(), 0U);
  int const second = server_->Next()["peer"];
  EXPECT_NE(second, first);
  Set(action_, "subject", "no connection setting");
  ASSERT_EQ(Fire(), 0U);
  auto const mail = server_->Next();
  EXPECT_EQ(mail["peer"], second);
  EXPECT_EQ(mail["subject"], "no connection setting");
}

TEST_F(MailAction, RefusesBadSettingsNamingTheValue) {
  auto const message = [&](char const* name, object::Object const& value) {
    try {
      Set(action_, name, value);
    } catch (std::invalid_argument const& error) {
      return std::string(error.what());
    }
    return std::string("accepted");
  };
  using Text = object::Primitive<std::string>;
  EXPECT_EQ(message("security", Text("ssl")), "security 'ssl' is not one of none, starttls, tls");
  EXPECT_EQ(message("port", Integer(70000)), "port 70000 is not between 0 and 65535");
  EXPECT_EQ(message("from", Text("camera")), "from address 'camera' is not an address like name@example.test");
  EXPECT_EQ(message("to", object::Primitive<Texts>({"a@example.test", "b@x,c@y"})),
            "to address 'b@x,c@y' is not an address like name@example.test");
  EXPECT_EQ(message("timeout_ms", Integer(0)), "timeout_ms 0 is not between 1 and 3600000");
}

TEST_F(MailAction, ThePortFollowsTheSecurityUntilSet) {
  auto const port = [&] {
    std::vector<property::Schema> schemas;
    for (auto const& schema : action::registry::Get().GetMap()->at(action_->GetTypeNameId()).GetSchemas()) {
      schemas.push_back(schema);
    }
    for (auto const& schema : schemas) {
      if (schema.GetProperty()->GetName() == "port") {
        return schema.Instantiate(action_, property::context::Direction::FromOwner)
            ->GetObject()
            .As<property::Primitive<std::int64_t>>()
            .Get();
      }
    }
    return std::int64_t{-1};
  };
  Set(action_, "port", Integer(0));
  EXPECT_EQ(port(), 25);
  Set(action_, "security", "starttls");
  EXPECT_EQ(port(), 587);
  Set(action_, "security", "tls");
  EXPECT_EQ(port(), 465);
  Set(action_, "port", Integer(2525));
  EXPECT_EQ(port(), 2525);
}

TEST_F(MailAction, SettingsChangedBetweenEventsApplyOnEveryThreadFromTheNextEvent) {
  constexpr int kThreads = 3;
  constexpr int kEach = 2;
  constexpr int kAll = kThreads * kEach;
  auto const loginsReceived = [&] {
    std::vector<std::string> logins;
    for (int i = 0; i < kAll; ++i) {
      logins.push_back(server_->Next()["authenticated"]);
    }
    return logins;
  };
  Set(action_, "username", "alice");
  Set(action_, "password", "s3cret");
  EXPECT_EQ(ExecuteOnThreads(action_, kThreads, kEach), std::vector<std::uint32_t>(kAll, 0));
  EXPECT_EQ(loginsReceived(), Texts(kAll, "alice"));
  // The connections logged in as alice are open: none may carry the mails
  // after the change.
  Set(action_, "username", "");
  EXPECT_EQ(ExecuteOnThreads(action_, kThreads, kEach), std::vector<std::uint32_t>(kAll, 0));
  EXPECT_EQ(loginsReceived(), Texts(kAll, ""));
  Set(action_, "username", "alice");
  Set(action_, "password", "wr0ng");
  EXPECT_EQ(ExecuteOnThreads(action_, kThreads, kEach), std::vector<std::uint32_t>(kAll, 2));
  EXPECT_FALSE(server_->HasNext(std::chrono::milliseconds(50)));
  for (std::string const& line : Logged()) {
    EXPECT_EQ(line.find("wr0ng"), std::string::npos) << line;
  }
}

TEST_F(MailAction, ExecutesOnSeveralThreadsAtOnce) {
  constexpr int kThreads = 3;
  constexpr int kEach = 3;
  std::atomic<int> failures{0};
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([&, t] {
      for (int i = 0; i < kEach; ++i) {
        auto const event =
            std::make_shared<meta::data::Event const>(std::to_string(t) + "-" + std::to_string(i), "t", "c",
                                                      std::chrono::system_clock::now(), meta::data::Objects{});
        if (CodeOf([&] { static_cast<action::Action const&>(*action_).Execute(event); }) != 0) {
          ++failures;
        }
      }
    });
  }
  for (auto& thread : threads) {
    thread.join();
  }
  EXPECT_EQ(failures, 0);
  std::vector<std::string> subjects;
  for (int i = 0; i < kThreads * kEach; ++i) {
    subjects.push_back(server_->Next()["subject"]);
  }
  std::sort(subjects.begin(), subjects.end());
  EXPECT_EQ(subjects.front(), "Alarm: 0-0");
  EXPECT_EQ(subjects.back(), "Alarm: 2-2");
}

}  // namespace
}  // namespace orv::test
