#pragma once

#include <cstdint>

#include "orv/arm/export.hpp"

namespace orv::arm {

// The device's process-wide armed state: 1 means armed, every other value
// means not armed. 0 at start. Both calls are atomic and may be made from any
// thread.
ORV_ARM_API std::uint8_t GetState() noexcept;
ORV_ARM_API void SetState(std::uint8_t state) noexcept;

}  // namespace orv::arm
