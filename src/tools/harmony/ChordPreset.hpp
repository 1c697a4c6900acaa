#pragma once

#include <algorithm>
#include <array>
#include <cstdint>
#include <initializer_list>
#include <optional>
#include <span>
#include <string_view>

namespace varnolex {

/// The semitones of a chord's further notes above the played one, in the order in which they sound. Of fixed size, so
/// that the processing road can hold it.
class ChordIntervals {
public:
    static constexpr std::size_t capacity = 32;

    constexpr ChordIntervals() = default;
    constexpr ChordIntervals(std::initializer_list<int> intervals) {
        for (const int interval : intervals) add(interval);
    }

    /// What lies further off than any two notes, and what exceeds the capacity, is left out.
    constexpr void add(std::int64_t interval) {
        if (interval < -127 || interval > 127 || count == capacity) return;
        held[count++] = static_cast<std::int8_t>(interval);
    }

    constexpr const std::int8_t* begin() const { return held.data(); }
    constexpr const std::int8_t* end() const { return held.data() + count; }

private:
    std::array<std::int8_t, capacity> held{};
    std::uint8_t count = 0;
};

/// A chord that can be chosen by name.
struct ChordPreset {
    std::string_view group;
    std::string_view name;
    ChordIntervals intervals;
};

/// All of them, in the order of their stored numbers; the groups follow each other. The last one stands for intervals
/// of the user's own.
std::span<const ChordPreset> chordPresets();

inline constexpr std::int64_t customChordPreset = 45;

/// The number of the preset with exactly this name.
std::optional<std::int64_t> chordPresetNamed(std::string_view name);

/// The intervals of a stored number; nothing for the custom one. Numbers outside the table mean the nearest fixed
/// preset.
std::optional<ChordIntervals> intervalsOfChordPreset(std::int64_t number);

}  // namespace varnolex
