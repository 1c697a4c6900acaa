#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>

namespace varnolex {

/// The order in which the arpeggiator plays what is held. Any other number means upwards.
enum ArpPattern { arpUp, arpDown, arpUpDown, arpDownUp, arpRandom, arpAsPlayed };

/// The keys that an arpeggiator holds, and the cycle of steps that it makes of them. It has room for every key of
/// every channel, over all octaves, so no note is ever lost, and nothing here allocates.
class ArpSequence {
public:
    struct Step {
        std::uint8_t note;
        std::uint8_t velocity;
        std::uint8_t channel;

        bool operator==(const Step&) const = default;
    };

    /// Holds a key as the last one played, in place of an entry that it may have had. `rebuild` must follow.
    void press(Step key);
    void release(std::uint8_t note, std::uint8_t channel);
    void clear();

    bool hasHeldNotes() const { return heldCount > 0; }

    /// Makes the steps anew from what is held. The place in the cycle stays unless it lies behind the new end.
    void rebuild(std::int64_t pattern, std::int64_t octaveRange);

    /// The next step of the cycle, or a random one by pattern; nothing when there is none.
    std::optional<Step> next();

private:
    static constexpr std::size_t keyCount = 16 * 128;
    static constexpr int highestOctave = 10;
    /// A channel's 128 notes with all octaves above each that fit: 12 notes have 11 of them, 12 have 10 and so on.
    static constexpr std::size_t expandedPerChannel = 12 * (1 + 2 + 3 + 4 + 5 + 6 + 7 + 8 + 9 + 10) + 8 * 11;

    void placeByPitch();
    void addOctaves(std::int64_t octaveRange);
    std::size_t cycleLength() const;
    std::size_t placeOf(std::size_t stepInCycle) const;

    /// In the order of playing.
    std::array<Step, keyCount> held{};
    std::size_t heldCount = 0;
    /// The notes of all octaves in ascending order, or in that of playing. Patterns walk over them; their cycles are
    /// not written out.
    std::array<Step, 16 * expandedPerChannel> expanded{};
    std::size_t expandedCount = 0;
    std::int64_t cyclePattern = arpUp;
    std::size_t stepIndex = 0;
};

}  // namespace varnolex
