#pragma once

#include <cstdint>

namespace varnolex::midifile {

/// Numbers of the Standard MIDI File format.
inline constexpr std::uint32_t greatestQuantity = 0x0FFF'FFFF;
inline constexpr std::uint8_t metaStatus = 0xFF;
inline constexpr std::uint8_t sysExStatus = 0xF0;
inline constexpr std::uint8_t escapeStatus = 0xF7;

enum Meta : std::uint8_t {
    text = 0x01,
    trackName = 0x03,
    endOfTrack = 0x2F,
    tempo = 0x51,
    timeSignature = 0x58,
    keySignature = 0x59,
};

/// How many data bytes follow a voice status byte.
constexpr std::size_t voiceDataLength(std::uint8_t status) { return (status & 0xE0) == 0xC0 ? 1 : 2; }

}  // namespace varnolex::midifile
