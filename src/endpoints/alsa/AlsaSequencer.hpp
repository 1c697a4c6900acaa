#pragma once

#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "endpoints/MIDIService.hpp"
#include "endpoints/alsa/AlsaOutlet.hpp"
#include "endpoints/alsa/AlsaPorts.hpp"

namespace varnolex {

/// What the service's thread works on.
struct AlsaGraph {
    struct Inlet {
        MIDIEndpointRef endpoint = 0;
        bool isSource = false;
    };
    struct Outlet {
        std::shared_ptr<AlsaOutlet> outlet;
        /// A destination of others; none for a source of ours, whose port is `port`.
        std::optional<AlsaAddress> destination{};
        int port = 0;
        /// The clients that hear what is sent, so that none is given more than it can hold.
        std::vector<std::uint8_t> receivers{};
    };
    /// Sources of others that are connected.
    std::map<AlsaAddress, Inlet> sources;
    /// Destinations of ours by their port.
    std::map<int, Inlet> destinations;
    std::vector<Outlet> outlets;
};

/// What has happened since it was last asked for.
struct AlsaChanges {
    /// Ports that have appeared: whatever had their address before is gone, with its connections.
    std::vector<AlsaAddress> arrivals;
    /// Not all arrivals are known: any port may be another one than before.
    bool isIncomplete = false;
};

/// One opening of the sequencer, with a client and a thread of its own, from its start to its end. Main thread.
class AlsaSequencer {
public:
    struct Calls {
        /// The sequencer's thread: what came from a source of others or for a destination of ours.
        std::function<void(const AlsaGraph::Inlet& inlet, const PacketListView& list)> received;
        /// The sequencer's thread: there are changes, or the sequencer has failed.
        std::function<void()> changed;
    };

    /// Opens the sequencer under a client name, with a bell that wakes its thread, and with what it is to count. Null,
    /// and the reason as a sentence, when that can't be.
    using Opening = std::function<std::unique_ptr<AlsaSequencer>(
        const std::string& clientName, std::shared_ptr<Bell> sharedBell, std::shared_ptr<AlsaLosses> sharedLosses,
        Calls sequencerCalls, std::string& reason)>;

    virtual ~AlsaSequencer() = default;

    /// False once the sequencer has failed.
    virtual bool isAlive() const = 0;

    /// The ports of others that may be connected to.
    virtual std::vector<AlsaPortInfo> foreignPorts() const = 0;
    virtual AlsaChanges takeChanges() = 0;

    /// A port of ours that others see. None when there is no room.
    virtual std::optional<int> makePort(const std::string& name, bool isSource) = 0;
    virtual void renamePort(int port, const std::string& name) = 0;
    virtual void removePort(int port) = 0;
    /// The clients that are connected to a source of ours.
    virtual std::vector<std::uint8_t> listeners(int port) const = 0;
    /// The clients that get what is sent to a destination of others: its own, and those to whom a port of the system
    /// without a device passes it on at once.
    virtual std::vector<std::uint8_t> receivers(AlsaAddress destination) const = 0;

    /// Opens or closes the way from a source of others, or to a destination of others. False when it is refused.
    virtual bool connect(AlsaAddress foreign, bool isSource) = 0;
    virtual void disconnect(AlsaAddress foreign, bool isSource) = 0;

    /// Replaces what the thread works on. When it returns true the thread doesn't use the old graph any more; false
    /// leaves that to a later call, which is rare.
    virtual bool setGraph(std::unique_ptr<const AlsaGraph> next) = 0;
};

}  // namespace varnolex
