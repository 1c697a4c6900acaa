#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "core/message/Message.hpp"
#include "platform/concurrency/Guarded.hpp"

namespace varnolex {

/// The newest messages of one source, between the thread that reads it and the main thread that takes them. When the
/// reader falls behind, the oldest messages go. Appending costs the same however many are held, and allocates only
/// while the buffer grows to its working size.
class MIDIMessageRingBuffer {
public:
    static constexpr std::size_t usualHighWaterMark = 200'000;

    /// `limit`: how many messages may be held at once, at least 1.
    explicit MIDIMessageRingBuffer(std::size_t limit = usualHighWaterMark);

    std::size_t highWaterMark() const { return most; }

    /// Takes the messages over, in order, and leaves the list empty with its memory. What lies beyond the high water
    /// mark is dropped, the oldest first. Any thread.
    void append(MessageList& messages);

    /// Moves all messages to the end of `output`, oldest first, and begins to count anew. One thread at a time.
    void drain(MessageList& output);

    std::size_t count() const;

    /// How many messages were appended since the last drain, those included that were dropped.
    std::size_t totalReceived() const;

private:
    /// Messages in a circle of slots, from `first` on. Slots that aren't in use are null.
    struct Ring {
        std::vector<MessageRef> slots;
        std::size_t first = 0;
        std::size_t count = 0;
        std::size_t received = 0;

        void moveTo(MessageList& output);
        void moveInto(std::vector<MessageRef>& larger);
        void push(MessageRef& message);
    };

    bool tryAppend(MessageList& messages, std::size_t& needed);
    void growTo(std::size_t needed);

    const std::size_t most;
    Guarded<Ring> ring;
    /// The drain's own: it comes in where the filled one is taken out, so that no thread waits while messages move.
    Ring spare;
};

}  // namespace varnolex
