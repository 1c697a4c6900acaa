#pragma once

#include <cstdint>
#include <span>
#include <string_view>

#include "tools/harmony/PitchClass.hpp"

namespace varnolex {

/// A scale that can be chosen by name, in the order of the stored numbers.
struct ScaleType {
    std::string_view name;
    /// Steps above the root; none for the custom one, whose steps are the user's.
    PitchClassSet steps;
};

/// All of them; the last one is the custom one.
std::span<const ScaleType> scaleTypes();

/// The steps of a stored number, with `customSteps` for the custom one. A number outside the table means the diminished
/// scale.
PitchClassSet stepsOfScale(std::int64_t number, PitchClassSet customSteps);

/// Which way a note goes that isn't in the scale, by stored number. Any other number moves nothing.
enum ScaleDirection : std::int64_t { scaleNearest = 0, scaleUp = 1, scaleDown = 2, scaleNowhere };

/// The notes of a scale on a root.
class MusicalScale {
public:
    constexpr MusicalScale() = default;
    constexpr MusicalScale(int rootClass, PitchClassSet stepsAboveRoot)
        : steps(stepsAboveRoot), root(static_cast<std::uint8_t>(rootClass)) {}

    /// The note (0 to 127) of the scale for a note; of two that are equally near, the upper one. Where the direction
    /// leads out of the range of MIDI, it is the scale's next note on the other side. In a scale without notes every
    /// note stands.
    std::uint8_t quantized(std::uint8_t note, ScaleDirection direction) const;

private:
    /// The distance to the next note of the scale, `way` (1 or -1) from a step above the root: 1 to 12.
    int distance(int step, int way) const;

    PitchClassSet steps;
    std::uint8_t root = 0;
};

}  // namespace varnolex
