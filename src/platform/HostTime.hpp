#pragma once

#include <chrono>
#include <cstdint>

namespace varnolex {

/// Ticks of the host clock: a monotonic count, one tick being one nanosecond. 0 means "unknown" or "now"
/// wherever a time stamp is accepted; a finished time stamp is never 0.
using HostTime = std::uint64_t;

using Nanoseconds = std::chrono::nanoseconds;

inline constexpr HostTime ticksPerSecond = 1'000'000'000;

constexpr double secondsFromTicks(HostTime ticks) {
    return static_cast<double>(ticks) / static_cast<double>(ticksPerSecond);
}

}  // namespace varnolex
