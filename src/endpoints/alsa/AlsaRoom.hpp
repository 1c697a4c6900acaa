#pragma once

#include <cstddef>
#include <optional>

namespace varnolex {

/// Memory cells of a client for what comes to it.
struct AlsaRoom {
    int free = 0;
    int all = 0;
};

/// How many cells the client behind a descriptor of the sequencer has just now; none for one that takes events without
/// storing them, such as a driver. Whoever sends more than that makes the receiver lose all that it hasn't read yet. A
/// system call that doesn't wait.
std::optional<AlsaRoom> alsaRoomOf(int sequencerDescriptor, int client);

/// What an event takes, `length` being the bytes of a SysEx piece, 0 of any other event.
constexpr int alsaCellsFor(std::size_t length) {
    constexpr std::size_t cellSize = 28;
    return 1 + static_cast<int>((length + cellSize - 1) / cellSize);
}

}  // namespace varnolex
