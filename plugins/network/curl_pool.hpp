#pragma once

#include <curl/curl.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <mutex>
#include <vector>

namespace orv::plugins::network {

// The libcurl easy handles of one action: one per call running at once, kept
// afterwards so that the next call reuses its open connections, TLS sessions
// and resolved names. Thread-safe.
class CurlPool {
 public:
  // A handle lent to one call; returns it to its pool when destroyed.
  class Lease {
   public:
    Lease(Lease&&) noexcept = default;
    Lease& operator=(Lease&&) = delete;
    ~Lease();
    // The handle, its options reset to libcurl's defaults (connections and
    // caches kept).
    CURL* Get() const noexcept { return handle_.get(); }

   private:
    friend class CurlPool;
    struct Cleanup {
      void operator()(CURL* handle) const noexcept { curl_easy_cleanup(handle); }
    };
    using Handle = std::unique_ptr<CURL, Cleanup>;
    Lease(CurlPool& pool, Handle handle, std::uint64_t generation) noexcept
        : pool_(&pool), handle_(std::move(handle)), generation_(generation) {}
    CurlPool* pool_;
    Handle handle_;
    std::uint64_t generation_;  // of the pool when lent
  };

  // Initialises libcurl once per process. At most `kept` idle handles stay
  // open; more run at once when more calls do.
  explicit CurlPool(std::size_t kept = 4);
  CurlPool(CurlPool const&) = delete;
  CurlPool& operator=(CurlPool const&) = delete;
  ~CurlPool();

  // An idle handle, or a new one. Throws std::runtime_error when libcurl
  // cannot make one.
  Lease Acquire();

  // Closes the idle handles and their connections (after a change of
  // settings that the open connections were made with); a handle lent out
  // at the time is closed when it comes back. The settings themselves are
  // the caller's to guard: an action's host never changes them during
  // delivery.
  void Clear();

 private:
  void Return(Lease::Handle handle, std::uint64_t generation) noexcept;

  std::size_t kept_;
  std::mutex mutex_;
  std::vector<Lease::Handle> idle_;
  std::uint64_t generation_ = 0;  // how many times Clear ran
};

}  // namespace orv::plugins::network
