#include "bench/LiveStage.hpp"

#include <unistd.h>

#include <algorithm>
#include <fstream>

#include "cli/PatchSource.hpp"
#include "tools/endpoints/MidiInTool.hpp"
#include "tools/endpoints/MidiOutTool.hpp"

namespace varnolex::bench {

LiveStage::LiveStage(const std::string& patch) {
    directory.setup();
    engine.clientRef = directory.clientRef();
    modular = loadPatch({.file = {}, .text = patch, .studio = {}}, engine);
    for (const auto& node : modular->nodes) {
        if (auto* input = dynamic_cast<MidiInTool*>(node->tool.get())) input->connectToSource(uniqueIDOf(keys));
        if (auto* output = dynamic_cast<MidiOutTool*>(node->tool.get()))
            output->connectToDestination(uniqueIDOf(synth));
    }
    pressStart(*modular);
}

void LiveStage::watch(MessagePorts* ports) {
    gateway.subscribeToSources("views", [this](const MessageList& messages) { show(messages); });
    gateway.subscribeToListeners("views", [this](const MessageList& messages) { intercepted += messages.size(); });
    gateway.start(directory.clientRef(), ports);
    directory.onEndpointsChanged = [this] { connections.endpointsDidChange(); };
    directory.refresh();
    connections.syncGatewayConnections();
}

LiveStage::~LiveStage() {
    directory.onEndpointsChanged = nullptr;
    gateway.stop();
    engine.removeModular(*modular);
}

std::int32_t LiveStage::uniqueIDOf(MIDIEndpointRef endpoint) {
    std::int32_t uniqueID = 0;
    service.MIDIObjectGetIntegerProperty(endpoint, kMIDIPropertyUniqueID, uniqueID);
    return uniqueID;
}

void LiveStage::show(const MessageList& messages) {
    for (MIDIMessageHistory& view : views) view.add(messages);
    static const SharedName name("Keys");
    const auto count = static_cast<std::size_t>(
        std::ranges::count_if(messages, [](const auto& each) { return each->originatingEndpointName == name; }));
    if (count == 0) return;
    shown += count;
    const HostTime now = Runtime::current().hostTime();
    if (lastBatch != 0) longestPause = std::max(longestPause, now - lastBatch);
    lastBatch = now;
}

double residentMegabytes() {
    std::ifstream file("/proc/self/statm");
    std::size_t all = 0;
    std::size_t resident = 0;
    file >> all >> resident;
    return static_cast<double>(resident) * static_cast<double>(::sysconf(_SC_PAGESIZE)) / 1e6;
}

}  // namespace varnolex::bench
