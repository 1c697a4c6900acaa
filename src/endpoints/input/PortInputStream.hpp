#pragma once

#include <functional>
#include <memory>
#include <set>
#include <vector>

#include "endpoints/MIDIManager.hpp"
#include "endpoints/input/ParserRegistry.hpp"
#include "endpoints/input/PerSourceBufferRegistry.hpp"
#include "platform/Runtime.hpp"

namespace varnolex {

/// The one input port through which the monitoring side listens to all sources: what arrives on the service's thread is
/// parsed and kept there, and handed on from the main thread, all at once, 30 times a second. Main thread.
class PortInputStream {
public:
    static constexpr Nanoseconds drainInterval = std::chrono::nanoseconds(std::chrono::seconds(1)) / 30;

    explicit PortInputStream(MIDIClientRef midiClient);
    /// Disposes of the port. What is buffered is lost.
    ~PortInputStream();
    PortInputStream(const PortInputStream&) = delete;
    PortInputStream& operator=(const PortInputStream&) = delete;

    /// Creates the port, and begins to drain if that succeeds. Nothing when there is a port.
    void start();

    /// Listens to a source from now on. Nothing without a port or when it is listened to already; after a failure the
    /// next call tries again.
    void connect(const MIDISourceInfo& source);

    /// Ends that, and loses what is buffered of the source.
    void disconnect(const MIDISourceInfo& source);

    /// Gives the messages of the connected sources among these their present display names from now on.
    void updateNames(const std::vector<MIDISourceInfo>& sources);

    /// Gets all messages of a drain that found any.
    std::function<void(const MessageList&)> messageHandler;

    MIDIClientRef clientRef() const { return client; }
    /// 0 until `start` has succeeded.
    MIDIPortRef inputPortRef() const { return port; }
    const std::set<MIDIEndpointRef>& connectedEndpoints() const { return connected; }

private:
    /// What the read block works with. It holds it weakly, since a call may be under way when the stream goes.
    struct Reception {
        void read(const PacketListView& list, MIDIEndpointRef source);

        ParserRegistry parserRegistry;
        PerSourceBufferRegistry bufferRegistry;
        /// The read block's own; kept for its memory.
        MessageList gathered;
    };

    void drain();

    const MIDIClientRef client;
    MIDIPortRef port = 0;
    std::set<MIDIEndpointRef> connected;
    std::shared_ptr<Reception> reception = std::make_shared<Reception>();
    /// Empty between drains; kept for its memory.
    MessageList batch;
    RepeatingTimer drainTimer;
};

}  // namespace varnolex
