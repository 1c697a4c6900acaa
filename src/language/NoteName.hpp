#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

namespace varnolex {

/// The semitones above C of a note's letter with its sharp or flat ("F#", "Bb"). Case matters: "b" is no note.
std::optional<std::int64_t> readPitchClass(std::string_view text);

/// A note number from a note name with its octave (C4 is 60) or from a plain integer. Not limited to 0 to 127.
std::optional<std::int64_t> readNote(std::string_view text);

}  // namespace varnolex
