#include "network/curl_pool.hpp"

#include <stdexcept>

namespace orv::plugins::network {
namespace {

void InitialiseOnce() {
  static bool const initialised = [] {
    if (curl_global_init(CURL_GLOBAL_DEFAULT) != CURLE_OK) {
      throw std::runtime_error("libcurl could not be initialised");
    }
    return true;
  }();
  (void)initialised;
}

}  // namespace

CurlPool::Lease::~Lease() {
  if (handle_) {
    pool_->Return(std::move(handle_), generation_);
  }
}

CurlPool::CurlPool(std::size_t kept) : kept_(kept) { InitialiseOnce(); }

CurlPool::~CurlPool() = default;

CurlPool::Lease CurlPool::Acquire() {
  Lease::Handle handle;
  std::uint64_t generation = 0;
  {
    std::lock_guard const lock(mutex_);
    generation = generation_;
    if (!idle_.empty()) {
      handle = std::move(idle_.back());
      idle_.pop_back();
    }
  }
  if (handle) {
    // Options go; connections, TLS sessions and the name cache stay.
    curl_easy_reset(handle.get());
  } else {
    handle.reset(curl_easy_init());
    if (!handle) {
      throw std::runtime_error("libcurl could not make a transfer handle");
    }
  }
  return Lease(*this, std::move(handle), generation);
}

void CurlPool::Clear() {
  std::vector<Lease::Handle> closing;
  std::lock_guard const lock(mutex_);
  ++generation_;
  closing.swap(idle_);
}

void CurlPool::Return(Lease::Handle handle, std::uint64_t generation) noexcept {
  std::lock_guard const lock(mutex_);
  if (generation == generation_ && idle_.size() < kept_) {
    try {
      idle_.push_back(std::move(handle));
    } catch (...) {
      // Out of memory: the handle is closed instead of kept.
    }
  }
}

}  // namespace orv::plugins::network
