#include "orv/arm/state.hpp"

#include <atomic>

namespace orv::arm {
namespace {
// Constant-initialised: disarmed before any code runs.
std::atomic<std::uint8_t> gState{0};
}  // namespace

std::uint8_t GetState() noexcept { return gState.load(std::memory_order_acquire); }

void SetState(std::uint8_t state) noexcept { gState.store(state, std::memory_order_release); }

}  // namespace orv::arm
