#include "studio_server.hpp"

#include <httplib.h>
#include <sys/random.h>
#include <sys/socket.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <string_view>
#include <system_error>
#include <thread>

#include "../errors.hpp"
#include "../input_file.hpp"
#include "assets.hpp"

namespace orv::tool::studio {
namespace {

constexpr char kLocalAddress[] = "127.0.0.1";
constexpr char kTokenHeader[] = "X-Studio-Token";
constexpr char kJsonType[] = "application/json";
constexpr std::size_t kThreads = 32;
constexpr int kKeepAliveSeconds = 5;

// Only this page's own files run, nothing from elsewhere is loaded, and the
// page cannot be framed by another.
constexpr char kPagePolicy[] =
    "default-src 'none'; script-src 'self'; style-src 'self'; connect-src 'self'; img-src 'self' data:; "
    "base-uri 'none'; form-action 'none'; frame-ancestors 'none'";

void SetJson(httplib::Response& response, int status, nlohmann::json const& body) {
  response.status = status;
  // Replacing bad UTF-8 keeps a text cut by a limit from failing the answer.
  response.set_content(body.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace), kJsonType);
}

void SetError(httplib::Response& response, int status, std::string const& kind, std::string const& message) {
  SetJson(response, status, ErrorResponse(status, kind, message).body);
}

// Compares in time that does not depend on where the texts first differ.
bool SameSecret(std::string_view given, std::string_view secret) {
  unsigned difference = given.size() == secret.size() ? 0U : 1U;
  for (std::size_t i = 0; i < secret.size(); ++i) {
    char const c = i < given.size() ? given[i] : '\0';
    difference |= static_cast<unsigned>(static_cast<unsigned char>(c) ^ static_cast<unsigned char>(secret[i]));
  }
  return difference == 0;
}

// The media type of a Content-Type value, without parameters, in lower case.
std::string MediaType(std::string_view contentType) {
  std::string_view type = contentType.substr(0, contentType.find(';'));
  while (!type.empty() && (type.front() == ' ' || type.front() == '\t')) {
    type.remove_prefix(1);
  }
  while (!type.empty() && (type.back() == ' ' || type.back() == '\t')) {
    type.remove_suffix(1);
  }
  std::string lower(type);
  std::transform(lower.begin(), lower.end(), lower.begin(),
                 [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
  return lower;
}

// httplib matches paths as regular expressions: the asset's path, literally.
std::string RegexOf(std::string_view path) {
  std::string pattern;
  for (char c : path) {
    if (std::strchr(".+*?^$()[]{}|\\", c) != nullptr) {
      pattern += '\\';
    }
    pattern += c;
  }
  return pattern;
}

}  // namespace

std::string MakeToken() {
  std::array<unsigned char, 16> bytes{};
  std::size_t filled = 0;
  while (filled < bytes.size()) {
    ssize_t const got = getrandom(bytes.data() + filled, bytes.size() - filled, 0);
    if (got < 0) {
      if (errno == EINTR) {
        continue;
      }
      throw std::system_error(errno, std::generic_category(), "cannot read random bytes for the token");
    }
    filled += static_cast<std::size_t>(got);
  }
  static constexpr char kDigits[] = "0123456789abcdef";
  std::string token;
  for (unsigned char byte : bytes) {
    token += kDigits[byte >> 4U];
    token += kDigits[byte & 0x0FU];
  }
  return token;
}

Server::Server(Api const& api, std::string token)
    : api_(api), token_(std::move(token)), http_(std::make_unique<httplib::Server>()) {
  Route();
}

Server::~Server() = default;

std::uint16_t Server::Bind(std::uint16_t port) {
  int bound = port;
  if (port == 0) {
    bound = http_->bind_to_any_port(kLocalAddress);
  } else if (!http_->bind_to_port(kLocalAddress, port)) {
    bound = -1;
  }
  if (bound <= 0) {
    int const error = errno;
    throw InputError(std::string("cannot listen on ") + kLocalAddress + ":" + std::to_string(port) + ": " +
                     std::strerror(error) + (port == 0 ? "" : " (--port 0 picks a free port)"));
  }
  port_ = static_cast<std::uint16_t>(bound);
  return port_;
}

void Server::Serve() {
  // Marked as serving before the check, so that a Stop that comes in
  // between either is seen here or waits for the listening to begin.
  serving_ = true;
  if (port_ != 0 && !stopRequested_) {
    http_->listen_after_bind();
  }
  serving_ = false;
}

void Server::Stop() {
  stopRequested_ = true;
  // httplib's stop does nothing before the listening has begun, which would
  // leave a Serve that is just starting to listen for ever.
  while (serving_ && !http_->is_running()) {
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
  http_->stop();
}

void Server::Route() {
  httplib::Server& http = *http_;
  http.set_payload_max_length(limits::kRequestBytes);
  // httplib's default, SO_REUSEPORT, would let a second studio listen on the
  // same port and take a share of the connections: only SO_REUSEADDR, so a
  // restarted studio gets its port back at once and a taken one is an error.
  http.set_socket_options([](socket_t socket) {
    int const yes = 1;
    setsockopt(socket, SOL_SOCKET, SO_REUSEADDR, &yes, sizeof yes);
  });
  // Each keystroke is one small request: send it at once, and keep the
  // browser's connections while typing.
  http.set_tcp_nodelay(true);
  http.set_keep_alive_max_count(100'000);
  // An open connection holds one of the pool's threads even when idle, and a
  // browser keeps several, leaving some behind when it abandons a request:
  // enough threads for a few tabs, and idle connections closed soon.
  http.set_keep_alive_timeout(kKeepAliveSeconds);
  http.new_task_queue = [] { return new httplib::ThreadPool(kThreads); };

  http.set_pre_routing_handler([this](httplib::Request const& request, httplib::Response& response) {
    response.set_header("X-Content-Type-Options", "nosniff");
    response.set_header("Referrer-Policy", "no-referrer");
    response.set_header("Cache-Control", "no-store");
    // These refusals come before the body is read, so the connection closes after them.
    std::string const host = request.get_header_value("Host");
    std::string const port = std::to_string(port_);
    if (host != std::string(kLocalAddress) + ":" + port && host != "localhost:" + port) {
      response.set_header("Connection", "close");
      SetError(response, 403, "forbidden",
               "the Host header must be " + std::string(kLocalAddress) + ":" + port +
                   "; the studio answers requests to the local address only");
      return httplib::Server::HandlerResponse::Handled;
    }
    if (!request.path.starts_with("/api/")) {
      return httplib::Server::HandlerResponse::Unhandled;
    }
    if (!SameSecret(request.get_header_value(kTokenHeader), token_)) {
      response.set_header("Connection", "close");
      SetError(response, 403, "forbidden",
               std::string("the header ") + kTokenHeader +
                   " lacks the studio's token: open the address that orv-action studio printed");
      return httplib::Server::HandlerResponse::Handled;
    }
    if (request.method == "POST" && MediaType(request.get_header_value("Content-Type")) != kJsonType) {
      response.set_header("Connection", "close");
      SetError(response, 415, "request", "the request's Content-Type must be application/json");
      return httplib::Server::HandlerResponse::Handled;
    }
    return httplib::Server::HandlerResponse::Unhandled;
  });

  // What httplib answers itself (no such path, a body past the limit, a
  // request it cannot parse) gets a JSON error too.
  http.set_error_handler([](httplib::Request const& request, httplib::Response& response) {
    if (!response.body.empty()) {
      return;
    }
    if (response.status == 413) {
      SetError(response, 413, "request",
               "the request body is larger than " + DescribeBytes(limits::kRequestBytes) + ", the limit of a request");
    } else if (response.status == 404) {
      SetError(response, 404, "request", "no such resource: " + request.method + " " + request.path);
    } else {
      SetError(response, response.status, "request", "the server cannot handle this request");
    }
  });

  for (Asset const& asset : GetAssets()) {
    http.Get(RegexOf(asset.path), [&asset](httplib::Request const&, httplib::Response& response) {
      response.set_header("Content-Security-Policy", kPagePolicy);
      response.set_content(asset.content.data(), asset.content.size(), std::string(asset.contentType).c_str());
    });
  }

  auto const answer = [](httplib::Response& response, Response const& result) {
    SetJson(response, result.status, result.body);
  };
  http.Get("/api/examples",
           [this, answer](httplib::Request const&, httplib::Response& response) { answer(response, api_.Examples()); });
  http.Get("/api/types",
           [this, answer](httplib::Request const&, httplib::Response& response) { answer(response, api_.Types()); });
  http.Post("/api/data", [this, answer](httplib::Request const& request, httplib::Response& response) {
    answer(response, api_.Data(request.body));
  });
  http.Post("/api/render", [this, answer](httplib::Request const& request, httplib::Response& response) {
    answer(response, api_.Render(request.body));
  });
  http.Post("/api/test", [this, answer](httplib::Request const& request, httplib::Response& response) {
    answer(response, api_.Test(request.body));
  });
}

}  // namespace orv::tool::studio
