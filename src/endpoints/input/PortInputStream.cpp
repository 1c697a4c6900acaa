#include "endpoints/input/PortInputStream.hpp"

#include <utility>

namespace varnolex {

PortInputStream::PortInputStream(MIDIClientRef midiClient) : client(midiClient) {}

PortInputStream::~PortInputStream() {
    if (port != 0 && MIDIService::isInstalled()) MIDIService::current().MIDIPortDispose(port);
}

void PortInputStream::start() {
    if (port != 0) return;
    const auto read = [weakReception = std::weak_ptr(reception)](const PacketListView& list, std::uintptr_t source) {
        if (const auto living = weakReception.lock()) living->read(list, static_cast<MIDIEndpointRef>(source));
    };
    if (MIDIService::current().MIDIInputPortCreateWithBlock(client, "Varnolex Input", read, port) != midiSuccess)
        return;
    Runtime& runtime = Runtime::current();
    const HostTime first = runtime.hostTime() + static_cast<HostTime>(drainInterval.count());
    drainTimer = runtime.mainQueue().repeating(first, drainInterval, [this] { drain(); });
}

void PortInputStream::connect(const MIDISourceInfo& source) {
    const MIDIEndpointRef reference = source.endpointRef;
    if (port == 0 || connected.contains(reference)) return;
    reception->parserRegistry.insert(reference, SharedName(source.displayName));
    reception->bufferRegistry.addBuffer(reference);
    if (MIDIService::current().MIDIPortConnectSource(port, reference, reference) == midiSuccess)
        connected.insert(reference);
}

void PortInputStream::disconnect(const MIDISourceInfo& source) {
    const MIDIEndpointRef reference = source.endpointRef;
    if (port == 0 || !connected.contains(reference)) return;
    MIDIService::current().MIDIPortDisconnectSource(port, reference);
    connected.erase(reference);
    reception->parserRegistry.remove(reference);
    reception->bufferRegistry.removeBuffer(reference);
}

void PortInputStream::updateNames(const std::vector<MIDISourceInfo>& sources) {
    for (const MIDISourceInfo& source : sources)
        if (connected.contains(source.endpointRef))
            reception->parserRegistry.setName(source.endpointRef, SharedName(source.displayName));
}

void PortInputStream::Reception::read(const PacketListView& list, MIDIEndpointRef source) {
    const auto [parser, name] = parserRegistry.find(source);
    const auto buffer = bufferRegistry.find(source);
    // Without them the source has been disconnected, and what was still on its way is nobody's.
    if (!parser || !buffer) return;
    parser->originatingEndpointName = name;
    for (const Packet& packet : list)
        parser->parse(packet.bytes.data(), packet.bytes.size(), packet.timeStamp, gathered);
    for (const MessageRef& message : gathered) message->originatingEndpointName = name;
    buffer->append(gathered);
}

void PortInputStream::drain() {
    MessageList messages = std::exchange(batch, {});
    reception->bufferRegistry.drainAll(messages);
    if (!messages.empty() && messageHandler) messageHandler(messages);
    messages.clear();
    batch = std::move(messages);
}

}  // namespace varnolex
