#pragma once

#include <cstdint>
#include <functional>
#include <set>

#include "endpoints/MIDIGateway.hpp"
#include "endpoints/MIDIManager.hpp"
#include "endpoints/VirtualPortManager.hpp"

namespace varnolex {

/// Keeps the monitoring side in step with the endpoints of the system: every source is always listened to, whatever a
/// view shows, and traffic to destinations is asked for where it is others' alone. Main thread.
class GatewayConnections {
public:
    /// What a change of the endpoints has brought, by unique ID. Ports of our own aren't among the added sources.
    struct Change {
        std::set<std::int32_t> addedSources;
        std::set<std::int32_t> addedDestinations;
    };

    /// Endpoints that have gone are listened to on, in case they come back: so many of each direction.
    static constexpr std::size_t goneLimit = 16;

    /// All of them must outlive it. What is there at the beginning counts as known.
    GatewayConnections(const MIDIManager& directory, MIDIGateway& hub, const VirtualPortManager& virtualPorts);

    /// Connects every source that isn't connected yet, and lets go of those that went first among too many gone ones.
    void syncGatewayConnections();

    /// For `MIDIManager::onEndpointsChanged`.
    void endpointsDidChange();

    /// Called at the end of `endpointsDidChange`.
    std::function<void(const Change&)> onChange;

private:
    std::set<std::int32_t> ownUniqueIDs() const;
    bool isIntercepted(const MIDIDestinationInfo& destination, const std::set<std::int32_t>& own) const;

    const MIDIManager& manager;
    MIDIGateway& gateway;
    const VirtualPortManager& ports;
    std::set<std::int32_t> previousSourceIDs;
    std::set<std::int32_t> previousDestinationIDs;
};

}  // namespace varnolex
