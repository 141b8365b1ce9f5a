#include "servers.hpp"

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <poll.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <mutex>
#include <stdexcept>
#include <thread>

#include "orv/action/exception.hpp"
#include "orv/action/registry.hpp"
#include "orv/meta/data/event.hpp"
#include "orv/object/primitive.hpp"
#include "orv/property/primitive.hpp"

namespace orv::test {
namespace {

sockaddr_in Loopback(int port) {
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  address.sin_port = htons(static_cast<std::uint16_t>(port));
  return address;
}

// A listening loopback socket on a free port.
int Listen(int backlog, int& port) {
  int const fd = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  sockaddr_in address = Loopback(0);
  socklen_t size = sizeof address;
  if (fd < 0 || bind(fd, reinterpret_cast<sockaddr*>(&address), size) != 0 || listen(fd, backlog) != 0 ||
      getsockname(fd, reinterpret_cast<sockaddr*>(&address), &size) != 0) {
    throw std::runtime_error("cannot listen on loopback");
  }
  port = ntohs(address.sin_port);
  return fd;
}

}  // namespace

void MakeCertificates(std::string const& directory) {
  std::string const command = "bash '" ORV_TEST_SUPPORT_DIR "/make_certificates.sh' '" + directory + "'";
  if (std::system(command.c_str()) != 0) {
    throw std::runtime_error("cannot make the test certificates: " + command);
  }
}

ServerProcess::ServerProcess(std::string const& script, std::string const& certificates, int port) {
  int input[2];
  int output[2];
  if (pipe2(input, O_CLOEXEC) != 0 || pipe2(output, O_CLOEXEC) != 0) {
    throw std::runtime_error("cannot make pipes");
  }
  std::string const path = ORV_TEST_SUPPORT_DIR "/" + script;
  std::string const portText = std::to_string(port);
  pid_t const parent = getpid();
  pid_ = fork();
  if (pid_ == 0) {
    // Dies with the test process, whatever ends it.
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (getppid() != parent) {
      _exit(1);
    }
    dup2(input[0], 0);
    dup2(output[1], 1);
    execl("/usr/bin/python3", "python3", path.c_str(), certificates.c_str(), port != 0 ? portText.c_str() : nullptr,
          static_cast<char*>(nullptr));
    _exit(127);
  }
  close(input[0]);
  close(output[1]);
  input_ = input[1];
  output_ = output[0];
  if (pid_ < 0) {
    throw std::runtime_error("cannot start " + path);
  }
  ports_ = nlohmann::json::parse(ReadLine(std::chrono::seconds(20)));
}

ServerProcess::~ServerProcess() {
  close(input_);
  close(output_);
  if (pid_ > 0) {
    kill(pid_, SIGKILL);
    waitpid(pid_, nullptr, 0);
  }
}

std::string ServerProcess::ReadLine(std::chrono::milliseconds timeout) {
  auto const deadline = std::chrono::steady_clock::now() + timeout;
  while (true) {
    auto const end = buffer_.find('\n');
    if (end != std::string::npos) {
      std::string line = buffer_.substr(0, end);
      buffer_.erase(0, end + 1);
      return line;
    }
    auto const left =
        std::chrono::duration_cast<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now()).count();
    pollfd poller{output_, POLLIN, 0};
    if (left <= 0 || poll(&poller, 1, static_cast<int>(left)) <= 0) {
      throw std::runtime_error("the test server said nothing in time");
    }
    char chunk[4096];
    ssize_t const got = read(output_, chunk, sizeof chunk);
    if (got <= 0) {
      throw std::runtime_error("the test server ended");
    }
    buffer_.append(chunk, static_cast<std::size_t>(got));
  }
}

nlohmann::json ServerProcess::Next(std::chrono::milliseconds timeout) {
  return nlohmann::json::parse(ReadLine(timeout));
}

bool ServerProcess::HasNext(std::chrono::milliseconds timeout) {
  if (buffer_.find('\n') != std::string::npos) {
    return true;
  }
  pollfd poller{output_, POLLIN, 0};
  return poll(&poller, 1, static_cast<int>(timeout.count())) > 0;
}

int RefusedPort() {
  int port = 0;
  int const fd = Listen(1, port);
  close(fd);
  return port;
}

SilentListener::SilentListener() { socket_ = Listen(16, port_); }
SilentListener::~SilentListener() { close(socket_); }

FullListener::FullListener() {
  socket_ = Listen(0, port_);
  // A backlog of 0 holds one connection; the ones after it are not answered.
  sockaddr_in const address = Loopback(port_);
  for (int i = 0; i < 3; ++i) {
    int const fd = socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
    connect(fd, reinterpret_cast<sockaddr const*>(&address), sizeof address);
    fillers_.push_back(fd);
  }
  usleep(50'000);
}

FullListener::~FullListener() {
  for (int const fd : fillers_) {
    close(fd);
  }
  close(socket_);
}

std::shared_ptr<action::Action> MakeAction(char const* typeName) {
  auto action = action::Action::Make(hash::MurmurThree32(typeName));
  if (!action) {
    throw std::runtime_error(std::string("no action type ") + typeName);
  }
  return action;
}

namespace {

std::shared_ptr<property::Property> Live(std::shared_ptr<action::Action> const& action, std::string const& name) {
  std::vector<property::Schema> schemas;
  {
    auto const map = action::registry::Get().GetMap();
    schemas = map->at(action->GetTypeNameId()).GetSchemas();
  }
  for (auto const& schema : schemas) {
    if (schema.GetProperty()->GetName() == name) {
      return schema.Instantiate(action, property::context::Direction::FromOwner);
    }
  }
  throw std::invalid_argument("no property " + name);
}

}  // namespace

std::vector<std::uint32_t> ExecuteOnThreads(std::shared_ptr<action::Action> const& action, int threads, int each) {
  std::mutex mutex;
  std::vector<std::uint32_t> codes;
  std::vector<std::thread> running;
  for (int t = 0; t < threads; ++t) {
    running.emplace_back([&, t] {
      for (int i = 0; i < each; ++i) {
        auto const event =
            std::make_shared<meta::data::Event const>(std::to_string(t) + "-" + std::to_string(i), "t", "c",
                                                      std::chrono::system_clock::now(), meta::data::Objects{});
        auto const code = CodeOf([&] { static_cast<action::Action const&>(*action).Execute(event); });
        std::lock_guard const lock(mutex);
        codes.push_back(code);
      }
    });
  }
  for (auto& thread : running) {
    thread.join();
  }
  return codes;
}

void Set(std::shared_ptr<action::Action> const& action, std::string const& name, object::Object const& value) {
  Live(action, name)->Set(value);
}

void Set(std::shared_ptr<action::Action> const& action, std::string const& name, char const* text) {
  auto const property = Live(action, name);
  if (property->GetTypeNameId() == object::TypeIdOf<property::Primitive<std::vector<std::string>>>) {
    property->Set(object::Primitive<std::vector<std::string>>({text}));
  } else {
    property->Set(object::Primitive<std::string>(text));
  }
}

}  // namespace orv::test
