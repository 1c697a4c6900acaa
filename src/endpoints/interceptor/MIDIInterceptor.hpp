#pragma once

#include <functional>
#include <memory>
#include <set>

#include "endpoints/MIDIManager.hpp"
#include "endpoints/input/ParserRegistry.hpp"
#include "endpoints/input/PerSourceBufferRegistry.hpp"
#include "endpoints/interceptor/InterceptorLibrary.hpp"
#include "platform/Runtime.hpp"

namespace varnolex {

/// Shows what other applications send to destinations, as far as a driver is there to tell. Main thread.
class MIDIInterceptor {
public:
    static constexpr Nanoseconds flushInterval = std::chrono::milliseconds(100);
    /// While so many messages of a destination wait to be taken, what else comes for it is dropped.
    static constexpr std::size_t bufferLimit = MIDIMessageRingBuffer::usualHighWaterMark;

    explicit MIDIInterceptor(MessagePorts& messagePorts) : library(messagePorts) {}
    MIDIInterceptor(const MIDIInterceptor&) = delete;
    MIDIInterceptor& operator=(const MIDIInterceptor&) = delete;

    /// Signs on with the driver. Without one there is nothing to hear in this run, and nothing retries.
    void start();

    /// Whether the driver has answered.
    bool isAvailable() const { return available; }

    /// Hears a destination from now on; its messages are named after it, with an arrow behind. Nothing without a driver
    /// or when it is heard already; after a failure the next call tries again.
    void add(const MIDIDestinationInfo& destination);

    /// Ends that, and loses what is buffered of it.
    void remove(const MIDIDestinationInfo& destination);

    const std::set<MIDIEndpointRef>& activeEndpoints() const { return active; }

    /// Gets all messages of a flush that found any.
    std::function<void(const MessageList&)> onMessages;

private:
    /// What the read block works with on the worker thread. It holds it weakly.
    struct Reception {
        void read(const PacketListView& list, MIDIEndpointRef destination);

        ParserRegistry parserRegistry;
        PerSourceBufferRegistry buffers{bufferLimit};
        /// The read block's own; kept for its memory.
        MessageList gathered;
    };

    void flush();

    InterceptorLibrary library;
    InterceptorClientRef client;
    InterceptorPortRef port;
    bool available = false;
    std::set<MIDIEndpointRef> active;
    std::shared_ptr<Reception> reception = std::make_shared<Reception>();
    RepeatingTimer flushTimer;
};

}  // namespace varnolex
