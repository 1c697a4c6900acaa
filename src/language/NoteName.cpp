#include "language/NoteName.hpp"

#include <array>

#include "language/NumberReading.hpp"
#include "language/TextSplitting.hpp"

namespace varnolex {

namespace {

struct NamedPitch {
    std::string_view name;
    std::int64_t semitone;
};

// The two-letter names first: "C#4" also begins with a C.
constexpr std::array<NamedPitch, 17> namedPitches{{
    {"C#", 1},
    {"Db", 1},
    {"D#", 3},
    {"Eb", 3},
    {"F#", 6},
    {"Gb", 6},
    {"G#", 8},
    {"Ab", 8},
    {"A#", 10},
    {"Bb", 10},
    {"C", 0},
    {"D", 2},
    {"E", 4},
    {"F", 5},
    {"G", 7},
    {"A", 9},
    {"B", 11},
}};

// Far beyond any keyboard, and far from overflow.
constexpr std::int64_t farthestOctave = 1000;

const NamedPitch* pitchAtFrontOf(std::string_view text) {
    for (const auto& pitch : namedPitches) {
        if (text.starts_with(pitch.name)) return &pitch;
    }
    return nullptr;
}

std::optional<std::int64_t> readNamedNote(std::string_view text) {
    const auto* pitch = pitchAtFrontOf(text);
    if (!pitch) return std::nullopt;
    const auto octave = readInteger(text.substr(pitch->name.size()));
    if (!octave || *octave < -farthestOctave || *octave > farthestOctave) return std::nullopt;
    return (*octave + 1) * 12 + pitch->semitone;
}

}  // namespace

std::optional<std::int64_t> readPitchClass(std::string_view text) {
    const auto* pitch = pitchAtFrontOf(text);
    if (!pitch || pitch->name != text) return std::nullopt;
    return pitch->semitone;
}

std::optional<std::int64_t> readNote(std::string_view text) {
    const auto name = trimmed(text);
    const auto note = readNamedNote(name);
    return note ? note : readInteger(name);
}

}  // namespace varnolex
