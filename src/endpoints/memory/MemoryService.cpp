#include "endpoints/memory/MemoryService.hpp"

#include <algorithm>

#include "endpoints/UniqueID.hpp"

namespace varnolex {

namespace {

std::string* stringProperty(MIDIEndpointDescription& description, MIDIProperty property) {
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
    return nullptr;
}

}  // namespace

MemoryService::MemoryService() = default;
MemoryService::~MemoryService() = default;

MIDIEndpointRef MemoryService::plugSource(MIDIEndpointDescription description) {
    return addEndpoint({.description = std::move(description), .isSource = true});
}

MIDIEndpointRef MemoryService::plugDestination(MIDIEndpointDescription description) {
    return addEndpoint({.description = std::move(description), .isSource = false});
}

void MemoryService::unplug(MIDIEndpointRef endpoint) {
    if (find(endpoint, false)) removeEndpoint(endpoint);
}

void MemoryService::rename(MIDIEndpointRef endpoint, std::string displayName) {
    Endpoint* const found = find(endpoint, false);
    if (!found) return;
    found->description.displayName = std::move(displayName);
    notify(midiPropertyChanged);
}

MIDIStatus MemoryService::send(MIDIEndpointRef source, const PacketListView& list) {
    return routing->sendIn(source, true, list);
}

MIDIStatus MemoryService::sendToVirtualDestination(MIDIEndpointRef destination, const PacketListView& list) {
    return routing->sendIn(destination, false, list);
}

MIDIStatus MemoryService::listen(MIDIEndpointRef destination, MIDIListener listener) {
    Endpoint* const found = find(destination, false);
    return addListener(found && !found->isSource ? found : nullptr, std::move(listener));
}

MIDIStatus MemoryService::listenToVirtualSource(MIDIEndpointRef source, MIDIListener listener) {
    Endpoint* const found = find(source, true);
    return addListener(found && found->isSource ? found : nullptr, std::move(listener));
}

MIDIStatus MemoryService::addListener(Endpoint* endpoint, MIDIListener listener) {
    if (!endpoint) return midiWrongEndpoint;
    endpoint->listeners.push_back(std::make_shared<const MIDIListener>(std::move(listener)));
    publish();
    return midiSuccess;
}

void MemoryService::failNext(Operation operation, MIDIStatus status, std::size_t times) {
    failures.with([&](Failures& held) { held[static_cast<std::size_t>(operation)] = {times, status}; });
    mayFail.set(true);
}

MIDIStatus MemoryService::injected(Operation operation) {
    if (!mayFail.get()) return midiSuccess;
    return failures.with([&](Failures& held) {
        Failure& failure = held[static_cast<std::size_t>(operation)];
        if (failure.times == 0) return midiSuccess;
        --failure.times;
        return failure.status;
    });
}

void MemoryService::notify(MIDINotificationID message) {
    Runtime::current().mainQueue().async([weakClients = std::weak_ptr(clients), message] {
        const auto told = weakClients.lock();
        if (!told) return;
        // A block may create another client.
        const Clients now = *told;
        for (const auto& [client, block] : now)
            if (block) block(message);
    });
}

MIDIStatus MemoryService::MIDIClientCreateWithBlock(const std::string&, MIDINotifyBlock notifyBlock,
                                                    MIDIClientRef& client) {
    if (const MIDIStatus status = injected(Operation::MIDIClientCreateWithBlock)) return status;
    client = ++lastReference;
    clients->emplace(client, std::move(notifyBlock));
    return midiSuccess;
}

MIDIEndpointRef MemoryService::MIDIGetSource(std::size_t index) {
    if (injected(Operation::MIDIGetSource) != midiSuccess) return 0;
    return index < sources.size() ? sources[index] : 0;
}

MIDIEndpointRef MemoryService::MIDIGetDestination(std::size_t index) {
    if (injected(Operation::MIDIGetDestination) != midiSuccess) return 0;
    return index < destinations.size() ? destinations[index] : 0;
}

MIDIStatus MemoryService::MIDIObjectGetIntegerProperty(MIDIObjectRef object, MIDIProperty property,
                                                       std::int32_t& value) {
    if (const MIDIStatus status = injected(Operation::MIDIObjectGetIntegerProperty)) return status;
    const auto found = endpoints.find(object);
    if (found == endpoints.end()) return midiWrongEndpoint;
    if (property != kMIDIPropertyUniqueID) return midiUnknownProperty;
    value = found->second.description.uniqueID;
    return midiSuccess;
}

MIDIStatus MemoryService::MIDIObjectGetStringProperty(MIDIObjectRef object, MIDIProperty property, std::string& value) {
    if (const MIDIStatus status = injected(Operation::MIDIObjectGetStringProperty)) return status;
    const auto found = endpoints.find(object);
    if (found == endpoints.end()) return midiWrongEndpoint;
    const std::string* const held = stringProperty(found->second.description, property);
    if (!held || held->empty()) return midiUnknownProperty;
    value = *held;
    return midiSuccess;
}

MIDIStatus MemoryService::MIDIObjectSetIntegerProperty(MIDIObjectRef object, MIDIProperty property,
                                                       std::int32_t value) {
    if (const MIDIStatus status = injected(Operation::MIDIObjectSetIntegerProperty)) return status;
    Endpoint* const endpoint = find(object, true);
    if (!endpoint) return midiWrongEndpoint;
    if (property != kMIDIPropertyUniqueID) return midiUnknownProperty;
    if (endpoint->description.uniqueID == value) return midiSuccess;
    if (isTaken(value)) return midiIDNotUnique;
    endpoint->description.uniqueID = value;
    notify(midiPropertyChanged);
    return midiSuccess;
}

MIDIStatus MemoryService::MIDIObjectSetStringProperty(MIDIObjectRef object, MIDIProperty property,
                                                      const std::string& value) {
    if (const MIDIStatus status = injected(Operation::MIDIObjectSetStringProperty)) return status;
    Endpoint* const endpoint = find(object, true);
    if (!endpoint) return midiWrongEndpoint;
    std::string* const held = stringProperty(endpoint->description, property);
    if (!held) return midiUnknownProperty;
    *held = value;
    notify(midiPropertyChanged);
    return midiSuccess;
}

MIDIStatus MemoryService::MIDIObjectFindByUniqueID(std::int32_t uniqueID, MIDIObjectRef& object) {
    for (const auto& [reference, endpoint] : endpoints) {
        if (endpoint.description.uniqueID != uniqueID) continue;
        object = reference;
        return midiSuccess;
    }
    return midiWrongEndpoint;
}

MIDIStatus MemoryService::MIDIInputPortCreateWithBlock(MIDIClientRef client, const std::string&, MIDIReadBlock read,
                                                       MIDIPortRef& port) {
    if (const MIDIStatus status = injected(Operation::MIDIInputPortCreateWithBlock)) return status;
    if (!clients->contains(client)) return midiInvalidClient;
    port = ++lastReference;
    inputPorts.emplace(port, std::make_shared<const MIDIReadBlock>(std::move(read)));
    return midiSuccess;
}

MIDIStatus MemoryService::MIDIPortConnectSource(MIDIPortRef port, MIDIEndpointRef source, std::uintptr_t connection) {
    if (const MIDIStatus status = injected(Operation::MIDIPortConnectSource)) return status;
    if (!inputPorts.contains(port)) return midiInvalidPort;
    const auto found = endpoints.find(source);
    if (found == endpoints.end() || !found->second.isSource) return midiWrongEndpoint;
    auto& connections = found->second.connections;
    const auto former = std::find_if(connections.begin(), connections.end(),
                                     [port](const Connection& other) { return other.port == port; });
    if (former != connections.end())
        former->connection = connection;
    else
        connections.push_back({port, connection});
    publish();
    return midiSuccess;
}

MIDIStatus MemoryService::MIDIPortDisconnectSource(MIDIPortRef port, MIDIEndpointRef source) {
    if (const MIDIStatus status = injected(Operation::MIDIPortDisconnectSource)) return status;
    if (!inputPorts.contains(port)) return midiInvalidPort;
    const auto found = endpoints.find(source);
    if (found == endpoints.end() || !found->second.isSource) return midiWrongEndpoint;
    if (std::erase_if(found->second.connections, [port](const Connection& other) { return other.port == port; }) == 0)
        return midiNoConnection;
    publish();
    return midiSuccess;
}

MIDIStatus MemoryService::MIDIOutputPortCreate(MIDIClientRef client, const std::string&, MIDIPortRef& port) {
    if (const MIDIStatus status = injected(Operation::MIDIOutputPortCreate)) return status;
    if (!clients->contains(client)) return midiInvalidClient;
    port = ++lastReference;
    outputPorts.push_back(port);
    publish();
    return midiSuccess;
}

MIDIStatus MemoryService::MIDIPortDispose(MIDIPortRef port) {
    if (const MIDIStatus status = injected(Operation::MIDIPortDispose)) return status;
    if (inputPorts.erase(port) + std::erase(outputPorts, port) == 0) return midiInvalidPort;
    for (auto& [reference, endpoint] : endpoints)
        std::erase_if(endpoint.connections, [port](const Connection& other) { return other.port == port; });
    publish();
    return midiSuccess;
}

MIDIStatus MemoryService::MIDISourceCreate(MIDIClientRef client, const std::string& name, MIDIEndpointRef& source) {
    if (const MIDIStatus status = injected(Operation::MIDISourceCreate)) return status;
    if (!clients->contains(client)) return midiInvalidClient;
    source = addEndpoint({.description = {.displayName = name}, .isSource = true, .isVirtual = true});
    return midiSuccess;
}

MIDIStatus MemoryService::MIDIDestinationCreateWithBlock(MIDIClientRef client, const std::string& name,
                                                         MIDIReadBlock read, MIDIEndpointRef& destination) {
    if (const MIDIStatus status = injected(Operation::MIDIDestinationCreateWithBlock)) return status;
    if (!clients->contains(client)) return midiInvalidClient;
    destination = addEndpoint({.description = {.displayName = name},
                               .isSource = false,
                               .isVirtual = true,
                               .read = std::make_shared<const MIDIReadBlock>(std::move(read))});
    return midiSuccess;
}

MIDIStatus MemoryService::MIDIEndpointDispose(MIDIEndpointRef endpoint) {
    if (const MIDIStatus status = injected(Operation::MIDIEndpointDispose)) return status;
    if (!find(endpoint, true)) return midiWrongEndpoint;
    removeEndpoint(endpoint);
    return midiSuccess;
}

MIDIStatus MemoryService::MIDISend(MIDIPortRef port, MIDIEndpointRef destination, const PacketListView& list) {
    if (const MIDIStatus status = injected(Operation::MIDISend)) return status;
    return routing->sendOut(port, destination, list);
}

MIDIStatus MemoryService::MIDIReceived(MIDIEndpointRef source, const PacketListView& list) {
    if (const MIDIStatus status = injected(Operation::MIDIReceived)) return status;
    return routing->received(source, list);
}

MemoryService::Endpoint* MemoryService::find(MIDIEndpointRef endpoint, bool isVirtual) {
    const auto found = endpoints.find(endpoint);
    return found != endpoints.end() && found->second.isVirtual == isVirtual ? &found->second : nullptr;
}

MIDIEndpointRef MemoryService::addEndpoint(Endpoint endpoint) {
    if (endpoint.description.uniqueID == 0)
        endpoint.description.uniqueID = freeUniqueID(endpoint.description.displayName);
    const MIDIEndpointRef reference = ++lastReference;
    (endpoint.isSource ? sources : destinations).push_back(reference);
    endpoints.emplace(reference, std::move(endpoint));
    publish();
    notify(midiObjectAdded);
    return reference;
}

void MemoryService::removeEndpoint(MIDIEndpointRef endpoint) {
    std::erase(sources, endpoint);
    std::erase(destinations, endpoint);
    endpoints.erase(endpoint);
    publish();
    notify(midiObjectRemoved);
}

std::int32_t MemoryService::freeUniqueID(const std::string& name) const {
    std::int32_t candidate = uniqueIDForName(name);
    while (isTaken(candidate)) candidate = candidate == INT32_MAX ? 1 : candidate + 1;
    return candidate;
}

bool MemoryService::isTaken(std::int32_t uniqueID) const {
    return std::any_of(endpoints.begin(), endpoints.end(),
                       [uniqueID](const auto& entry) { return entry.second.description.uniqueID == uniqueID; });
}

void MemoryService::publish() {
    assertMainThread();
    auto table = std::make_unique<MemoryRoutingTable>();
    table->outputPorts.insert(outputPorts.begin(), outputPorts.end());
    for (const auto& [reference, endpoint] : endpoints) {
        MemoryRoute route{endpoint.isSource, endpoint.isVirtual, {}, endpoint.listeners};
        if (endpoint.read) route.readers.push_back({endpoint.read, 0});
        for (const Connection& connection : endpoint.connections)
            route.readers.push_back({inputPorts.at(connection.port), connection.connection});
        table->routes.emplace(reference, std::move(route));
    }
    routing->publish(std::move(table));
}

}  // namespace varnolex
