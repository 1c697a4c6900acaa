#pragma once

#include <map>
#include <memory>
#include <vector>

#include "endpoints/MIDIService.hpp"
#include "endpoints/input/MIDIMessageRingBuffer.hpp"

namespace varnolex {

/// The ring buffer of each endpoint that is listened to. Any thread, but for `drainAll`.
class PerSourceBufferRegistry {
public:
    using Buffer = std::shared_ptr<MIDIMessageRingBuffer>;

    /// `perSourceHighWaterMark` goes to every buffer that is made here.
    explicit PerSourceBufferRegistry(std::size_t perSourceHighWaterMark = MIDIMessageRingBuffer::usualHighWaterMark)
        : perSourceLimit(perSourceHighWaterMark) {}

    /// The buffer of an endpoint, made on first use.
    Buffer buffer(MIDIEndpointRef reference);

    /// The buffer of an endpoint, null when there is none.
    Buffer find(MIDIEndpointRef reference) const;

    /// Makes the buffer unless it is there.
    void addBuffer(MIDIEndpointRef reference) { buffer(reference); }

    /// Forgets the buffer with what is in it.
    void removeBuffer(MIDIEndpointRef reference);

    /// Moves the messages of all buffers to the end of `output`, source by source in the order of their references,
    /// each in its own order. One thread at a time.
    void drainAll(MessageList& output);

    /// The same into a list of its own.
    MessageList drainAll();

private:
    using Buffers = std::map<MIDIEndpointRef, Buffer>;

    const std::size_t perSourceLimit;
    Guarded<Buffers> buffers;
    /// Used within one `drainAll`; kept for its memory.
    std::vector<Buffer> drained;
};

}  // namespace varnolex
