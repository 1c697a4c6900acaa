#include "endpoints/input/PerSourceBufferRegistry.hpp"

namespace varnolex {

PerSourceBufferRegistry::Buffer PerSourceBufferRegistry::find(MIDIEndpointRef reference) const {
    return buffers.with([&](const Buffers& held) {
        const auto known = held.find(reference);
        return known != held.end() ? known->second : nullptr;
    });
}

PerSourceBufferRegistry::Buffer PerSourceBufferRegistry::buffer(MIDIEndpointRef reference) {
    if (const Buffer known = find(reference)) return known;
    // All memory is taken before the lock. Whoever was faster meanwhile has made the buffer that counts.
    Buffers made;
    made.emplace(reference, std::make_shared<MIDIMessageRingBuffer>(perSourceLimit));
    auto node = made.extract(reference);
    return buffers.with([&](Buffers& held) {
        const auto known = held.find(reference);
        return known != held.end() ? known->second : held.insert(std::move(node)).position->second;
    });
}

void PerSourceBufferRegistry::removeBuffer(MIDIEndpointRef reference) {
    const auto removed = buffers.with([&](Buffers& held) { return held.extract(reference); });
}

void PerSourceBufferRegistry::drainAll(MessageList& output) {
    const auto snapshot = [this](const Buffers& held) {
        const std::size_t count = held.size();
        if (count <= drained.capacity())
            for (const auto& [reference, each] : held) drained.push_back(each);
        return count;
    };
    for (std::size_t count = buffers.with(snapshot); drained.size() != count; count = buffers.with(snapshot)) {
        drained.clear();
        drained.reserve(count);
    }
    for (const Buffer& each : drained) each->drain(output);
    drained.clear();
}

MessageList PerSourceBufferRegistry::drainAll() {
    MessageList output;
    drainAll(output);
    return output;
}

}  // namespace varnolex
