#pragma once

#include <algorithm>
#include <cstdint>

#include "tools/looper/LooperSettings.hpp"

namespace varnolex {

/// One step of playback: which ticks of the loop are due in it. Quantizing and swing move notes, and nothing else,
/// while they are played; what was recorded stays as it is.
class LoopReading {
public:
    /// `length` isn't 0.
    LoopReading(const LooperSnapshot& snapshot, bool isReversed, std::uint32_t tick, std::uint32_t loopLength)
        : position(isReversed ? loopLength - 1 - tick % loopLength : tick),
          length(loopLength),
          grid(static_cast<std::uint32_t>(std::max(snapshot.quantizeGrid, 0))),
          swing(snapshot.swing),
          isDouble(snapshot.speed == 2) {}

    bool isDue(std::uint32_t tick) const {
        if (!isDouble) return tick == position;
        if (position == 0) return tick == 0 || tick >= length - 1;
        return position - 1 <= tick && tick <= position;
    }

    bool isNoteDue(std::uint32_t tick) const { return isDue(grid == 0 ? tick : moved(tick)); }

    /// Where a note that was recorded at a tick is played; the grid isn't 0.
    std::uint32_t moved(std::uint32_t tick) const {
        const std::uint32_t behind = tick % grid;
        const std::uint32_t nearest = (behind <= grid / 2 ? tick - behind : tick + grid - behind) % length;
        if (swing == 50 || nearest / grid % 2 == 0) return nearest;
        const std::int64_t shift = (std::int64_t{swing} - 50) * grid / 100;
        return static_cast<std::uint32_t>(std::max<std::int64_t>(nearest + shift, 0) % length);
    }

private:
    std::uint32_t position;
    std::uint32_t length;
    std::uint32_t grid;
    std::int32_t swing;
    bool isDouble;
};

}  // namespace varnolex
