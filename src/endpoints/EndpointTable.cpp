#include "endpoints/EndpointTable.hpp"

#include <algorithm>

#include "endpoints/UniqueID.hpp"

namespace varnolex {

namespace {

/// In a description, constant or not.
template <class Description>
auto* stringProperty(Description& description, MIDIProperty property) {
    switch (property) {
        case kMIDIPropertyName:
        case kMIDIPropertyDisplayName:
            return &description.displayName;
        case kMIDIPropertyManufacturer:
            return &description.manufacturer;
        case kMIDIPropertyModel:
            return &description.model;
        case kMIDIPropertyDriverOwner:
            return &description.driverOwner;
        case kMIDIPropertyUniqueID:
            break;
    }
    return static_cast<decltype(&description.displayName)>(nullptr);
}

}  // namespace

void EndpointTable::notify(MIDINotificationID message) {
    Runtime::current().mainQueue().async([weakClients = std::weak_ptr(clients), message] {
        const auto told = weakClients.lock();
        if (!told) return;
        // A block may create another client.
        const Clients now = *told;
        for (const auto& [client, block] : now)
            if (block) block(message);
    });
}

MIDIStatus EndpointTable::MIDIClientCreateWithBlock(const std::string&, MIDINotifyBlock notifyBlock,
                                                    MIDIClientRef& client) {
    client = ++lastReference;
    clients->emplace(client, std::move(notifyBlock));
    return midiSuccess;
}

MIDIEndpointRef EndpointTable::MIDIGetSource(std::size_t index) { return index < sources.size() ? sources[index] : 0; }

MIDIEndpointRef EndpointTable::MIDIGetDestination(std::size_t index) {
    return index < destinations.size() ? destinations[index] : 0;
}

MIDIStatus EndpointTable::MIDIObjectGetIntegerProperty(MIDIObjectRef object, MIDIProperty property,
                                                       std::int32_t& value) {
    const auto found = endpoints.find(object);
    if (found == endpoints.end() || !found->second.isPresent) return midiWrongEndpoint;
    if (property != kMIDIPropertyUniqueID) return midiUnknownProperty;
    value = found->second.description.uniqueID;
    return midiSuccess;
}

MIDIStatus EndpointTable::MIDIObjectGetStringProperty(MIDIObjectRef object, MIDIProperty property, std::string& value) {
    const auto found = endpoints.find(object);
    if (found == endpoints.end() || !found->second.isPresent) return midiWrongEndpoint;
    const std::string* const held = stringProperty(found->second.description, property);
    if (!held || held->empty()) return midiUnknownProperty;
    value = *held;
    return midiSuccess;
}

MIDIStatus EndpointTable::MIDIObjectSetIntegerProperty(MIDIObjectRef object, MIDIProperty property,
                                                       std::int32_t value) {
    Endpoint* const endpoint = findOwn(object);
    if (!endpoint) return midiWrongEndpoint;
    if (property != kMIDIPropertyUniqueID) return midiUnknownProperty;
    if (endpoint->description.uniqueID == value) return midiSuccess;
    if (isTaken(value)) return midiIDNotUnique;
    endpoint->description.uniqueID = value;
    notify(midiPropertyChanged);
    return midiSuccess;
}

MIDIStatus EndpointTable::MIDIObjectSetStringProperty(MIDIObjectRef object, MIDIProperty property,
                                                      const std::string& value) {
    Endpoint* const endpoint = findOwn(object);
    if (!endpoint) return midiWrongEndpoint;
    std::string* const held = stringProperty(endpoint->description, property);
    if (!held) return midiUnknownProperty;
    *held = value;
    tableDidChange();
    notify(midiPropertyChanged);
    return midiSuccess;
}

MIDIStatus EndpointTable::MIDIObjectFindByUniqueID(std::int32_t uniqueID, MIDIObjectRef& object) {
    for (const auto& [reference, endpoint] : endpoints) {
        if (endpoint.description.uniqueID != uniqueID || !endpoint.isPresent) continue;
        object = reference;
        return midiSuccess;
    }
    return midiWrongEndpoint;
}

MIDIStatus EndpointTable::MIDIInputPortCreateWithBlock(MIDIClientRef client, const std::string&, MIDIReadBlock read,
                                                       MIDIPortRef& port) {
    if (!clients->contains(client)) return midiInvalidClient;
    port = ++lastReference;
    inputPorts.emplace(port, std::make_shared<PacketReader>(std::move(read)));
    return midiSuccess;
}

MIDIStatus EndpointTable::MIDIPortConnectSource(MIDIPortRef port, MIDIEndpointRef source, std::uintptr_t connection) {
    if (!inputPorts.contains(port)) return midiInvalidPort;
    Endpoint* const endpoint = findSource(source);
    if (!endpoint || !endpoint->isPresent) return midiWrongEndpoint;
    auto& connections = endpoint->connections;
    const auto former = std::find_if(connections.begin(), connections.end(),
                                     [port](const Connection& other) { return other.port == port; });
    if (former != connections.end())
        former->connection = connection;
    else
        connections.push_back({port, connection});
    publish();
    return midiSuccess;
}

MIDIStatus EndpointTable::MIDIPortDisconnectSource(MIDIPortRef port, MIDIEndpointRef source) {
    if (!inputPorts.contains(port)) return midiInvalidPort;
    Endpoint* const endpoint = findSource(source);
    if (!endpoint) return midiWrongEndpoint;
    if (std::erase_if(endpoint->connections, [port](const Connection& other) { return other.port == port; }) == 0)
        return midiNoConnection;
    publish();
    return midiSuccess;
}

MIDIStatus EndpointTable::MIDIOutputPortCreate(MIDIClientRef client, const std::string&, MIDIPortRef& port) {
    if (!clients->contains(client)) return midiInvalidClient;
    port = ++lastReference;
    outputPorts.push_back(port);
    publish();
    return midiSuccess;
}

MIDIStatus EndpointTable::MIDIPortDispose(MIDIPortRef port) {
    if (inputPorts.erase(port) + std::erase(outputPorts, port) == 0) return midiInvalidPort;
    for (auto& [reference, endpoint] : endpoints)
        std::erase_if(endpoint.connections, [port](const Connection& other) { return other.port == port; });
    publish();
    return midiSuccess;
}

MIDIStatus EndpointTable::MIDISourceCreate(MIDIClientRef client, const std::string& name, MIDIEndpointRef& source) {
    if (!clients->contains(client)) return midiInvalidClient;
    source = addEndpoint({.description = {.displayName = name}, .isSource = true, .isVirtual = true});
    return midiSuccess;
}

MIDIStatus EndpointTable::MIDIDestinationCreateWithBlock(MIDIClientRef client, const std::string& name,
                                                         MIDIReadBlock read, MIDIEndpointRef& destination) {
    if (!clients->contains(client)) return midiInvalidClient;
    destination = addEndpoint({.description = {.displayName = name},
                               .isSource = false,
                               .isVirtual = true,
                               .reader = std::make_shared<PacketReader>(std::move(read))});
    return midiSuccess;
}

MIDIStatus EndpointTable::MIDIEndpointDispose(MIDIEndpointRef endpoint) {
    if (!findOwn(endpoint)) return midiWrongEndpoint;
    removeEndpoint(endpoint);
    return midiSuccess;
}

MIDIEndpointRef EndpointTable::addForeign(MIDIEndpointDescription description, bool isSource) {
    return addEndpoint({.description = std::move(description), .isSource = isSource});
}

void EndpointTable::removeForeign(MIDIEndpointRef endpoint) {
    if (findForeign(endpoint)) removeEndpoint(endpoint);
}

void EndpointTable::setForeignPresent(MIDIEndpointRef endpoint, bool isPresent) {
    Endpoint* const found = findForeign(endpoint);
    if (!found || found->isPresent == isPresent) return;
    found->isPresent = isPresent;
    if (isPresent)
        list(endpoint, *found);
    else
        unlist(endpoint);
    publish();
    notify(isPresent ? midiObjectAdded : midiObjectRemoved);
}

void EndpointTable::describeForeign(MIDIEndpointRef endpoint, MIDIEndpointDescription description) {
    Endpoint* const found = findForeign(endpoint);
    if (!found || found->description == description) return;
    found->description = std::move(description);
    tableDidChange();
    if (found->isPresent) notify(midiPropertyChanged);
}

std::vector<MIDIEndpointRef> EndpointTable::longGoneForeign() const {
    std::vector<MIDIEndpointRef> gone;
    for (const auto& [reference, endpoint] : endpoints)
        if (!endpoint.isVirtual && !endpoint.isPresent && endpoint.connections.empty()) gone.push_back(reference);
    // Many at once, and then none for a while.
    gone.resize(gone.size() < 2 * goneLimit ? 0 : gone.size() - goneLimit);
    return gone;
}

void EndpointTable::addOutlet(MIDIEndpointRef endpoint, std::shared_ptr<PacketOutlet> outlet) {
    const auto found = endpoints.find(endpoint);
    if (found == endpoints.end()) return;
    found->second.outlets.push_back(std::move(outlet));
    publish();
}

const EndpointTable::Endpoint* EndpointTable::find(MIDIEndpointRef endpoint, bool isVirtual) const {
    const auto found = endpoints.find(endpoint);
    return found != endpoints.end() && found->second.isVirtual == isVirtual ? &found->second : nullptr;
}

EndpointTable::Endpoint* EndpointTable::findOwn(MIDIEndpointRef endpoint) {
    return const_cast<Endpoint*>(find(endpoint, true));
}

EndpointTable::Endpoint* EndpointTable::findForeign(MIDIEndpointRef endpoint) {
    return const_cast<Endpoint*>(find(endpoint, false));
}

EndpointTable::Endpoint* EndpointTable::findSource(MIDIEndpointRef endpoint) {
    const auto found = endpoints.find(endpoint);
    return found != endpoints.end() && found->second.isSource ? &found->second : nullptr;
}

MIDIEndpointRef EndpointTable::addEndpoint(Endpoint endpoint) {
    if (endpoint.description.uniqueID == 0)
        endpoint.description.uniqueID = freeUniqueID(endpoint.description.displayName);
    const MIDIEndpointRef reference = ++lastReference;
    list(reference, endpoint);
    endpoints.emplace(reference, std::move(endpoint));
    publish();
    notify(midiObjectAdded);
    return reference;
}

void EndpointTable::removeEndpoint(MIDIEndpointRef endpoint) {
    const bool wasPresent = endpoints.at(endpoint).isPresent;
    unlist(endpoint);
    endpoints.erase(endpoint);
    publish();
    if (wasPresent) notify(midiObjectRemoved);
}

void EndpointTable::list(MIDIEndpointRef reference, const Endpoint& endpoint) {
    (endpoint.isSource ? sources : destinations).push_back(reference);
}

void EndpointTable::unlist(MIDIEndpointRef reference) {
    std::erase(sources, reference);
    std::erase(destinations, reference);
}

std::int32_t EndpointTable::freeUniqueID(const std::string& name) const {
    std::int32_t candidate = uniqueIDForName(name);
    while (isTaken(candidate)) candidate = candidate == INT32_MAX ? 1 : candidate + 1;
    return candidate;
}

bool EndpointTable::isTaken(std::int32_t uniqueID) const {
    return std::any_of(endpoints.begin(), endpoints.end(),
                       [uniqueID](const auto& entry) { return entry.second.description.uniqueID == uniqueID; });
}

void EndpointTable::publish() {
    assertMainThread();
    auto table = std::make_unique<EndpointRoutes>();
    table->outputPorts = outputPorts;
    std::ranges::sort(table->outputPorts);
    for (const auto& [reference, endpoint] : endpoints) {
        if (!endpoint.isPresent) continue;
        EndpointRoute route{endpoint.isSource, endpoint.isVirtual, {}, endpoint.outlets};
        if (endpoint.reader) route.readers.push_back({endpoint.reader, 0});
        for (const Connection& connection : endpoint.connections)
            route.readers.push_back({inputPorts.at(connection.port), connection.connection});
        table->routes.insert(reference, std::move(route));
    }
    routing->publish(std::move(table));
    tableDidChange();
}

}  // namespace varnolex
