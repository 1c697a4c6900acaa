#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "core/midifile/MIDIFile.hpp"

namespace varnolex::bench {

using ThreeBytes = std::array<std::uint8_t, 3>;

/// Playing as it comes from a keyboard: notes that end, pedal and bend between them, on four channels.
inline ThreeBytes playedMessage(std::size_t index) {
    const auto channel = static_cast<std::uint8_t>(index / 8 % 4);
    const auto note = static_cast<std::uint8_t>(36 + index / 8 * 7 % 60);
    switch (index % 8) {
        case 3:
            return {static_cast<std::uint8_t>(0xB0 | channel), 1, static_cast<std::uint8_t>(index / 8 % 128)};
        case 7:
            return {static_cast<std::uint8_t>(0xE0 | channel), 0, static_cast<std::uint8_t>(index / 8 % 128)};
        case 0:
        case 1:
        case 2:
            return {static_cast<std::uint8_t>(0x90 | channel), static_cast<std::uint8_t>(note + index % 8 * 4), 90};
        default:
            return {static_cast<std::uint8_t>(0x80 | channel), static_cast<std::uint8_t>(note + (index % 8 - 4) * 4),
                    64};
    }
}

inline std::vector<ThreeBytes> playedMessages(std::size_t count) {
    std::vector<ThreeBytes> messages;
    messages.reserve(count);
    for (std::size_t index = 0; index < count; ++index) messages.push_back(playedMessage(index));
    return messages;
}

/// The same as a file of several tracks, with a tempo change now and then.
inline MIDIFile playedFile(std::size_t events, std::size_t tracks) {
    MIDIFile file;
    file.tempos.push_back({0, 500'000});
    for (std::size_t index = 1; index < 16; ++index)
        file.tempos.push_back({index * events / 4, static_cast<std::uint32_t>(500'000 + index * 1'000)});
    file.tracks.resize(tracks);
    for (std::size_t index = 0; index < events; ++index)
        file.append(file.tracks[index % tracks], index * 5, playedMessage(index / tracks));
    return file;
}

}  // namespace varnolex::bench
