#pragma once

#include <array>
#include <cstdint>

namespace varnolex {

// The masks of the type filters: one bit a class of messages. A set bit passes, a clear one blocks, and a status that
// has no bit always passes.

/// Note Off and Note On under one bit, polyphonic aftertouch, controller, program, channel pressure, pitch bend: by
/// the status byte's high nibble.
inline constexpr std::array<std::uint8_t, 16> voiceBits{0,    0,    0,    0,    0,    0,    0,    0,
                                                        0x01, 0x01, 0x02, 0x04, 0x08, 0x10, 0x20, 0};

/// Quarter frame, song position, song select, tune request: by the low nibble of statuses 0xF0 to 0xF7.
inline constexpr std::array<std::uint8_t, 8> systemCommonBits{0, 0x01, 0x02, 0x04, 0, 0, 0x08, 0};

/// Clock, Start, Continue, Stop, Active Sensing, Reset: by the low three bits of statuses 0xF8 to 0xFF.
inline constexpr std::array<std::uint8_t, 8> realTimeBits{0x01, 0, 0x02, 0x04, 0x08, 0, 0x10, 0x20};

constexpr bool passes(std::uint8_t bit, std::uint8_t mask) { return bit == 0 || (bit & mask) != 0; }

/// A status below 0xF0. `channel` is 1 to 16, or 0 for all.
constexpr bool passesVoice(std::uint8_t status, std::uint8_t channel, std::uint8_t mask) {
    if (channel != 0 && (status & 0x0F) + 1 != channel) return false;
    return passes(voiceBits[status >> 4], mask);
}

/// 0xF1 to 0xF7.
constexpr bool passesSystemCommon(std::uint8_t status, std::uint8_t mask) {
    return passes(systemCommonBits[status & 0x07], mask);
}

/// 0xF8 to 0xFF.
constexpr bool passesRealTime(std::uint8_t status, std::uint8_t mask) {
    return passes(realTimeBits[status & 0x07], mask);
}

}  // namespace varnolex
