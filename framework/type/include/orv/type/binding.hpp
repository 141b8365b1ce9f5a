#pragma once

#include <functional>

#include "orv/type/export.hpp"

namespace orv::type {

// The move-only handle of one subscription. The subscription ends when the
// handle is unbound, assigned over or destroyed; once any of these returns, the
// source never calls that subscription's callback again.
class ORV_TYPE_API Binding {
 public:
  // An empty handle.
  Binding() noexcept = default;
  // A handle whose subscription is ended by calling `unbind` once.
  explicit Binding(std::function<void()> unbind) noexcept : unbind_(std::move(unbind)) {}
  Binding(Binding const&) = delete;
  // Takes over the subscription; `other` is left empty.
  Binding(Binding&& other) noexcept;
  // Ends the subscription held so far, then takes over `other`'s.
  Binding& operator=(Binding other) noexcept;
  ~Binding();

  // Ends the subscription now and leaves the handle empty; harmless on an empty handle.
  void Unbind() noexcept;
  // True while the handle holds a subscription.
  explicit operator bool() const noexcept { return static_cast<bool>(unbind_); }

 private:
  std::function<void()> unbind_;
};

}  // namespace orv::type
