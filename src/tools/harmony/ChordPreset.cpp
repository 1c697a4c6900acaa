#include "tools/harmony/ChordPreset.hpp"

namespace varnolex {
namespace {

constexpr ChordPreset presets[] = {
    {"Triads", "Major", {4, 7}},
    {"Triads", "Minor", {3, 7}},
    {"Triads", "Dim", {3, 6}},
    {"Triads", "Aug", {4, 8}},
    {"Triads", "Sus2", {2, 7}},
    {"Triads", "Sus4", {5, 7}},
    {"Sevenths", "Maj7", {4, 7, 11}},
    {"Sevenths", "Dom7", {4, 7, 10}},
    {"Sevenths", "Min7", {3, 7, 10}},
    {"Sevenths", "MinMaj7", {3, 7, 11}},
    {"Sevenths", "Dim7", {3, 6, 9}},
    {"Sevenths", "m7b5", {3, 6, 10}},
    {"Sevenths", "Aug7", {4, 8, 10}},
    {"Sevenths", "AugMaj7", {4, 8, 11}},
    {"Sevenths", "7b5", {4, 6, 10}},
    {"Sixths", "6", {4, 7, 9}},
    {"Sixths", "m6", {3, 7, 9}},
    {"Sixths", "6/9", {4, 7, 9, 14}},
    {"Sixths", "m6/9", {3, 7, 9, 14}},
    {"Ninths", "9", {4, 7, 10, 14}},
    {"Ninths", "Maj9", {4, 7, 11, 14}},
    {"Ninths", "m9", {3, 7, 10, 14}},
    {"Ninths", "mMaj9", {3, 7, 11, 14}},
    {"Ninths", "add9", {4, 7, 14}},
    {"Ninths", "madd9", {3, 7, 14}},
    {"Extended", "11", {4, 7, 10, 14, 17}},
    {"Extended", "m11", {3, 7, 10, 14, 17}},
    {"Extended", "13", {4, 7, 10, 14, 21}},
    {"Extended", "m13", {3, 7, 10, 14, 21}},
    {"Extended", "Maj13", {4, 7, 11, 14, 21}},
    {"Altered", "7b9", {4, 7, 10, 13}},
    {"Altered", "7#9", {4, 7, 10, 15}},
    {"Altered", "7#11", {4, 7, 10, 18}},
    {"Altered", "9#11", {4, 7, 10, 14, 18}},
    {"Altered", "7b9b13", {4, 7, 10, 13, 20}},
    {"Suspended", "7sus4", {5, 7, 10}},
    {"Suspended", "7sus2", {2, 7, 10}},
    {"Suspended", "Maj7sus4", {5, 7, 11}},
    {"Suspended", "9sus4", {5, 7, 10, 14}},
    {"Suspended", "13sus4", {5, 7, 10, 14, 21}},
    {"Dyads", "Power", {7}},
    {"Dyads", "Octave", {12}},
    {"Dyads", "5th+Oct", {7, 12}},
    {"Other", "madd4", {3, 5, 7}},
    {"Other", "sus24", {2, 5, 7}},
    {"Other", "Custom", {}},
};

static_assert(std::size(presets) == customChordPreset + 1);

}  // namespace

std::span<const ChordPreset> chordPresets() { return presets; }

std::optional<std::int64_t> chordPresetNamed(std::string_view name) {
    const auto* const found = std::ranges::find(presets, name, &ChordPreset::name);
    if (found == std::end(presets)) return std::nullopt;
    return found - std::begin(presets);
}

std::optional<ChordIntervals> intervalsOfChordPreset(std::int64_t number) {
    if (number == customChordPreset) return std::nullopt;
    return presets[std::clamp<std::int64_t>(number, 0, customChordPreset - 1)].intervals;
}

}  // namespace varnolex
