#include "endpoints/interceptor/InterceptorClient.hpp"

#include <algorithm>

namespace varnolex {

using namespace std::chrono_literals;
namespace protocol = interceptorprotocol;

namespace {

constexpr Nanoseconds signOnPatience = 300s;
/// The main thread waits meanwhile; a driver that is well takes a request at once.
constexpr Nanoseconds requestPatience = 1s;

}  // namespace

InterceptorClient::InterceptorClient(std::shared_ptr<DestinationMap> destinationMap) {
    reception->destinations = std::move(destinationMap);
}

InterceptorStatus InterceptorClient::signOn(MessagePorts& messagePorts) {
    remote = messagePorts.find(protocol::driverPortName);
    if (!remote) return interceptorNoDriver;
    const auto answer = remote->request(protocol::signOn, {}, signOnPatience, signOnPatience);
    const auto given = protocol::clientNumberFrom(answer.data);
    if (answer.outcome != PortOutcome::success || !given) return interceptorSignOnFailed;
    number = *given;
    std::string failure;
    const auto receive = [reception = reception](std::int32_t, std::span<const std::uint8_t> data) {
        reception->receive(data);
        return std::optional<PortBytes>();
    };
    local = messagePorts.open(protocol::clientPortName(number), receive, failure);
    if (!local) return interceptorSignOnFailed;
    return remote->send(protocol::ready, answer.data, signOnPatience) == PortOutcome::success ? interceptorSuccess
                                                                                              : interceptorSignOnFailed;
}

void InterceptorClient::close() {
    while (!ports.empty()) removePort(ports.back());
    local.reset();
    remote.reset();
}

InterceptorPortRef InterceptorClient::addPort(MIDIReadBlock read) {
    ports.push_back(std::make_shared<InterceptorPort>(weak_from_this(), std::move(read)));
    return ports.back();
}

// By value: the caller's reference may be the one in the list.
void InterceptorClient::removePort(InterceptorPortRef port) {
    std::vector<MIDIEndpointRef> heard;
    for (const auto& [destination, list] : connections) heard.push_back(destination);
    for (const MIDIEndpointRef destination : heard) disconnect(port, destination);
    port->client.reset();
    std::erase(ports, port);
}

InterceptorStatus InterceptorClient::connect(const InterceptorPortRef& port, MIDIEndpointRef destination,
                                             std::uintptr_t reference) {
    std::int32_t uniqueID = 0;
    if (MIDIService::current().MIDIObjectGetIntegerProperty(destination, kMIDIPropertyUniqueID, uniqueID) !=
        midiSuccess)
        return interceptorBadArgument;
    std::vector<InterceptorConnection>& list = connections[destination];
    const auto isOwn = [&](const InterceptorConnection& each) { return each.port.lock() == port; };
    if (std::any_of(list.begin(), list.end(), isOwn)) return interceptorAlreadyConnected;
    if (!isWanted(uniqueID) && ask(protocol::startForwarding, uniqueID) != PortOutcome::success) {
        connections.erase(destination);
        return interceptorNoDriver;
    }
    list.push_back({port, destination, uniqueID, reference});
    publish();
    return interceptorSuccess;
}

InterceptorStatus InterceptorClient::disconnect(const InterceptorPortRef& port, MIDIEndpointRef destination) {
    const auto known = connections.find(destination);
    if (known == connections.end()) return interceptorNotConnected;
    std::vector<InterceptorConnection>& list = known->second;
    const auto own = std::find_if(list.begin(), list.end(),
                                  [&](const InterceptorConnection& each) { return each.port.lock() == port; });
    if (own == list.end()) return interceptorNotConnected;
    const std::int32_t uniqueID = own->uniqueID;
    list.erase(own);
    if (list.empty()) connections.erase(known);
    publish();
    // A driver that has gone forwards nothing as it is.
    if (!isWanted(uniqueID)) ask(protocol::stopForwarding, uniqueID);
    return interceptorSuccess;
}

/// By the unique ID, which is what the driver goes by: a destination that went and came back has another reference, and
/// may be connected under the new one before it is disconnected under the old.
bool InterceptorClient::isWanted(std::int32_t uniqueID) const {
    return std::any_of(connections.begin(), connections.end(), [&](const auto& entry) {
        return !entry.second.empty() && entry.second.front().uniqueID == uniqueID;
    });
}

PortOutcome InterceptorClient::ask(protocol::Request request, std::int32_t uniqueID) {
    return remote->send(request, protocol::bytesOf(protocol::Forwarding{number, uniqueID}), requestPatience);
}

void InterceptorClient::publish() {
    auto next = std::make_unique<std::map<MIDIEndpointRef, std::vector<Reader>>>();
    for (const auto& [destination, list] : connections)
        for (const InterceptorConnection& each : list)
            if (const InterceptorPortRef port = each.port.lock())
                (*next)[destination].push_back({port->read, each.reference});
    reception->readers.publish(std::move(next));
}

void InterceptorClient::Reception::receive(std::span<const std::uint8_t> data) const {
    const auto copy = protocol::copyFrom(data);
    if (!copy) return;
    const MIDIEndpointRef destination = destinations->find(copy->destinationUniqueID);
    if (destination == 0) return;
    readers.read([&](const std::map<MIDIEndpointRef, std::vector<Reader>>* now) {
        if (!now) return;
        const auto found = now->find(destination);
        if (found == now->end()) return;
        const std::vector<Reader>& list = found->second;
        for (auto each = list.rbegin(); each != list.rend(); ++each) (*each->read)(copy->list, each->reference);
    });
}

}  // namespace varnolex
