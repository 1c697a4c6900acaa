#pragma once

#include <array>
#include <cstdint>
#include <optional>

namespace varnolex {

constexpr bool isNote(int number) { return number >= 0 && number <= 127; }

/// A channel, 0 to 15, and a note on it.
struct NotePlace {
    std::uint8_t channel;
    std::uint8_t note;
};

/// Where a tool sent each sounding note, by the key with which the note came (note + 128 x channel). Of fixed size, so
/// that remembering and forgetting never allocate.
class NoteMap {
public:
    NoteMap() { places.fill(nowhere); }

    void put(std::uint16_t key, NotePlace place) {
        places[key] = static_cast<std::uint16_t>(place.channel << 8 | place.note);
    }

    std::optional<NotePlace> take(std::uint16_t key) {
        const std::uint16_t place = places[key];
        if (place == nowhere) return std::nullopt;
        places[key] = nowhere;
        return NotePlace{static_cast<std::uint8_t>(place >> 8), static_cast<std::uint8_t>(place)};
    }

private:
    static constexpr std::size_t keyCount = 16 * 128;
    /// No channel has this number.
    static constexpr std::uint16_t nowhere = 0xFFFF;

    /// Each place in one piece, so that it can be read again while it is still on its way to the cache.
    std::array<std::uint16_t, keyCount> places;
};

}  // namespace varnolex
