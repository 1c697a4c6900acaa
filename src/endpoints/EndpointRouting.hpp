#pragma once

#include <memory>
#include <vector>

#include "endpoints/MIDIService.hpp"
#include "endpoints/ReferenceMap.hpp"
#include "platform/Runtime.hpp"
#include "platform/concurrency/ChainLock.hpp"
#include "platform/concurrency/Guarded.hpp"
#include "platform/concurrency/LiveValue.hpp"
#include "platform/concurrency/Published.hpp"

namespace varnolex {

/// Where lists leave this process: another application's destination, or those of others who hear a source of ours.
class PacketOutlet {
public:
    virtual ~PacketOutlet() = default;

    /// Any thread, several at once. It obeys the rules of the processing road. `port` is what the list is sent
    /// through, 0 for a source of ours; the list is valid during the call only.
    virtual MIDIStatus send(MIDIPortRef port, const PacketListView& list) = 0;
};

/// A read block with its turn: the service's thread and the queue on which lists of this process arrive may both have
/// something for it, and it is never run twice at once.
class PacketReader {
public:
    explicit PacketReader(MIDIReadBlock readBlock) : block(std::move(readBlock)) {}

    void read(const PacketListView& list, std::uintptr_t connection) {
        turn.lock();
        block(list, connection);
        turn.unlock();
    }

private:
    const MIDIReadBlock block;
    ChainLock turn;
};

/// Who hears one endpoint.
struct EndpointRoute {
    struct Reader {
        std::shared_ptr<PacketReader> reader;
        std::uintptr_t connection = 0;
    };

    bool isSource = false;
    /// Offered by this process, not by another application.
    bool isVirtual = false;
    /// This process: the connected input ports, or the block of a virtual destination.
    std::vector<Reader> readers;
    /// Other applications.
    std::vector<std::shared_ptr<PacketOutlet>> outlets;
};

/// Everything that sending has to know, replaced as a whole when an endpoint, a port or a connection changes.
struct EndpointRoutes {
    ReferenceMap<EndpointRoute> routes;
    /// In ascending order.
    std::vector<MIDIPortRef> outputPorts;

    bool hasOutputPort(MIDIPortRef port) const;
    const EndpointRoute* find(MIDIEndpointRef endpoint, bool isSource, bool isVirtual) const;
    /// A destination of either owner.
    const EndpointRoute* findDestination(MIDIEndpointRef endpoint) const;
};

/// The sending half of a MIDI service. Lists that leave this process take their outlets inside the call; lists that
/// come back to a read block of this process take the service's own queue.
class EndpointRouting : public std::enable_shared_from_this<EndpointRouting> {
public:
    /// Lists for this process that may be under way at once.
    static constexpr std::size_t listsUnderWayLimit = 16384;

    EndpointRouting();

    /// Main thread.
    void publish(std::unique_ptr<const EndpointRoutes> next) { table.publish(std::move(next)); }

    /// Any thread: out of this process, as `MIDISend` and `MIDIReceived`. Of several outlets that fail the last one's
    /// status is given.
    MIDIStatus sendOut(MIDIPortRef port, MIDIEndpointRef destination, const PacketListView& list);
    MIDIStatus received(MIDIEndpointRef source, const PacketListView& list);

    /// Any thread: into this process from another application's source, or to a virtual destination. The read blocks
    /// run inside the call.
    MIDIStatus sendIn(MIDIEndpointRef endpoint, bool endpointIsSource, const PacketListView& list);

    /// How many lists were refused because too many were under way.
    std::uint64_t lostLists() const { return lost.get(); }

private:
    /// A copy of a list on its way to readers of this process.
    struct Letter {
        MIDIEndpointRef endpoint = 0;
        std::vector<std::uint8_t> memory;
    };

    MIDIStatus distribute(const EndpointRoute& route, MIDIPortRef port, MIDIEndpointRef endpoint,
                          const PacketListView& list);
    MIDIStatus post(MIDIEndpointRef endpoint, const PacketListView& list);
    std::unique_ptr<Letter> takeLetter();
    void deliver(std::unique_ptr<Letter> letter);

    Published<EndpointRoutes> table;
    std::shared_ptr<Queue> queue;
    /// Letters for use again, so that a list in steady state costs a copy and no allocation.
    Guarded<std::vector<std::unique_ptr<Letter>>> spareLetters;
    SharedValue<std::size_t> underWay{0};
    SharedValue<std::uint64_t> lost{0};
};

}  // namespace varnolex
