#pragma once

#include <algorithm>
#include <array>
#include <cstdint>
#include <iterator>

#include "platform/HostTime.hpp"
#include "tools/looper/PlaybackState.hpp"

namespace varnolex {

/// The notes that end by themselves, in order of their ends. Room for a fixed number; touched inside walks only.
class LoopNoteEnds {
public:
    bool isEmpty() const { return count == 0; }
    bool isFull() const { return count == std::ssize(entries); }
    void clear() { count = 0; }

    /// The list isn't full.
    void add(HostTime end, NoteKey key) {
        entries[count++] = {end, ++lastNumber, key};
        std::push_heap(entries.begin(), entries.begin() + count, isLater);
    }

    /// The list isn't empty.
    HostTime next() const { return entries.front().end; }

    /// Takes out the one that ends next; the list isn't empty.
    NoteKey take() {
        const NoteKey key = entries.front().key;
        std::pop_heap(entries.begin(), entries.begin() + count, isLater);
        --count;
        return key;
    }

private:
    struct Entry {
        HostTime end;
        /// Notes that end at one moment do so in the order in which they began.
        std::uint32_t number;
        NoteKey key;
    };

    static bool isLater(const Entry& one, const Entry& other) {
        if (one.end != other.end) return one.end > other.end;
        return static_cast<std::int32_t>(one.number - other.number) > 0;
    }

    std::array<Entry, 2048> entries{};
    std::ptrdiff_t count = 0;
    std::uint32_t lastNumber = 0;
};

}  // namespace varnolex
