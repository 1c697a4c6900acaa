#include "tools/harmony/MusicalScale.hpp"

namespace varnolex {
namespace {

constexpr ScaleType types[] = {
    {"Major", {0, 2, 4, 5, 7, 9, 11}},
    {"Natural Minor", {0, 2, 3, 5, 7, 8, 10}},
    {"Harmonic Minor", {0, 2, 3, 5, 7, 8, 11}},
    {"Pent. Major", {0, 2, 4, 7, 9}},
    {"Pent. Minor", {0, 3, 5, 7, 10}},
    {"Blues", {0, 3, 5, 6, 7, 10}},
    {"Chromatic", {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11}},
    {"Whole Tone", {0, 2, 4, 6, 8, 10}},
    {"Diminished", {0, 2, 3, 5, 6, 8, 9, 11}},
    {"Custom", {}},
};

constexpr std::int64_t customType = std::size(types) - 1;
constexpr std::int64_t typeOfUnknown = 8;

int towards(ScaleDirection direction, int up, int down) {
    switch (direction) {
        case scaleNearest:
            return up <= down ? up : -down;
        case scaleUp:
            return up;
        case scaleDown:
            return -down;
        default:
            return 0;
    }
}

}  // namespace

std::span<const ScaleType> scaleTypes() { return types; }

PitchClassSet stepsOfScale(std::int64_t number, PitchClassSet customSteps) {
    if (number == customType) return customSteps;
    return types[number >= 0 && number < customType ? number : typeOfUnknown].steps;
}

std::uint8_t MusicalScale::quantized(std::uint8_t note, ScaleDirection direction) const {
    const int step = pitchClassOf(note - root);
    if (steps.isEmpty() || steps.contains(step)) return note;
    const int up = distance(step, 1);
    const int down = distance(step, -1);
    const int moved = note + towards(direction, up, down);
    if (moved > 127) return static_cast<std::uint8_t>(note - down);
    if (moved < 0) return static_cast<std::uint8_t>(note + up);
    return static_cast<std::uint8_t>(moved);
}

int MusicalScale::distance(int step, int way) const {
    int away = 1;
    while (!steps.contains(pitchClassOf(step + way * away))) ++away;
    return away;
}

}  // namespace varnolex
