#pragma once

#include <array>
#include <bit>
#include <cstdint>

namespace varnolex {

/// The keys that are down, in the order in which they were last pressed, with their velocities. A key that is
/// pressed again moves to the end. Every call costs the same however many are down. Notes are below 128.
class HeldNotes {
public:
    struct Key {
        std::uint8_t note;
        std::uint8_t velocity;
    };

    HeldNotes() { before[end] = behind[end] = end; }

    void press(std::uint8_t note, std::uint8_t velocity) {
        release(note);
        held[note / 64] |= bitOf(note);
        velocities[note] = velocity;
        link(before[end], note);
        link(note, end);
    }

    void release(std::uint8_t note) {
        if (!(held[note / 64] & bitOf(note))) return;
        held[note / 64] &= ~bitOf(note);
        link(before[note], behind[note]);
    }

    bool isEmpty() const { return before[end] == end; }

    // The following need at least one key.

    Key last() const { return keyOf(before[end]); }
    Key lowest() const { return keyOf(held[0] ? std::countr_zero(held[0]) : 64 + std::countr_zero(held[1])); }
    Key highest() const { return keyOf(held[1] ? 127 - std::countl_zero(held[1]) : 63 - std::countl_zero(held[0])); }

private:
    /// Stands behind the last key and before the first.
    static constexpr std::uint8_t end = 128;

    static std::uint64_t bitOf(std::uint8_t note) { return std::uint64_t{1} << note % 64; }

    void link(std::uint8_t earlier, std::uint8_t later) {
        behind[earlier] = later;
        before[later] = earlier;
    }

    Key keyOf(int note) const { return {static_cast<std::uint8_t>(note), velocities[static_cast<std::size_t>(note)]}; }

    std::array<std::uint8_t, 129> before;
    std::array<std::uint8_t, 129> behind;
    std::array<std::uint8_t, 128> velocities;
    std::array<std::uint64_t, 2> held{};
};

}  // namespace varnolex
