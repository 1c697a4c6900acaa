#pragma once

#include <cstdint>

namespace varnolex {

/// A looper's time line: one tick at normal speed is one message of the MIDI clock. Every bar has four beats.
inline constexpr std::uint32_t ticksPerBeat = 24;
inline constexpr std::uint32_t ticksPerBar = 4 * ticksPerBeat;

/// What a looper holds at most: the length in ticks, of a loop that is recorded, doubled or loaded.
inline constexpr std::uint32_t longestLoop = 1'000'000 * ticksPerBar;

}  // namespace varnolex
