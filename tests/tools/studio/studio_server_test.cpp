#include "studio_server.hpp"

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <httplib.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstdint>
#include <nlohmann/json.hpp>
#include <string>
#include <thread>
#include <vector>

#include "assets.hpp"
#include "event_file.hpp"

namespace orv::tool::studio {
namespace {

using nlohmann::json;

std::string const kGoldenPath = ORV_EXAMPLES_DIR "/golden/golden_event.json";

json Error(std::string const& kind, std::string const& message) {
  return {{"error", {{"kind", kind}, {"message", message}}}};
}

// A studio server on a free port of 127.0.0.1, serving on a thread of its own.
class StudioServer : public testing::Test {
 protected:
  StudioServer()
      : api_({{"golden", "Golden", "golden_event.json", ReadEventFile(kGoldenPath)}}, "T"),
        token_(MakeToken()),
        server_(api_, token_),
        port_(server_.Bind(0)),
        serving_([this] { server_.Serve(); }),
        client_("127.0.0.1", port_) {}

  ~StudioServer() override {
    server_.Stop();
    serving_.join();
  }

  std::string Host() const { return "127.0.0.1:" + std::to_string(port_); }

  httplib::Headers WithToken() const { return {{"X-Studio-Token", token_}}; }

  httplib::Result PostJson(std::string const& path, std::string const& body) {
    return client_.Post(path.c_str(), WithToken(), body, "application/json");
  }

