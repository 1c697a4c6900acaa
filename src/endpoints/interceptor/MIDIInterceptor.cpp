#include "endpoints/interceptor/MIDIInterceptor.hpp"

namespace varnolex {

void MIDIInterceptor::start() {
    if (client || library.createClient(client) != interceptorSuccess) return;
    const auto read = [weakReception = std::weak_ptr(reception)](const PacketListView& list, std::uintptr_t reference) {
        if (const auto living = weakReception.lock()) living->read(list, static_cast<MIDIEndpointRef>(reference));
    };
    if (library.createPort(client, read, port) != interceptorSuccess) {
        library.disposeClient(client);
        client.reset();
        return;
    }
    available = true;
    Runtime& runtime = Runtime::current();
    const HostTime first = runtime.hostTime() + static_cast<HostTime>(flushInterval.count());
    flushTimer = runtime.mainQueue().repeating(first, flushInterval, [this] { flush(); });
}

void MIDIInterceptor::add(const MIDIDestinationInfo& destination) {
    const MIDIEndpointRef reference = destination.endpointRef;
    if (!port || active.contains(reference)) return;
    reception->parserRegistry.insert(reference, SharedName(destination.displayName + " →"));
    reception->buffers.addBuffer(reference);
    if (library.connect(port, reference, reference) == interceptorSuccess) active.insert(reference);
}

void MIDIInterceptor::remove(const MIDIDestinationInfo& destination) {
    const MIDIEndpointRef reference = destination.endpointRef;
    if (!port || !active.contains(reference)) return;
    library.disconnect(port, reference);
    active.erase(reference);
    reception->parserRegistry.remove(reference);
    reception->buffers.removeBuffer(reference);
}

void MIDIInterceptor::Reception::read(const PacketListView& list, MIDIEndpointRef destination) {
    const auto buffer = buffers.find(destination);
    // What waits is kept whole here: with a monitor that has fallen behind, the beginning tells more than the end.
    if (!buffer || buffer->count() >= bufferLimit) return;
    const auto [parser, name] = parserRegistry.find(destination);
    if (!parser) return;
    parser->originatingEndpointName = name;
    for (const Packet& packet : list)
        parser->parse(packet.bytes.data(), packet.bytes.size(), packet.timeStamp, gathered);
    for (const MessageRef& message : gathered) message->originatingEndpointName = name;
    buffer->append(gathered);
}

void MIDIInterceptor::flush() {
    const MessageList messages = reception->buffers.drainAll();
    if (!messages.empty() && onMessages) onMessages(messages);
}

}  // namespace varnolex
