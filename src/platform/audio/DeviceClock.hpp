#pragma once

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>

#include "platform/HostTime.hpp"

namespace varnolex {

/// The host time of a device's frames, learned from the moments at which it asks for them. Those are late by whatever
/// kept the processor, in turns or in bursts, but never early: the earliest of the last ones tells where the device is.
/// One thread.
class DeviceClock {
public:
    explicit DeviceClock(double framesASecond) : sampleRate(framesASecond) {
        begins.fill(std::numeric_limits<std::int64_t>::max());
    }

    /// The time of the first of `count` frames that are asked for now.
    HostTime timeOf(std::size_t count, HostTime now) {
        const auto played = static_cast<std::int64_t>(std::llround(frames * double{ticksPerSecond} / sampleRate));
        begins[next] = static_cast<std::int64_t>(now) - played;
        next = (next + 1) % begins.size();
        frames += static_cast<double>(count);
        return static_cast<HostTime>(*std::ranges::min_element(begins) + played);
    }

private:
    double sampleRate;
    double frames = 0;
    /// When the device would have begun by each of its last periods.
    std::array<std::int64_t, 256> begins;
    std::size_t next = 0;
};

}  // namespace varnolex
