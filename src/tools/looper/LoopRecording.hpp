#pragma once

#include <cstdint>

#include "engine/ChainMessage.hpp"
#include "tools/looper/LoopBuffer.hpp"
#include "tools/looper/PlaybackState.hpp"

namespace varnolex {

/// What became of a message that was offered to a recording.
enum class Recorded : std::uint8_t {
    /// Nothing was added: a key went down, or the message isn't of a kind that is recorded.
    nothing,
    note,
    raw,
    /// There is no room left.
    lost,
};

/// Takes a message of three bytes into the loop at a tick. A note is added when it ends; one that was pressed before
/// the end of the loop and released behind its beginning lasts around the corner.
Recorded recordMessage(const ChainMessage& message, std::uint32_t tick, LoopBuffer& loop, HeldPresses& held);

/// The length of a free recording that ends at `tick`: to the nearest beat, at least one.
std::uint32_t autoLength(std::uint32_t tick);

/// Makes a loop of this length of what was recorded. Notes still held end with the loop. Returns how many found no
/// room.
std::size_t closeRecording(LoopBuffer& loop, HeldPresses& held, std::uint32_t length);

/// Lets the layers decay that were there before an overdub pass: velocities shrink to `feedback` per cent, notes that
/// fall silent go, and of the other messages chance takes all but the given share. Messages that set a parameter number
/// stay, since what follows them would reach another parameter.
void decayLayers(LoopBuffer& loop, int feedback, std::size_t startEventCount, std::size_t startRawEventCount);

}  // namespace varnolex
