#pragma once

#include <memory>
#include <optional>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "endpoints/MIDIService.hpp"
#include "platform/Runtime.hpp"
#include "platform/concurrency/Guarded.hpp"
#include "platform/concurrency/LiveValue.hpp"
#include "platform/concurrency/Published.hpp"

namespace varnolex {

/// Another application that hears an endpoint: called with each list, on the thread that sends it.
using MIDIListener = std::function<void(const PacketListView&)>;

/// Who hears one endpoint of the in-process service.
struct MemoryRoute {
    struct Reader {
        std::shared_ptr<const MIDIReadBlock> block;
        std::uintptr_t connection = 0;
    };

    bool isSource = false;
    /// Offered by this process, not by another application.
    bool isVirtual = false;
    /// This process: the connected input ports, or the block of a virtual destination.
    std::vector<Reader> readers;
    /// Other applications.
    std::vector<std::shared_ptr<const MIDIListener>> listeners;
};

/// Everything that sending has to know, replaced as a whole when an endpoint, a port or a connection changes.
struct MemoryRoutingTable {
    std::unordered_map<MIDIEndpointRef, MemoryRoute> routes;
    std::unordered_set<MIDIPortRef> outputPorts;

    const MemoryRoute* find(MIDIEndpointRef endpoint, bool isSource, bool isVirtual) const;
    /// A destination of either owner.
    const MemoryRoute* findDestination(MIDIEndpointRef endpoint) const;
};

/// The sending half of the in-process service. Lists that leave this process reach their listeners inside the call;
/// lists that come back to a read block of this process take the service's own queue.
class MemoryRouting : public std::enable_shared_from_this<MemoryRouting> {
public:
    /// Lists for this process that may be under way at once.
    static constexpr std::size_t listsUnderWayLimit = 16384;

    MemoryRouting();

    /// Main thread.
    void publish(std::unique_ptr<const MemoryRoutingTable> next) { table.publish(std::move(next)); }

    /// Any thread: out of this process, as `MIDISend` and `MIDIReceived`.
    MIDIStatus sendOut(MIDIPortRef port, MIDIEndpointRef destination, const PacketListView& list);
    MIDIStatus received(MIDIEndpointRef source, const PacketListView& list);

    /// Any thread, one at a time for each reader: into this process, the read blocks running inside the call.
    MIDIStatus sendIn(MIDIEndpointRef endpoint, bool endpointIsSource, const PacketListView& list);

    /// How many lists were refused because too many were under way.
    std::uint64_t lostLists() const { return lost.get(); }

private:
    /// A copy of a list on its way to readers of this process.
    struct Letter {
        MIDIEndpointRef endpoint = 0;
        std::vector<std::uint8_t> memory;
    };

    MIDIStatus distribute(const MemoryRoute& route, MIDIEndpointRef endpoint, const PacketListView& list);
    MIDIStatus post(MIDIEndpointRef endpoint, const PacketListView& list);
    std::unique_ptr<Letter> takeLetter();
    void deliver(std::unique_ptr<Letter> letter);

    Published<MemoryRoutingTable> table;
    std::shared_ptr<Queue> queue;
    /// Letters for use again, so that a list in steady state costs a copy and no allocation.
    Guarded<std::vector<std::unique_ptr<Letter>>> spareLetters;
    SharedValue<std::size_t> underWay{0};
    SharedValue<std::uint64_t> lost{0};
};

}  // namespace varnolex
