#include "app/GatewayConnections.hpp"

#include <algorithm>

namespace varnolex {
namespace {

/// The bus over which applications of one machine talk: what they send to it comes back from it as a source.
constexpr std::string_view busDriver = "com.apple.AppleMIDIIACDriver";

template <class Info>
std::set<std::int32_t> uniqueIDsOf(const std::vector<Info>& endpoints) {
    std::set<std::int32_t> ids;
    for (const Info& endpoint : endpoints) ids.insert(endpoint.uniqueID);
    return ids;
}

std::set<std::int32_t> difference(const std::set<std::int32_t>& all, const std::set<std::int32_t>& without) {
    std::set<std::int32_t> rest;
    std::ranges::set_difference(all, without, std::inserter(rest, rest.end()));
    return rest;
}

/// Those that are heard and aren't there, without the newest ones.
template <class Info>
std::vector<Info> longGone(const std::set<MIDIEndpointRef>& heard, const std::vector<Info>& present) {
    std::vector<Info> gone;
    for (const MIDIEndpointRef reference : heard)
        if (std::ranges::find(present, reference, &Info::endpointRef) == present.end())
            gone.push_back({.endpointRef = reference});
    gone.resize(gone.size() - std::min(gone.size(), GatewayConnections::goneLimit));
    return gone;
}

}  // namespace

GatewayConnections::GatewayConnections(const MIDIManager& directory, MIDIGateway& hub,
                                       const VirtualPortManager& virtualPorts)
    : manager(directory),
      gateway(hub),
      ports(virtualPorts),
      previousSourceIDs(uniqueIDsOf(manager.sources())),
      previousDestinationIDs(uniqueIDsOf(manager.destinations())) {}

void GatewayConnections::syncGatewayConnections() {
    for (const MIDISourceInfo& source : manager.sources()) gateway.connectSource(source);
    if (PortInputStream* const stream = gateway.portInputStream())
        for (const auto& source : longGone(stream->connectedEndpoints(), manager.sources())) stream->disconnect(source);
    MIDIInterceptor* const interceptor = gateway.interceptor();
    if (!interceptor) return;
    const auto own = ownUniqueIDs();
    for (const MIDIDestinationInfo& destination : manager.destinations())
        isIntercepted(destination, own) ? interceptor->add(destination) : interceptor->remove(destination);
    for (const auto& destination : longGone(interceptor->activeEndpoints(), manager.destinations()))
        interceptor->remove(destination);
}

void GatewayConnections::endpointsDidChange() {
    syncGatewayConnections();
    if (PortInputStream* const stream = gateway.portInputStream()) stream->updateNames(manager.sources());
    auto sources = uniqueIDsOf(manager.sources());
    auto destinations = uniqueIDsOf(manager.destinations());
    Change change{difference(sources, previousSourceIDs), difference(destinations, previousDestinationIDs)};
    for (const auto& output : ports.outputs()) change.addedSources.erase(output->uniqueID());
    previousSourceIDs = std::move(sources);
    previousDestinationIDs = std::move(destinations);
    if (onChange) onChange(change);
}

std::set<std::int32_t> GatewayConnections::ownUniqueIDs() const {
    std::set<std::int32_t> own;
    for (const auto& input : ports.inputs()) own.insert(input->uniqueID());
    for (const auto& output : ports.outputs()) own.insert(output->uniqueID());
    return own;
}

bool GatewayConnections::isIntercepted(const MIDIDestinationInfo& destination,
                                       const std::set<std::int32_t>& own) const {
    return !own.contains(destination.uniqueID) && destination.driverOwner != busDriver;
}

}  // namespace varnolex
