#pragma once

#include <array>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>

#include "tools/looper/LoopBuffer.hpp"

namespace varnolex {

/// Loops as Standard MIDI Files. A tick of a loop is a tick of the file, 24 to the quarter note; the end of the track
/// stands at the end of the loop.
struct LooperMIDIFile {
    struct MIDIEvent {
        std::uint32_t tick = 0;
        std::array<std::uint8_t, 3> bytes{};

        std::span<const std::uint8_t> message() const;
    };

    /// A file of format 0. Empty when there is no loop or no note in it.
    static std::string write(const LoopBuffer& loop);

    /// Reads the notes and other channel messages of all tracks; the length is the nearest whole number of bars, at
    /// least one. `loop` is filled anew. Throws `MIDIFileError`, which says what is wrong, also of a file that holds
    /// more than a loop can; `loop` is of no use then.
    static void read(std::string_view contents, LoopBuffer& loop);
};

}  // namespace varnolex
