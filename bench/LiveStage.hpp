#pragma once

#include <array>
#include <memory>
#include <string>

#include "app/GatewayConnections.hpp"
#include "core/MIDIMessageHistory.hpp"
#include "endpoints/memory/MemoryService.hpp"
#include "platform/DefaultsStore.hpp"
#include "platform/Runtime.hpp"
#include "studio/ModularEngine.hpp"

namespace varnolex::bench {

/// A session with a studio that plays from "Keys" to "Synth", and whose traffic is watched, in whatever runtime is
/// installed. Main thread.
class LiveStage {
public:
    explicit LiveStage(const std::string& patch);
    ~LiveStage();
    LiveStage(const LiveStage&) = delete;
    LiveStage& operator=(const LiveStage&) = delete;

    /// Begins to watch. `ports`: where the driver may answer; null for none.
    void watch(MessagePorts* ports);

    std::int32_t uniqueIDOf(MIDIEndpointRef endpoint);

    /// Messages that the monitor has shown of "Keys".
    std::size_t keysShown() const { return shown; }
    /// Messages that the interceptor has told of "Synth".
    std::size_t synthShown() const { return intercepted; }
    /// The longest time between two batches with messages of "Keys", in ticks, and from now on again.
    HostTime takeLongestPause() {
        lastBatch = 0;
        return std::exchange(longestPause, 0);
    }

    MemoryService service;
    MIDIServiceScope serviceScope{service};
    const MIDIEndpointRef keys = service.plugSource({.displayName = "Keys"});
    const MIDIEndpointRef synth = service.plugDestination({.displayName = "Synth"});

private:
    void show(const MessageList& messages);

    MIDIManager directory;
    ModularEngine engine;
    std::shared_ptr<Modular> modular;
    MIDIGateway gateway;
    DefaultsStore noDefaults{{}};
    VirtualPortManager noPorts{noDefaults};
    GatewayConnections connections{directory, gateway, noPorts};
    std::array<MIDIMessageHistory, 4> views;
    std::size_t shown = 0;
    std::size_t intercepted = 0;
    HostTime lastBatch = 0;
    HostTime longestPause = 0;
};

/// What the process holds in memory, in MB: the pages that are resident.
double residentMegabytes();

}  // namespace varnolex::bench
