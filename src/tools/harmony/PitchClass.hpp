#pragma once

#include <array>
#include <bit>
#include <cstdint>
#include <initializer_list>
#include <string_view>

namespace varnolex {

/// A pitch class is a note without its octave: 0 for C to 11 for B.
inline constexpr int pitchClassCount = 12;

inline constexpr std::array<std::string_view, pitchClassCount> pitchClassNames{"C",  "C#", "D",  "D#", "E",  "F",
                                                                               "F#", "G",  "G#", "A",  "A#", "B"};

/// The pitch class of any number of semitones above C, also below 0.
constexpr int pitchClassOf(std::int64_t semitones) {
    return static_cast<int>((semitones % pitchClassCount + pitchClassCount) % pitchClassCount);
}

/// A set of pitch classes, or of steps within an octave above some root.
class PitchClassSet {
public:
    constexpr PitchClassSet() = default;
    constexpr PitchClassSet(std::initializer_list<int> members) {
        for (const int member : members) insert(member);
    }

    /// Bit n is pitch class n; the bits from 12 upwards mean nothing.
    static constexpr PitchClassSet fromMask(std::uint16_t mask) {
        PitchClassSet set;
        set.bits = mask & allBits;
        return set;
    }

    constexpr void insert(int pitchClass) { bits |= static_cast<std::uint16_t>(1u << pitchClass); }
    constexpr bool contains(int pitchClass) const { return (bits >> pitchClass & 1) != 0; }
    constexpr bool containsAll(PitchClassSet others) const { return (others.bits & ~bits) == 0; }
    constexpr bool isEmpty() const { return bits == 0; }
    constexpr int size() const { return std::popcount(bits); }

    /// The same classes as steps above `root`.
    constexpr PitchClassSet above(int root) const {
        return fromMask(static_cast<std::uint16_t>(bits >> root | bits << (pitchClassCount - root)));
    }

    constexpr bool operator==(const PitchClassSet&) const = default;

private:
    static constexpr std::uint16_t allBits = (1u << pitchClassCount) - 1;

    std::uint16_t bits = 0;
};

}  // namespace varnolex
