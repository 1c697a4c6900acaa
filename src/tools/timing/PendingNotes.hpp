#pragma once

#include <array>
#include <cstdint>
#include <span>

#include "engine/ChainMessage.hpp"

namespace varnolex {

/// A Note On that waits.
struct PendingNote {
    explicit PendingNote(const ChainMessage& message)
        : bytes{message.status(), message.data1(), message.data2()},
          isLast(message.isLastInBatch),
          timeStamp(message.timeStamp) {}
    PendingNote() = default;

    /// In the note's own place of a batch. The note must outlive the call that takes the result.
    ChainMessage message() const { return {bytes.data(), bytes.size(), timeStamp, isLast}; }

    std::array<std::uint8_t, 3> bytes{};
    /// The flag that came with the note.
    bool isLast = true;
    HostTime timeStamp = 0;
};

/// Notes in the order in which they came, at most so many, so that keeping them never allocates.
class PendingNotes {
public:
    static constexpr std::size_t capacity = 256;

    bool isFull() const { return count == capacity; }
    bool isEmpty() const { return count == 0; }

    /// There must be room.
    void append(const ChainMessage& note) { notes[count++] = PendingNote(note); }

    void clear() { count = 0; }

    std::span<PendingNote> all() { return std::span(notes).first(count); }
    std::span<const PendingNote> all() const { return std::span(notes).first(count); }

private:
    std::array<PendingNote, capacity> notes;
    std::size_t count = 0;
};

}  // namespace varnolex
