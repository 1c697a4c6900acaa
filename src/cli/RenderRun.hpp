#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "cli/ClockFeed.hpp"
#include "cli/MusicInput.hpp"
#include "cli/MusicOutput.hpp"
#include "cli/PatchSource.hpp"
#include "endpoints/memory/MemoryService.hpp"
#include "platform/Interruption.hpp"
#include "platform/VirtualRuntime.hpp"
#include "platform/hid/MemoryHID.hpp"
#include "platform/keys/MemoryKeys.hpp"
#include "studio/ModularEngine.hpp"

namespace varnolex {

/// One rendering: a graph, a MIDI service of its own in memory, and virtual time. The service offers a source for each
/// endpoint of the input and a destination for each output node.
class RenderRun {
public:
    /// Throws as `loadPatch` does.
    RenderRun(const PatchChoice& patch, std::uint64_t seed);
    ~RenderRun();
    RenderRun(const RenderRun&) = delete;
    RenderRun& operator=(const RenderRun&) = delete;

    /// Presses Start on everything that has the button.
    void pressStart();

    /// Feeds the input, and with a clock Start and clock ticks ahead of it, and lets time go on for `tail` behind the
    /// last packet. Throws `CommandFailure` when the user interrupts it.
    void feed(const MusicInput& input, std::optional<ClockFeed> clock, Nanoseconds tail);

    /// Connects the graph to the endpoints that the input names. Before `pressStart` and `feed`.
    void connect(const MusicInput& input);

    /// Sends what outputs still gather, ends listening and puts what was heard in order.
    void finish();

    const MusicOutput& output() const { return heard; }

    /// Messages that came from an endpoint to which no input node listens, and lists that the service had no room for.
    std::uint64_t droppedMessages() const { return unheard + service.lostLists(); }

    HostTime virtualDuration() const { return runtime.hostTime() - VirtualRuntime::epoch; }

private:
    void connectInputs(const MusicInput& input);
    /// Only what is listened to, and "Input", needs a source: an input may name more endpoints than a system has.
    void plugSource(std::size_t index, const MusicInput& input);
    void connectOutputs();
    std::int32_t uniqueIDOf(MIDIEndpointRef endpoint);
    void hear(const PacketListView& packets, std::uint32_t endpoint);
    void runTo(std::uint64_t time);
    void endIfInterrupted() const;
    void play(std::size_t endpoint, std::uint64_t time, std::span<const std::uint8_t> packet);
    void playBatch(const MusicInput& input, std::size_t first, std::size_t last);
    void feedClock(ClockFeed& clock, std::uint64_t until);
    void showProgress(std::size_t done, std::size_t all);

    VirtualRuntime runtime;
    RuntimeScope runtimeScope;
    MemoryKeys keys;
    KeyServiceScope keysScope{keys};
    MemoryHID devices;
    HIDServiceScope devicesScope{devices};
    MemoryService service;
    MIDIServiceScope serviceScope;
    ModularEngine engine;
    std::shared_ptr<Modular> modular;
    Interruption interruption;

    struct Source {
        MIDIEndpointRef reference = 0;
        bool isHeard = false;
    };
    std::vector<Source> sources;
    std::vector<std::uint8_t> listMemory;
    MusicOutput heard;
    bool isListening = true;
    std::uint64_t unheard = 0;
    std::size_t nextProgress = 0;
};

}  // namespace varnolex
