#pragma once

#include <sys/types.h>

#include <chrono>
#include <memory>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "orv/action/action.hpp"
#include "orv/action/exception.hpp"
#include "orv/object/object.hpp"

namespace orv::test {

// Makes the test certificates afresh in `directory` (make_certificates.sh):
// ca.pem, server.pem/key, client.pem/key, self.pem/key.
void MakeCertificates(std::string const& directory);

// A test server script run by /usr/bin/python3 with its certificate
// directory, and `port` when it is not 0 (http_server.py listens there for
// "http"). The child dies with the test process (and when its standard
// input closes), so no server outlives a test, even a crashed one.
class ServerProcess {
 public:
  ServerProcess(std::string const& script, std::string const& certificates, int port = 0);
  ServerProcess(ServerProcess const&) = delete;
  ServerProcess& operator=(ServerProcess const&) = delete;
  ~ServerProcess();

  // The ports the server printed first, by listener name.
  int Port(std::string const& listener) const { return ports_.at(listener).get<int>(); }
  // The next record the server printed; throws std::runtime_error after
  // `timeout` without one.
  nlohmann::json Next(std::chrono::milliseconds timeout = std::chrono::seconds(30));
  // Whether a record arrives within `timeout`.
  bool HasNext(std::chrono::milliseconds timeout);

 private:
  std::string ReadLine(std::chrono::milliseconds timeout);
  pid_t pid_ = -1;
  int input_ = -1;
  int output_ = -1;
  std::string buffer_;
  nlohmann::json ports_;
};

// A loopback port that nothing listens on: connecting is refused.
int RefusedPort();

// A loopback listener that never accepts: connections are made (by the
// kernel) and then nothing is ever said on them.
class SilentListener {
 public:
  SilentListener();
  ~SilentListener();
  int Port() const { return port_; }

 private:
  int socket_ = -1;
  int port_ = 0;
};

// A loopback listener whose accept queue is full: new connections get no
// answer at all, so connecting times out without leaving the machine.
class FullListener {
 public:
  FullListener();
  ~FullListener();
  int Port() const { return port_; }

 private:
  int socket_ = -1;
  int port_ = 0;
  std::vector<int> fillers_;
};

// The action of registered type `typeName`, from the loaded plug-ins.
std::shared_ptr<action::Action> MakeAction(char const* typeName);

// Sets the property `name` of `action` through its schema, as a host does;
// text sets a string list to the one-element list.
void Set(std::shared_ptr<action::Action> const& action, std::string const& name, object::Object const& value);
void Set(std::shared_ptr<action::Action> const& action, std::string const& name, char const* text);

// Runs `each` events named "<thread>-<index>" through Execute of `action` on
// each of `threads` threads at once, as a host delivering on several threads
// does, and returns their codes (0 for success) in no particular order.
std::vector<std::uint32_t> ExecuteOnThreads(std::shared_ptr<action::Action> const& action, int threads, int each);

// Runs `call`, which must throw orv::action::Exception, and returns its code
// (0 when it threw nothing).
template <class Call>
std::uint32_t CodeOf(Call call) {
  try {
    call();
  } catch (action::Exception const& failure) {
    return static_cast<std::uint32_t>(failure.GetCode());
  }
  return 0;
}

}  // namespace orv::test
