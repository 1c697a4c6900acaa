#pragma once

#include <cmath>
#include <cstdint>

#include "platform/HostTime.hpp"
#include "platform/concurrency/Snapshot.hpp"

namespace varnolex {

/// One process cycle in both clocks. Frames are counted on beyond the server's 32 bits, so that they can be compared.
struct JackCycle {
    std::int64_t firstFrame = 0;
    /// 0 before the first cycle.
    std::int64_t frames = 0;
    /// Host time of the first frame.
    HostTime start = 0;
    double ticksPerFrame = 1;

    std::int64_t endFrame() const { return firstFrame + frames; }
    HostTime period() const { return static_cast<HostTime>(static_cast<double>(frames) * ticksPerFrame); }

    HostTime timeOfOffset(std::uint32_t offset) const {
        return start + static_cast<HostTime>(std::llround(offset * ticksPerFrame));
    }

    /// The frame that is nearest to a host time, which may lie outside of the cycle.
    std::int64_t frameOf(HostTime time) const {
        const auto distance = static_cast<std::int64_t>(time - start);
        return firstFrame + std::llround(static_cast<double>(distance) / ticksPerFrame);
    }
};

/// What all ports of a client know of the time: the cycle under way, and whether the caller is inside of it.
class JackTiming {
public:
    /// Marks the calling thread as the one that processes the cycle, as long as it lives.
    class Processing {
    public:
        Processing(JackTiming& timing, const JackCycle& cycle) {
            timing.latest.publish(cycle);
            processed = &timing;
        }
        ~Processing() { processed = nullptr; }
        Processing(const Processing&) = delete;
        Processing& operator=(const Processing&) = delete;
    };

    /// The cycle under way, or the last one. Any thread.
    JackCycle cycle() const { return latest.read(); }

    /// True for the thread that is inside the process callback.
    bool isProcessing() const { return processed == this; }

private:
    static inline thread_local constinit const JackTiming* processed = nullptr;

    Snapshot<JackCycle> latest;
};

/// Follows the distance between the server's clock and the host clock, which may run at slightly different rates. Each
/// reading is blurred by the microsecond of the server's clock and now and then by a lost processor, so it is smoothed.
/// One thread.
class ClockPairing {
public:
    /// `before` and `after` are host times read around the server's time, in microseconds.
    void read(HostTime before, std::uint64_t serverMicroseconds, HostTime after) {
        constexpr HostTime undisturbed = 20'000;
        constexpr std::int64_t jump = 1'000'000;
        constexpr std::int64_t smoothing = 16;
        const std::int64_t middle = static_cast<std::int64_t>(before + (after - before) / 2);
        const std::int64_t reading = middle - ticks(serverMicroseconds) - 500;
        if (!isPaired || (after - before < undisturbed && std::llabs(reading - distance) > jump)) {
            distance = reading;
            isPaired = true;
        } else if (after - before < undisturbed) {
            distance += (reading - distance) / smoothing;
        }
    }

    HostTime hostTime(std::uint64_t serverMicroseconds) const {
        return static_cast<HostTime>(ticks(serverMicroseconds) + distance);
    }

private:
    static std::int64_t ticks(std::uint64_t microseconds) { return static_cast<std::int64_t>(microseconds) * 1000; }

    std::int64_t distance = 0;
    bool isPaired = false;
};

}  // namespace varnolex
