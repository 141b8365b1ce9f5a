#include "fixed_response_server.hpp"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <pthread.h>
#include <sys/epoll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <charconv>
#include <stdexcept>
#include <string_view>
#include <system_error>
#include <unordered_map>

namespace orv::bench {
namespace {

constexpr std::string_view kResponse = "HTTP/1.1 200 OK\r\nContent-Type: text/plain\r\nContent-Length: 2\r\n\r\nok";

[[noreturn]] void Fail(char const* what) { throw std::system_error(errno, std::generic_category(), what); }

// The value of Content-Length in a request head, 0 when there is none.
std::size_t ContentLength(std::string_view head) {
  constexpr std::string_view kName = "\r\ncontent-length:";
  for (std::size_t line = head.find("\r\n"); line != std::string_view::npos; line = head.find("\r\n", line + 2)) {
    std::string_view const rest = head.substr(line);
    if (rest.size() > kName.size() && std::equal(kName.begin(), kName.end(), rest.begin(), [](char a, char b) {
          return a == std::tolower(static_cast<unsigned char>(b));
        })) {
      std::string_view value = rest.substr(kName.size());
      value.remove_prefix(std::min(value.find_first_not_of(' '), value.size()));
      std::size_t length = 0;
      std::from_chars(value.data(), value.data() + value.size(), length);
      return length;
    }
  }
  return 0;
}

}  // namespace

FixedResponseServer::FixedResponseServer() {
  listener_ = socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  socklen_t size = sizeof address;
  if (listener_ < 0 || bind(listener_, reinterpret_cast<sockaddr*>(&address), size) != 0 ||
      listen(listener_, 64) != 0 || getsockname(listener_, reinterpret_cast<sockaddr*>(&address), &size) != 0) {
    Fail("cannot listen on loopback");
  }
  port_ = ntohs(address.sin_port);
  epoll_ = epoll_create1(EPOLL_CLOEXEC);
  wake_ = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
  if (epoll_ < 0 || wake_ < 0) {
    Fail("cannot make the event loop");
  }
  for (int const fd : {listener_, wake_}) {
    epoll_event event{};
    event.events = EPOLLIN;
    event.data.fd = fd;
    epoll_ctl(epoll_, EPOLL_CTL_ADD, fd, &event);
  }
  thread_ = std::thread([this] { Serve(); });
  if (pthread_getcpuclockid(thread_.native_handle(), &threadClock_) != 0) {
    Fail("cannot read the server thread's clock");
  }
}

FixedResponseServer::~FixedResponseServer() {
  std::uint64_t const one = 1;
  if (write(wake_, &one, sizeof one) != sizeof one) {
    std::terminate();
  }
  thread_.join();
  close(wake_);
  close(epoll_);
  close(listener_);
}

std::chrono::nanoseconds FixedResponseServer::CpuTime() const {
  timespec time{};
  if (clock_gettime(threadClock_, &time) != 0) {
    return {};
  }
  return std::chrono::seconds(time.tv_sec) + std::chrono::nanoseconds(time.tv_nsec);
}

void FixedResponseServer::CaptureNextRequest() {
  std::lock_guard const lock(captureMutex_);
  captured_.clear();
  capture_.store(true);
}

std::string FixedResponseServer::CapturedRequest() {
  std::lock_guard const lock(captureMutex_);
  return captured_;
}

// Answers every complete request in `pending` and drops it; false when
// writing fails.
bool FixedResponseServer::Answer(int fd, std::string& pending) {
  while (true) {
    auto const headEnd = pending.find("\r\n\r\n");
    if (headEnd == std::string::npos) {
      return true;
    }
    std::size_t const total = headEnd + 4 + ContentLength(std::string_view(pending).substr(0, headEnd));
    if (pending.size() < total) {
      return true;
    }
    if (capture_.load(std::memory_order_relaxed)) {
      std::lock_guard const lock(captureMutex_);
      captured_ = pending.substr(0, total);
      capture_.store(false);
    }
    pending.erase(0, total);
    requests_.fetch_add(1, std::memory_order_relaxed);
    // Responses are tiny: one send fits in any socket buffer.
    if (send(fd, kResponse.data(), kResponse.size(), MSG_NOSIGNAL) != static_cast<ssize_t>(kResponse.size())) {
      return false;
    }
  }
}

void FixedResponseServer::Serve() {
  std::unordered_map<int, std::string> connections;
  epoll_event events[64];
  char buffer[16384];
  while (true) {
    int const ready = epoll_wait(epoll_, events, 64, -1);
    for (int i = 0; i < ready; ++i) {
      int const fd = events[i].data.fd;
      if (fd == wake_) {
        for (auto const& connection : connections) {
          close(connection.first);
        }
        return;
      }
      if (fd == listener_) {
        int const client = accept4(listener_, nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC);
        if (client >= 0) {
          int const on = 1;
          setsockopt(client, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
          epoll_event event{};
          event.events = EPOLLIN;
          event.data.fd = client;
          epoll_ctl(epoll_, EPOLL_CTL_ADD, client, &event);
          connections[client];
        }
        continue;
      }
      std::string& pending = connections[fd];
      ssize_t const got = recv(fd, buffer, sizeof buffer, 0);
      if (got > 0) {
        pending.append(buffer, static_cast<std::size_t>(got));
      }
      if (got == 0 || (got < 0 && errno != EAGAIN) || !Answer(fd, pending)) {
        epoll_ctl(epoll_, EPOLL_CTL_DEL, fd, nullptr);
        close(fd);
        connections.erase(fd);
      }
    }
  }
}

}  // namespace orv::bench