  Api api_;
  std::string token_;
  Server server_;
  std::uint16_t port_;
  std::thread serving_;
  httplib::Client client_;
};

TEST(StudioToken, IsThirtyTwoHexadecimalDigitsAndNewEachTime) {
  std::string const first = MakeToken();
  EXPECT_EQ(first.size(), 32U);
  EXPECT_EQ(first.find_first_not_of("0123456789abcdef"), std::string::npos) << first;
  EXPECT_NE(MakeToken(), first);
}

TEST_F(StudioServer, ServesThePageFromTheProgram) {
  for (Asset const& asset : GetAssets()) {
    auto const result = client_.Get(std::string(asset.path).c_str());
    ASSERT_TRUE(result) << asset.path;
    EXPECT_EQ(result->status, 200);
    EXPECT_EQ(result->body, asset.content);
    EXPECT_EQ(result->get_header_value("Content-Type"), asset.contentType);
    EXPECT_EQ(result->get_header_value("Content-Security-Policy"),
              "default-src 'none'; script-src 'self'; style-src 'self'; connect-src 'self'; img-src 'self' data:; "
              "base-uri 'none'; form-action 'none'; frame-ancestors 'none'");
    EXPECT_EQ(result->get_header_value("X-Content-Type-Options"), "nosniff");
  }
}

TEST_F(StudioServer, AnswersTheApiWithTheToken) {
  auto const examples = client_.Get("/api/examples", WithToken());
  ASSERT_TRUE(examples);
  EXPECT_EQ(examples->status, 200);
  EXPECT_EQ(examples->get_header_value("Content-Type"), "application/json");
  EXPECT_EQ(json::parse(examples->body), api_.Examples().body);

  auto const render = PostJson("/api/render", R"({"event": {"id": "golden"}, "template": "{{the_event.name}}"})");
  ASSERT_TRUE(render);
  EXPECT_EQ(render->status, 200);
  EXPECT_EQ(json::parse(render->body), json({{"text", "Entrance watch"}, {"missing", json::array()}}));

  auto const data = PostJson("/api/data", R"({"event": {"id": "golden"}})");
  ASSERT_TRUE(data);
  EXPECT_EQ(data->status, 200);
  EXPECT_EQ(json::parse(data->body), api_.Data(R"({"event": {"id": "golden"}})").body);

  // A media type's parameters and case do not matter.
  auto const charset = client_.Post("/api/render", WithToken(), R"({"event": {"id": "golden"}, "template": "x"})",
                                    "Application/JSON; charset=utf-8");
  ASSERT_TRUE(charset);
  EXPECT_EQ(charset->status, 200);
}

TEST_F(StudioServer, PassesTheApisErrorsOn) {
  auto const malformed = PostJson("/api/render", "{\"event\": ");
  ASSERT_TRUE(malformed);
  EXPECT_EQ(malformed->status, 400);
  EXPECT_EQ(json::parse(malformed->body), api_.Render("{\"event\": ").body);

  std::string const syntax = R"({"event": {"id": "golden"}, "template": "{{#a}}"})";
  auto const error = PostJson("/api/render", syntax);
  ASSERT_TRUE(error);
  EXPECT_EQ(error->status, 422);
  EXPECT_EQ(json::parse(error->body), api_.Render(syntax).body);
}

TEST_F(StudioServer, RefusesApiCallsWithoutTheToken) {
  json const refusal = Error("forbidden",
                             "the header X-Studio-Token lacks the studio's token: open the address that "
                             "orv-action studio printed");
  std::string wrong = token_;
  wrong.back() = wrong.back() == '0' ? '1' : '0';
  for (httplib::Headers const& headers :
       {httplib::Headers{}, httplib::Headers{{"X-Studio-Token", wrong}},
        httplib::Headers{{"X-Studio-Token", token_ + "0"}}, httplib::Headers{{"X-Studio-Token", ""}}}) {
    auto const get = client_.Get("/api/examples", headers);
    ASSERT_TRUE(get);
    EXPECT_EQ(get->status, 403);
    EXPECT_EQ(json::parse(get->body), refusal);
    auto const post =
        client_.Post("/api/render", headers, R"({"event": {"id": "golden"}, "template": "x"})", "application/json");
    ASSERT_TRUE(post);
    EXPECT_EQ(post->status, 403);
    EXPECT_EQ(json::parse(post->body), refusal);
  }
  // The token in the address is the page's, never the API's.
  auto const query = client_.Get(("/api/examples?token=" + token_).c_str());
  ASSERT_TRUE(query);
  EXPECT_EQ(query->status, 403);
}

TEST_F(StudioServer, RefusesPostsThatAreNotJson) {
  json const refusal = Error("request", "the request's Content-Type must be application/json");
  for (char const* type :
       {"application/x-www-form-urlencoded", "multipart/form-data; boundary=x", "text/plain", "application/jsonx"}) {
    for (char const* path : {"/api/render", "/api/data", "/api/test"}) {
      auto const result = client_.Post(path, WithToken(), R"({"event": {"id": "golden"}, "template": "x"})", type);
      ASSERT_TRUE(result) << type;
      EXPECT_EQ(result->status, 415) << type << " " << path;
      EXPECT_EQ(json::parse(result->body), refusal) << type << " " << path;
    }
  }
}

TEST_F(StudioServer, RefusesForeignHostHeaders) {
  std::string const port = std::to_string(port_);
  json const refusal = Error("forbidden", "the Host header must be 127.0.0.1:" + port +
                                              "; the studio answers requests to the local address only");
  for (std::string const& host :
       {std::string("attacker.invalid:") + port, std::string("attacker.invalid"), std::string("127.0.0.1"),
        std::string("127.0.0.1:1"), std::string("localhost.attacker.invalid:") + port, std::string("")}) {
    for (char const* path : {"/", "/api/examples"}) {
      httplib::Headers headers = WithToken();
      headers.emplace("Host", host);
      auto const result = client_.Get(path, headers);
      ASSERT_TRUE(result) << host;
      EXPECT_EQ(result->status, 403) << host << " " << path;
      EXPECT_EQ(json::parse(result->body), refusal) << host << " " << path;
    }
  }
  httplib::Headers local = WithToken();
  local.emplace("Host", "localhost:" + port);
  auto const result = client_.Get("/api/examples", local);
  ASSERT_TRUE(result);
  EXPECT_EQ(result->status, 200);
}

TEST_F(StudioServer, RefusesABodyPastTheLimit) {
  std::string const body(limits::kRequestBytes + 1, ' ');
  auto const result = PostJson("/api/render", body);
  ASSERT_TRUE(result);
  EXPECT_EQ(result->status, 413);
  EXPECT_EQ(json::parse(result->body),
            Error("request", "the request body is larger than 20 MiB (20971520 bytes), the limit of a request"));
}

TEST_F(StudioServer, AnswersUnknownPathsWithJson) {
  auto const result = client_.Get("/api/nope", WithToken());
  ASSERT_TRUE(result);
  EXPECT_EQ(result->status, 404);
  EXPECT_EQ(json::parse(result->body), Error("request", "no such resource: GET /api/nope"));
  auto const page = client_.Get("/other.html");
  ASSERT_TRUE(page);
  EXPECT_EQ(page->status, 404);
  EXPECT_EQ(json::parse(page->body), Error("request", "no such resource: GET /other.html"));
}

// Connects to `address`:`port`; true when the connection is accepted.
bool Connects(char const* address, std::uint16_t port) {
  int const socket = ::socket(AF_INET, SOCK_STREAM, 0);
  sockaddr_in target{};
  target.sin_family = AF_INET;
  target.sin_port = htons(port);
  inet_pton(AF_INET, address, &target.sin_addr);
  // NOLINTNEXTLINE: the sockets API takes a sockaddr.
  bool const connected = ::connect(socket, reinterpret_cast<sockaddr const*>(&target), sizeof target) == 0;
  ::close(socket);
  return connected;
}

TEST_F(StudioServer, ListensOn127001Only) {
  EXPECT_TRUE(Connects("127.0.0.1", port_));
  // Another loopback address reaches any socket bound to all addresses.
  EXPECT_FALSE(Connects("127.0.0.2", port_));
}

TEST_F(StudioServer, IdleConnectionsLeaveRoomForRequests) {
  // A browser keeps connections open, and leaves some behind.
  std::vector<int> idle;
  for (int i = 0; i < 12; ++i) {
    int const socket = ::socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in target{};
    target.sin_family = AF_INET;
    target.sin_port = htons(port_);
    inet_pton(AF_INET, "127.0.0.1", &target.sin_addr);
    // NOLINTNEXTLINE: the sockets API takes a sockaddr.
    ASSERT_EQ(::connect(socket, reinterpret_cast<sockaddr const*>(&target), sizeof target), 0);
    idle.push_back(socket);
  }
  client_.set_read_timeout(3, 0);
  auto const result = client_.Get("/api/examples", WithToken());
  for (int socket : idle) {
    ::close(socket);
  }
  ASSERT_TRUE(result);
  EXPECT_EQ(result->status, 200);
}

TEST_F(StudioServer, AnswersConcurrentRenders) {
  std::vector<std::thread> clients;
  std::vector<std::string> answers(8);
  for (std::size_t i = 0; i < answers.size(); ++i) {
    clients.emplace_back([this, i, &answers] {
      httplib::Client client("127.0.0.1", port_);
      for (int round = 0; round < 20; ++round) {
        json const request = {{"event", {{"id", "golden"}}}, {"template", "{{the_event.name}} " + std::to_string(i)}};
        auto const result = client.Post("/api/render", WithToken(), request.dump(), "application/json");
        answers[i] = result ? result->body : "no answer";
        if (!result || result->status != 200) {
          return;
        }
      }
    });
  }
  for (std::thread& client : clients) {
    client.join();
  }
  for (std::size_t i = 0; i < answers.size(); ++i) {
    EXPECT_EQ(json::parse(answers[i], nullptr, false),
              json({{"text", "Entrance watch " + std::to_string(i)}, {"missing", json::array()}}));
  }
}

TEST(StudioServerStop, BeforeServingKeepsItFromServing) {
  Api const api({}, "");
  Server server(api, "t");
  server.Bind(0);
  server.Stop();
  server.Serve();  // returns at once
  SUCCEED();
}

TEST(StudioServerPort, ATakenPortIsAClearError) {
  Api const api({}, "");
  Server first(api, "t");
  std::uint16_t const port = first.Bind(0);
  Server second(api, "t");
  try {
    second.Bind(port);
    FAIL() << "bound a taken port";
  } catch (std::exception const& error) {
    EXPECT_EQ(std::string(error.what()), "cannot listen on 127.0.0.1:" + std::to_string(port) +
                                             ": Address already in use (--port 0 picks a free port)");
  }
}

}  // namespace
}  // namespace orv::tool::studio
