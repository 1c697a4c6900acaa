#include "endpoints/interceptor/InterceptorLibrary.hpp"

#include <new>

#include "endpoints/interceptor/InterceptorClient.hpp"
#include "platform/Runtime.hpp"

namespace varnolex {

namespace {

template <class Operation>
InterceptorStatus withinMemory(Operation operation) {
    assertMainThread();
    try {
        return operation();
    } catch (const std::bad_alloc&) {
        return interceptorNoMemory;
    }
}

InterceptorClientRef clientOf(const InterceptorPortRef& port) { return port ? port->client.lock() : nullptr; }

}  // namespace

InterceptorLibrary::~InterceptorLibrary() {
    while (!clients.empty()) disposeClient(InterceptorClientRef(*clients.begin()));
}

InterceptorStatus InterceptorLibrary::createClient(InterceptorClientRef& client) {
    return withinMemory([&] { return makeClient(client); });
}

InterceptorStatus InterceptorLibrary::makeClient(InterceptorClientRef& client) {
    if (!destinations) {
        const auto map = std::make_shared<DestinationMap>();
        if (DestinationMap::start(map) != midiSuccess) return interceptorNoMemory;
        destinations = map;
    }
    const auto made = std::make_shared<InterceptorClient>(destinations);
    const InterceptorStatus status = made->signOn(ports);
    if (status != interceptorSuccess) return status;
    clients.insert(made);
    client = made;
    return interceptorSuccess;
}

// By value: the caller's reference may be the last but this one.
InterceptorStatus InterceptorLibrary::disposeClient(InterceptorClientRef client) {
    return withinMemory([&] {
        if (clients.erase(client) == 0) return interceptorBadArgument;
        client->close();
        return interceptorSuccess;
    });
}

InterceptorStatus InterceptorLibrary::createPort(const InterceptorClientRef& client, MIDIReadBlock read,
                                                 InterceptorPortRef& port) {
    return withinMemory([&] {
        if (!read || !clients.contains(client)) return interceptorBadArgument;
        port = client->addPort(std::move(read));
        return interceptorSuccess;
    });
}

InterceptorStatus InterceptorLibrary::disposePort(const InterceptorPortRef& port) {
    return withinMemory([&] {
        const InterceptorClientRef client = clientOf(port);
        if (!client) return interceptorBadArgument;
        client->removePort(port);
        return interceptorSuccess;
    });
}

InterceptorStatus InterceptorLibrary::connect(const InterceptorPortRef& port, MIDIEndpointRef destination,
                                              std::uintptr_t reference) {
    return withinMemory([&] {
        const InterceptorClientRef client = clientOf(port);
        return client ? client->connect(port, destination, reference) : interceptorBadArgument;
    });
}

InterceptorStatus InterceptorLibrary::disconnect(const InterceptorPortRef& port, MIDIEndpointRef destination) {
    return withinMemory([&] {
        const InterceptorClientRef client = clientOf(port);
        return client ? client->disconnect(port, destination) : interceptorBadArgument;
    });
}

}  // namespace varnolex
