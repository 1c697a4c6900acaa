#include "cli/RenderRun.hpp"

#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <set>

#include "cli/CommandFailure.hpp"
#include "tools/endpoints/MidiInTool.hpp"
#include "tools/endpoints/MidiOutTool.hpp"
#include "tools/endpoints/PacketCutter.hpp"

namespace varnolex {
namespace {

constexpr std::uint8_t midiStart = 0xFA;
constexpr std::uint8_t midiClock = 0xF8;

/// What a packet takes in a list beside its bytes: its head, and the padding behind it.
constexpr std::size_t packetOverhead = 16;

constexpr std::size_t progressInterval = 20'000;

constexpr HostTime interruptionStep = 10 * ticksPerSecond;

template <class Tool>
std::vector<std::shared_ptr<Tool>> toolsOf(const Modular& modular) {
    std::vector<std::shared_ptr<Tool>> found;
    for (const auto& node : modular.nodes)
        if (auto tool = std::dynamic_pointer_cast<Tool>(node->tool)) found.push_back(std::move(tool));
    return found;
}

/// "Name", then "Name 2", "Name 3" and so on.
std::string unusedName(const std::string& name, std::set<std::string>& used) {
    std::string candidate = name;
    for (int number = 2; !used.insert(candidate).second; ++number) candidate = name + " " + std::to_string(number);
    return candidate;
}

}  // namespace

RenderRun::RenderRun(const PatchChoice& patch, std::uint64_t seed)
    : runtime(seed), runtimeScope(runtime), serviceScope(service) {
    service.MIDIClientCreateWithBlock("Varnolex", nullptr, engine.clientRef);
    engine.showsParticles = false;
    modular = loadPatch(patch, engine);
}

RenderRun::~RenderRun() { isListening = false; }

void RenderRun::connect(const MusicInput& input) {
    sources.resize(input.endpoints().size());
    plugSource(0, input);
    connectInputs(input);
    connectOutputs();
    heard.expect(input.packets().size());
    runTo(0);
}

void RenderRun::connectInputs(const MusicInput& input) {
    const auto& names = input.endpoints();
    for (const auto& tool : toolsOf<MidiInTool>(*modular)) {
        const auto named = std::ranges::find(names, tool->settings().endpointName);
        const auto index = named == names.end() ? 0 : static_cast<std::size_t>(named - names.begin());
        plugSource(index, input);
        tool->connectToSource(uniqueIDOf(sources[index].reference));
        sources[index].isHeard = true;
    }
}

void RenderRun::plugSource(std::size_t index, const MusicInput& input) {
    MIDIEndpointRef& reference = sources[index].reference;
    if (reference == 0) reference = service.plugSource({.displayName = input.endpoints()[index]});
}

void RenderRun::connectOutputs() {
    std::set<std::string> used;
    for (const auto& tool : toolsOf<MidiOutTool>(*modular)) {
        const std::string name = unusedName(tool->name(), used);
        const MIDIEndpointRef destination = service.plugDestination({.displayName = name});
        const std::uint32_t endpoint = heard.addEndpoint(name);
        service.listen(destination, [this, endpoint](const PacketListView& list) { hear(list, endpoint); });
        tool->connectToDestination(uniqueIDOf(destination));
    }
}

std::int32_t RenderRun::uniqueIDOf(MIDIEndpointRef endpoint) {
    std::int32_t uniqueID = 0;
    service.MIDIObjectGetIntegerProperty(endpoint, kMIDIPropertyUniqueID, uniqueID);
    return uniqueID;
}

void RenderRun::hear(const PacketListView& packets, std::uint32_t endpoint) {
    if (!isListening) return;
    const HostTime now = runtime.hostTime();
    for (const Packet& packet : packets)
        heard.add(std::max(packet.timeStamp, now) - VirtualRuntime::epoch, packet.bytes, endpoint);
}

void RenderRun::pressStart() { varnolex::pressStart(*modular); }

void RenderRun::feed(const MusicInput& input, std::optional<ClockFeed> clock, Nanoseconds tail) {
    if (clock) play(0, 0, std::span(&midiStart, 1));
    const auto& packets = input.packets();
    for (std::size_t first = 0; first < packets.size();) {
        std::size_t last = first + 1;
        while (last < packets.size() && packets[last].time == packets[first].time &&
               packets[last].endpoint == packets[first].endpoint)
            ++last;
        if (clock) feedClock(*clock, packets[first].time);
        runTo(packets[first].time);
        playBatch(input, first, last);
        first = last;
        showProgress(first, packets.size());
    }
    const std::uint64_t end = input.endTime() + static_cast<std::uint64_t>(tail.count());
    if (clock) feedClock(*clock, end);
    runTo(end);
}

void RenderRun::feedClock(ClockFeed& clock, std::uint64_t until) {
    for (std::uint64_t time = clock.nextTime(); time <= until; time = clock.nextTime()) {
        runTo(time);
        play(0, time, std::span(&midiClock, 1));
        clock.advance();
    }
}

/// In steps, so that a user can end a run that a long tail or a clock keeps going. While nothing is to be done, time
/// passes at once.
void RenderRun::runTo(std::uint64_t time) {
    const HostTime end = VirtualRuntime::epoch + time;
    while (runtime.hostTime() + interruptionStep < end && runtime.pendingItems() > 0) {
        endIfInterrupted();
        runtime.runUntil(runtime.hostTime() + interruptionStep);
    }
    endIfInterrupted();
    runtime.runUntil(end);
}

void RenderRun::endIfInterrupted() const {
    if (interruption.isRequested()) throw CommandFailure("interrupted; nothing was written");
}

void RenderRun::play(std::size_t endpoint, std::uint64_t time, std::span<const std::uint8_t> packet) {
    listMemory.resize(std::max(listMemory.size(), packet.size() + 2 * packetOverhead));
    PacketListBuilder list(listMemory);
    list.add(VirtualRuntime::epoch + time, packet);
    service.send(sources[endpoint].reference, list.list());
}

void RenderRun::playBatch(const MusicInput& input, std::size_t first, std::size_t last) {
    const auto& packets = input.packets();
    const Source& source = sources[packets[first].endpoint];
    if (!source.isHeard) {
        for (; first < last; ++first) unheard += PacketCutter::count(input.bytes(packets[first]));
        return;
    }
    std::size_t needed = packetOverhead;
    for (std::size_t index = first; index < last; ++index) needed += packets[index].length + packetOverhead;
    if (listMemory.size() < needed) listMemory.resize(needed);
    PacketListBuilder list(listMemory);
    for (std::size_t index = first; index < last; ++index)
        list.add(VirtualRuntime::epoch + packets[index].time, input.bytes(packets[index]));
    service.send(source.reference, list.list());
}

void RenderRun::finish() {
    for (const auto& tool : toolsOf<MidiOutTool>(*modular)) tool->stop();
    isListening = false;
    heard.putInOrder();
}

void RenderRun::showProgress(std::size_t done, std::size_t all) {
    if (done < nextProgress && done != all) return;
    nextProgress = done + progressInterval;
    endIfInterrupted();
    if (all <= progressInterval || !isatty(STDERR_FILENO)) return;
    std::fprintf(stderr, "\r%zu %%%s", done * 100 / all, done == all ? "\r     \r" : "");
}

}  // namespace varnolex
