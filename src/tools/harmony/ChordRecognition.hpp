#pragma once

#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "tools/harmony/PitchClass.hpp"

namespace varnolex {

/// A chord that can be recognised.
struct ChordTemplate {
    /// What stands behind the root's name: "m7".
    std::string_view suffix;
    /// Steps above the root, the root included.
    PitchClassSet intervals;
    /// What its score gains over others of its size.
    int priority;
};

/// All of them; of two that fit as well, the one further up is meant.
std::span<const ChordTemplate> chordTemplates();

/// A chord that fits what sounds.
struct ChordMatch {
    int root;
    std::string_view suffix;

    /// "F#m7".
    std::string name() const;
};

/// The chord that fits best: one that has all the pitch classes and no others, if need be with its fifth left out; and
/// only if there is none, the largest that is contained. A root in the bass counts a little more. Nothing when no chord
/// fits.
std::optional<ChordMatch> matchChord(PitchClassSet sounding, int bass);

/// The names from C upwards: "C E A#".
std::string namesOf(PitchClassSet pitchClasses);

}  // namespace varnolex
