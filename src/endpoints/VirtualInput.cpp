#include "endpoints/VirtualInput.hpp"

#include <algorithm>
#include <optional>

namespace varnolex {

VirtualInput::VirtualInput(std::string portName, std::int32_t portUniqueID)
    : id(Runtime::current().makeUUID()), permanentID(portUniqueID) {
    setName(std::move(portName));
}

void VirtualInput::setName(std::string next) {
    currentName = std::move(next);
    endpointName.set(SharedName(currentName));
}

void VirtualInput::setEndpoint(MIDIEndpointRef reference) {
    endpoint = reference;
    active = reference != 0;
}

void VirtualInput::addChainCallback(const UUID& chain, ChainCallback callback) {
    const auto known =
        std::find_if(callbacks.begin(), callbacks.end(), [&](const ChainEntry& entry) { return entry.chain == chain; });
    if (known != callbacks.end())
        known->callback = std::move(callback);
    else
        callbacks.push_back({chain, std::move(callback)});
    publishCallbacks();
}

void VirtualInput::removeChainCallback(const UUID& chain) {
    if (std::erase_if(callbacks, [&](const ChainEntry& entry) { return entry.chain == chain; }) > 0) publishCallbacks();
}

void VirtualInput::publishCallbacks() {
    assertMainThread();
    chainCallbacks.publish(callbacks.empty() ? nullptr : std::make_unique<const ChainCallbacks>(callbacks));
}

void VirtualInput::receive(const PacketListView& list, MessageList& gathered) {
    // The music first: no chain waits until the monitors' messages of the packets before are made.
    chainCallbacks.read([&](const ChainCallbacks* entries) {
        if (!entries) return;
        const auto handOn = [entries](const Packet& packet, bool isLast) {
            const HostTime time = packet.timeStamp != 0 ? packet.timeStamp : Runtime::current().hostTime();
            for (const ChainEntry& entry : *entries)
                entry.callback(packet.bytes.data(), packet.bytes.size(), time, isLast);
        };
        // One packet behind, so that the batch ends with the last one that holds anything.
        std::optional<Packet> held;
        for (const Packet& packet : list) {
            if (packet.bytes.empty()) continue;
            if (held) handOn(*held, false);
            held = packet;
        }
        if (held) handOn(*held, true);
    });
    const SharedName name = endpointName.get();
    parser.originatingEndpointName = name;
    const std::size_t before = gathered.size();
    for (const Packet& packet : list)
        parser.parse(packet.bytes.data(), packet.bytes.size(), packet.timeStamp, gathered);
    for (std::size_t index = before; index < gathered.size(); ++index) gathered[index]->originatingEndpointName = name;
}

}  // namespace varnolex
