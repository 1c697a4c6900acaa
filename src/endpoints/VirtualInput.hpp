#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "core/MessageParser.hpp"
#include "endpoints/MIDIService.hpp"
#include "platform/Runtime.hpp"
#include "platform/concurrency/LiveValue.hpp"
#include "platform/concurrency/Published.hpp"

namespace varnolex {

/// What a chain takes from a virtual input: one packet whole, as one run of bytes valid during the call only. The
/// time is never 0; the flag is true on the last packet of a list. Runs on the service's read thread.
using ChainCallback =
    std::function<void(const std::uint8_t* bytes, std::size_t length, HostTime timeStamp, bool isLastInBatch)>;

/// A destination of our own that other applications send to. `VirtualPortManager` makes, names and keeps it; all of
/// it belongs to the main thread except `receive`.
class VirtualInput {
public:
    VirtualInput(std::string portName, std::int32_t portUniqueID);
    VirtualInput(const VirtualInput&) = delete;
    VirtualInput& operator=(const VirtualInput&) = delete;

    /// Fresh in each run.
    const UUID id;

    const std::string& name() const { return currentName; }
    /// Kept across restarts and renames.
    std::int32_t uniqueID() const { return permanentID; }
    /// 0 while the endpoint isn't there.
    MIDIEndpointRef endpointRef() const { return endpoint; }
    bool isActive() const { return active; }

    /// Feeds a chain from now on, after those that are fed already. An id that is known gets the new callback in its
    /// old place. The callback should hold its owner weakly: one call may still be under way, and the callback be
    /// kept for a while, after its removal.
    void addChainCallback(const UUID& chain, ChainCallback callback);
    void removeChainCallback(const UUID& chain);

    /// The service's read thread, one list at a time: feeds the chains, then appends the messages for the monitors
    /// to `gathered`.
    void receive(const PacketListView& list, MessageList& gathered);

private:
    friend class VirtualPortManager;

    struct ChainEntry {
        UUID chain;
        ChainCallback callback;
    };
    using ChainCallbacks = std::vector<ChainEntry>;

    void setName(std::string next);
    void setEndpoint(MIDIEndpointRef reference);
    void publishCallbacks();

    std::string currentName;
    const std::int32_t permanentID;
    MIDIEndpointRef endpoint = 0;
    bool active = false;
    ChainCallbacks callbacks;
    /// What the read thread sees of `callbacks`.
    Published<ChainCallbacks> chainCallbacks;
    /// The name as the read thread puts it on messages.
    SharedValue<SharedName> endpointName;
    /// The read thread's own.
    MessageParser parser;
};

}  // namespace varnolex
