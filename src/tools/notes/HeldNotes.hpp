#pragma once

#include <algorithm>
#include <array>
#include <cstdint>
#include <optional>

namespace varnolex {

/// The keys that are down, in the order in which they were last pressed, with their velocities. A key that is
/// pressed again moves to the end, so there are never more than 128 and none is ever lost.
class HeldNotes {
public:
    struct Key {
        std::uint8_t note;
        std::uint8_t velocity;
    };

    void press(std::uint8_t note, std::uint8_t velocity) {
        release(note);
        keys[count++] = {note, velocity};
    }

    void release(std::uint8_t note) {
        // There are few, mostly.
        std::ptrdiff_t kept = 0;
        for (std::ptrdiff_t index = 0; index < count; ++index)
            if (keys[index].note != note) keys[kept++] = keys[index];
        count = kept;
    }

    bool isEmpty() const { return count == 0; }

    // The following need at least one key.

    Key last() const { return keys[count - 1]; }
    Key lowest() const { return *std::ranges::min_element(keys.begin(), keys.begin() + count, {}, &Key::note); }
    Key highest() const { return *std::ranges::max_element(keys.begin(), keys.begin() + count, {}, &Key::note); }

private:
    std::array<Key, 128> keys{};
    std::ptrdiff_t count = 0;
};

}  // namespace varnolex
