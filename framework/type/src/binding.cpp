#include "orv/type/binding.hpp"

#include <utility>

namespace orv::type {

Binding::Binding(Binding&& other) noexcept : unbind_(std::exchange(other.unbind_, nullptr)) {}

Binding& Binding::operator=(Binding other) noexcept {
  Unbind();
  unbind_ = std::exchange(other.unbind_, nullptr);
  return *this;
}

Binding::~Binding() { Unbind(); }

void Binding::Unbind() noexcept {
  if (auto unbind = std::exchange(unbind_, nullptr)) {
    unbind();
  }
}

}  // namespace orv::type
