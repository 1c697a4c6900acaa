#include "endpoints/EndpointRouting.hpp"

#include <algorithm>

namespace varnolex {

namespace {

constexpr std::size_t lettersAtStart = 32;
constexpr std::size_t letterSizeAtStart = 256;

void runReaders(const EndpointRoute& route, const PacketListView& list) {
    for (const EndpointRoute::Reader& each : route.readers) each.reader->read(list, each.connection);
}

}  // namespace

const EndpointRoute* EndpointRoutes::find(MIDIEndpointRef endpoint, bool isSource, bool isVirtual) const {
    const EndpointRoute* const route = routes.find(endpoint);
    return route && route->isSource == isSource && route->isVirtual == isVirtual ? route : nullptr;
}

const EndpointRoute* EndpointRoutes::findDestination(MIDIEndpointRef endpoint) const {
    const EndpointRoute* const route = routes.find(endpoint);
    return route && !route->isSource ? route : nullptr;
}

bool EndpointRoutes::hasOutputPort(MIDIPortRef port) const { return std::ranges::binary_search(outputPorts, port); }

EndpointRouting::EndpointRouting() : queue(Runtime::current().makeQueue("com.varnolex.midi", QueuePriority::timing)) {
    publish(std::make_unique<EndpointRoutes>());
    spareLetters.with([](auto& spare) {
        for (std::size_t index = 0; index < lettersAtStart; ++index) {
            spare.push_back(std::make_unique<Letter>());
            spare.back()->memory.reserve(letterSizeAtStart);
        }
    });
}

MIDIStatus EndpointRouting::sendOut(MIDIPortRef port, MIDIEndpointRef destination, const PacketListView& list) {
    return table.read([&](const EndpointRoutes* now) {
        if (!now->hasOutputPort(port)) return midiInvalidPort;
        const EndpointRoute* route = now->findDestination(destination);
        return route ? distribute(*route, port, destination, list) : midiWrongEndpoint;
    });
}

MIDIStatus EndpointRouting::received(MIDIEndpointRef source, const PacketListView& list) {
    return table.read([&](const EndpointRoutes* now) {
        const EndpointRoute* route = now->find(source, true, true);
        return route ? distribute(*route, 0, source, list) : midiWrongEndpoint;
    });
}

MIDIStatus EndpointRouting::sendIn(MIDIEndpointRef endpoint, bool endpointIsSource, const PacketListView& list) {
    return table.read([&](const EndpointRoutes* now) {
        const EndpointRoute* route = now->find(endpoint, endpointIsSource, !endpointIsSource);
        if (!route) return midiWrongEndpoint;
        runReaders(*route, list);
        return midiSuccess;
    });
}

MIDIStatus EndpointRouting::distribute(const EndpointRoute& route, MIDIPortRef port, MIDIEndpointRef endpoint,
                                       const PacketListView& list) {
    MIDIStatus status = midiSuccess;
    for (const auto& outlet : route.outlets)
        if (const MIDIStatus outcome = outlet->send(port, list)) status = outcome;
    if (!route.readers.empty())
        if (const MIDIStatus outcome = post(endpoint, list)) status = outcome;
    return status;
}

MIDIStatus EndpointRouting::post(MIDIEndpointRef endpoint, const PacketListView& list) {
    if (underWay.add(1) > listsUnderWayLimit) {
        underWay.add(static_cast<std::size_t>(-1));
        lost.add(1);
        return midiQueueFull;
    }
    std::unique_ptr<Letter> letter = takeLetter();
    const auto used = list.usedMemory();
    letter->endpoint = endpoint;
    letter->memory.assign(used.begin(), used.end());
    queue->async([weakSelf = weak_from_this(), letter = std::move(letter)]() mutable {
        if (const auto self = weakSelf.lock()) self->deliver(std::move(letter));
    });
    return midiSuccess;
}

std::unique_ptr<EndpointRouting::Letter> EndpointRouting::takeLetter() {
    std::unique_ptr<Letter> letter = spareLetters.with([](auto& spare) {
        if (spare.empty()) return std::unique_ptr<Letter>();
        std::unique_ptr<Letter> taken = std::move(spare.back());
        spare.pop_back();
        return taken;
    });
    return letter ? std::move(letter) : std::make_unique<Letter>();
}

void EndpointRouting::deliver(std::unique_ptr<Letter> letter) {
    table.read([&](const EndpointRoutes* now) {
        // Whoever has disconnected since hears nothing of it any more.
        if (const EndpointRoute* const route = now->routes.find(letter->endpoint))
            runReaders(*route, PacketListView(letter->memory));
    });
    underWay.add(static_cast<std::size_t>(-1));
    spareLetters.with([&](auto& spare) { spare.push_back(std::move(letter)); });
}

}  // namespace varnolex
