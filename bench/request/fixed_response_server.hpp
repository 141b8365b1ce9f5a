#pragma once

#include <time.h>

#include <atomic>
#include <chrono>
#include <cstdint>
#include <mutex>
#include <string>
#include <thread>

namespace orv::bench {

// An HTTP/1.1 server on 127.0.0.1 that answers every request with the same
// short 200 response and keeps connections open, on one thread of its own
// with epoll. It reads a request's head up to its blank line and as many
// body bytes as Content-Length says, and does nothing else: its cost per
// request is a few system calls, so that it never limits a client's rate.
class FixedResponseServer {
 public:
  FixedResponseServer();
  FixedResponseServer(FixedResponseServer const&) = delete;
  FixedResponseServer& operator=(FixedResponseServer const&) = delete;
  ~FixedResponseServer();

  int Port() const noexcept { return port_; }
  std::uint64_t Requests() const noexcept { return requests_.load(std::memory_order_relaxed); }
  // The CPU time the server's thread has used.
  std::chrono::nanoseconds CpuTime() const;
  // Keeps the bytes of the next request received; CapturedRequest returns
  // them once it has been answered (to check that two clients send the
  // same request).
  void CaptureNextRequest();
  std::string CapturedRequest();

 private:
  void Serve();
  bool Answer(int fd, std::string& pending);

  int listener_ = -1;
  int epoll_ = -1;
  int wake_ = -1;  // an eventfd that ends the loop
  int port_ = 0;
  std::atomic<std::uint64_t> requests_{0};
  std::atomic<bool> capture_{false};
  std::mutex captureMutex_;
  std::string captured_;
  std::thread thread_;
  clockid_t threadClock_{};
};

}  // namespace orv::bench
