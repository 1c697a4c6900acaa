#include "endpoints/memory/MemoryService.hpp"

namespace varnolex {

namespace {

class ListenerOutlet final : public PacketOutlet {
public:
    explicit ListenerOutlet(MIDIListener hearing) : listener(std::move(hearing)) {}

    MIDIStatus send(MIDIPortRef, const PacketListView& list) override {
        listener(list);
        return midiSuccess;
    }

private:
    const MIDIListener listener;
};

}  // namespace

MIDIEndpointRef MemoryService::plugSource(MIDIEndpointDescription description) {
    return addForeign(std::move(description), true);
}

MIDIEndpointRef MemoryService::plugDestination(MIDIEndpointDescription description) {
    return addForeign(std::move(description), false);
}

void MemoryService::unplug(MIDIEndpointRef endpoint) { removeForeign(endpoint); }

void MemoryService::rename(MIDIEndpointRef endpoint, std::string displayName) {
    const Endpoint* const found = find(endpoint, false);
    if (!found) return;
    MIDIEndpointDescription description = found->description;
    description.displayName = std::move(displayName);
    describeForeign(endpoint, std::move(description));
}

MIDIStatus MemoryService::send(MIDIEndpointRef source, const PacketListView& list) {
    return handIn(source, true, list);
}

MIDIStatus MemoryService::sendToVirtualDestination(MIDIEndpointRef destination, const PacketListView& list) {
    return handIn(destination, false, list);
}

MIDIStatus MemoryService::listen(MIDIEndpointRef destination, MIDIListener listener) {
    const Endpoint* const found = find(destination, false);
    return addListener(found && !found->isSource ? found : nullptr, destination, std::move(listener));
}

MIDIStatus MemoryService::listenToVirtualSource(MIDIEndpointRef source, MIDIListener listener) {
    const Endpoint* const found = find(source, true);
    return addListener(found && found->isSource ? found : nullptr, source, std::move(listener));
}

MIDIStatus MemoryService::addListener(const Endpoint* endpoint, MIDIEndpointRef reference, MIDIListener listener) {
    if (!endpoint) return midiWrongEndpoint;
    addOutlet(reference, std::make_shared<ListenerOutlet>(std::move(listener)));
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

MIDIStatus MemoryService::MIDIClientCreateWithBlock(const std::string& name, MIDINotifyBlock notifyBlock,
                                                    MIDIClientRef& client) {
    if (const MIDIStatus status = injected(Operation::MIDIClientCreateWithBlock)) return status;
    return EndpointTable::MIDIClientCreateWithBlock(name, std::move(notifyBlock), client);
}

MIDIEndpointRef MemoryService::MIDIGetSource(std::size_t index) {
    return injected(Operation::MIDIGetSource) == midiSuccess ? EndpointTable::MIDIGetSource(index) : 0;
}

MIDIEndpointRef MemoryService::MIDIGetDestination(std::size_t index) {
    return injected(Operation::MIDIGetDestination) == midiSuccess ? EndpointTable::MIDIGetDestination(index) : 0;
}

MIDIStatus MemoryService::MIDIObjectGetIntegerProperty(MIDIObjectRef object, MIDIProperty property,
                                                       std::int32_t& value) {
    if (const MIDIStatus status = injected(Operation::MIDIObjectGetIntegerProperty)) return status;
    return EndpointTable::MIDIObjectGetIntegerProperty(object, property, value);
}

MIDIStatus MemoryService::MIDIObjectGetStringProperty(MIDIObjectRef object, MIDIProperty property, std::string& value) {
    if (const MIDIStatus status = injected(Operation::MIDIObjectGetStringProperty)) return status;
    return EndpointTable::MIDIObjectGetStringProperty(object, property, value);
}

MIDIStatus MemoryService::MIDIObjectSetIntegerProperty(MIDIObjectRef object, MIDIProperty property,
                                                       std::int32_t value) {
    if (const MIDIStatus status = injected(Operation::MIDIObjectSetIntegerProperty)) return status;
    return EndpointTable::MIDIObjectSetIntegerProperty(object, property, value);
}

MIDIStatus MemoryService::MIDIObjectSetStringProperty(MIDIObjectRef object, MIDIProperty property,
                                                      const std::string& value) {
    if (const MIDIStatus status = injected(Operation::MIDIObjectSetStringProperty)) return status;
    return EndpointTable::MIDIObjectSetStringProperty(object, property, value);
}

MIDIStatus MemoryService::MIDIInputPortCreateWithBlock(MIDIClientRef client, const std::string& name,
                                                       MIDIReadBlock read, MIDIPortRef& port) {
    if (const MIDIStatus status = injected(Operation::MIDIInputPortCreateWithBlock)) return status;
    return EndpointTable::MIDIInputPortCreateWithBlock(client, name, std::move(read), port);
}

MIDIStatus MemoryService::MIDIPortConnectSource(MIDIPortRef port, MIDIEndpointRef source, std::uintptr_t connection) {
    if (const MIDIStatus status = injected(Operation::MIDIPortConnectSource)) return status;
    return EndpointTable::MIDIPortConnectSource(port, source, connection);
}

MIDIStatus MemoryService::MIDIPortDisconnectSource(MIDIPortRef port, MIDIEndpointRef source) {
    if (const MIDIStatus status = injected(Operation::MIDIPortDisconnectSource)) return status;
    return EndpointTable::MIDIPortDisconnectSource(port, source);
}

MIDIStatus MemoryService::MIDIOutputPortCreate(MIDIClientRef client, const std::string& name, MIDIPortRef& port) {
    if (const MIDIStatus status = injected(Operation::MIDIOutputPortCreate)) return status;
    return EndpointTable::MIDIOutputPortCreate(client, name, port);
}

MIDIStatus MemoryService::MIDIPortDispose(MIDIPortRef port) {
    if (const MIDIStatus status = injected(Operation::MIDIPortDispose)) return status;
    return EndpointTable::MIDIPortDispose(port);
}

MIDIStatus MemoryService::MIDISourceCreate(MIDIClientRef client, const std::string& name, MIDIEndpointRef& source) {
    if (const MIDIStatus status = injected(Operation::MIDISourceCreate)) return status;
    return EndpointTable::MIDISourceCreate(client, name, source);
}

MIDIStatus MemoryService::MIDIDestinationCreateWithBlock(MIDIClientRef client, const std::string& name,
                                                         MIDIReadBlock read, MIDIEndpointRef& destination) {
    if (const MIDIStatus status = injected(Operation::MIDIDestinationCreateWithBlock)) return status;
    return EndpointTable::MIDIDestinationCreateWithBlock(client, name, std::move(read), destination);
}

MIDIStatus MemoryService::MIDIEndpointDispose(MIDIEndpointRef endpoint) {
    if (const MIDIStatus status = injected(Operation::MIDIEndpointDispose)) return status;
    return EndpointTable::MIDIEndpointDispose(endpoint);
}

MIDIStatus MemoryService::MIDISend(MIDIPortRef port, MIDIEndpointRef destination, const PacketListView& list) {
    if (const MIDIStatus status = injected(Operation::MIDISend)) return status;
    return EndpointTable::MIDISend(port, destination, list);
}

MIDIStatus MemoryService::MIDIReceived(MIDIEndpointRef source, const PacketListView& list) {
    if (const MIDIStatus status = injected(Operation::MIDIReceived)) return status;
    return EndpointTable::MIDIReceived(source, list);
}

}  // namespace varnolex
