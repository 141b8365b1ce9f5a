#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>

#include "studio_api.hpp"

namespace httplib {
class Server;
}  // namespace httplib

namespace orv::tool::studio {

// The studio's HTTP server: the page at "/" and the API under "/api/", on
// 127.0.0.1 only. Every request must name 127.0.0.1:<port> or
// localhost:<port> as its Host (so that a foreign name rebound to the
// loopback address is refused); every API call must carry the token in the
// header X-Studio-Token, and every POST a body of type application/json, so
// that other web pages the user visits can neither read nor fire anything.
class Server {
 public:
  // `token` is the secret that API calls must carry.
  Server(Api const& api, std::string token);
  ~Server();
  Server(Server const&) = delete;
  Server& operator=(Server const&) = delete;

  // Binds 127.0.0.1:`port` (0: a free port) and returns the port bound.
  // Throws InputError when the port cannot be had.
  std::uint16_t Bind(std::uint16_t port);

  // Serves until Stop is called; returns at once when Bind did not succeed.
  void Serve();

  // Makes Serve return once the requests under way are answered, or keeps
  // it from serving when it has not begun. Any thread, any number of times.
  void Stop();

 private:
  void Route();

  Api const& api_;
  std::string token_;
  std::uint16_t port_ = 0;
  std::unique_ptr<httplib::Server> http_;
  std::atomic<bool> serving_ = false;
  std::atomic<bool> stopRequested_ = false;
};

// A new random token: 32 hexadecimal digits from the kernel's random source.
std::string MakeToken();

}  // namespace orv::tool::studio
