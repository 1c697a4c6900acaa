#include "tools/endpoints/MidiInTool.hpp"

#include <algorithm>
#include <array>
#include <chrono>

#include "endpoints/VirtualInput.hpp"
#include "engine/MIDILearnCoordinator.hpp"
#include "engine/ToolChain.hpp"
#include "platform/VarnolexLogger.hpp"
#include "tools/ToolDefinitions.hpp"
#include "tools/endpoints/EndpointLookup.hpp"
#include "tools/endpoints/PacketCutter.hpp"

// The head of a chain. Every packet list that arrives becomes the batch that its messages form: the last message of
// the list's last packet ends it. When the list ends in bytes that are no message, an empty carrier does, so that
// no output waits with what came before.

namespace varnolex {
namespace {

using namespace parameters;

constexpr std::array table{
    uniqueID<&MidiInSettings::endpointUniqueID>("endpointUniqueID"),
    text<&MidiInSettings::endpointName>("endpointName"),
    virtualPortID<&MidiInSettings::selectedVirtualInputID>("selectedVirtualInputID"),
};

constexpr std::chrono::milliseconds lampTime{150};
constexpr std::chrono::milliseconds walkRetryInterval{1};

bool isStatus(std::uint8_t byte) { return byte >= 0x80; }

/// MIDI learn hears the first status byte of a packet and up to two data bytes behind it.
void offerToLearn(std::span<const std::uint8_t> packet) {
    MIDILearnCoordinator& learn = MIDILearnCoordinator::shared();
    if (!learn.isLearning()) return;
    const auto status = std::ranges::find_if(packet, isStatus);
    if (status == packet.end()) return;
    const auto longest = std::min<std::ptrdiff_t>(packet.end() - status, 3);
    const auto end = std::find_if(status + 1, status + longest, isStatus);
    learn.handleLearnMessage(&*status, static_cast<std::size_t>(end - status));
}

void endBatch(HostTime timeStamp, ToolChain& chain) { chain.send({nullptr, 0, timeStamp, true}); }

}  // namespace

MidiInTool::MidiInTool() : ConfiguredTool(midiInDefinition) {}

void MidiInTool::process(const ChainMessage& message, ToolChain& chain) { chain.forward(message); }

void MidiInTool::start(std::uint32_t midiClient) {
    client = midiClient;
    createInputPort();
}

void MidiInTool::stop() {
    detachVirtualInput();
    disconnectSource();
    if (port != 0) MIDIService::current().MIDIPortDispose(std::exchange(port, 0));
    activityWorkItem.cancel();
    receiving = false;
    flashScheduled.set(false);
}

void MidiInTool::createInputPort() {
    if (client == 0 || port != 0) return;
    const auto read = [weak = weakSelf()](const PacketListView& list, std::uintptr_t) {
        if (const auto tool = weak.lock()) tool->receive(list);
    };
    const MIDIStatus status =
        MIDIService::current().MIDIInputPortCreateWithBlock(client, "Varnolex Pipe Input", read, port);
    VarnolexLogger::shared().check(status, "MidiInTool.createInputPort");
}

void MidiInTool::connectToSource(std::int32_t uniqueID) {
    disconnectVirtualInput();
    disconnectSource();
    keep([&](MidiInSettings& kept) { kept.endpointUniqueID = uniqueID; });
    const MIDIEndpointRef found = client != 0 ? findSource(uniqueID) : 0;
    if (found == 0 || MIDIService::current().MIDIPortConnectSource(port, found, 0) != midiSuccess) return;
    source = found;
    online = true;
    recordEvent(DiagnosticLog::InputEvent::connected, uniqueID, false);
    if (const auto name = displayNameOf(found)) keep([&](MidiInSettings& kept) { kept.endpointName = *name; });
}

void MidiInTool::connectToVirtualInput(const std::shared_ptr<VirtualInput>& input) {
    disconnectVirtualInput();
    disconnectSource();
    keep([&](MidiInSettings& kept) {
        kept.selectedVirtualInputID = input->uniqueID();
        kept.endpointName = input->name();
    });
    virtualInput = input;
    input->addChainCallback(id(), [weak = weakSelf()](const std::uint8_t* bytes, std::size_t length, HostTime timeStamp,
                                                      bool isLastInBatch) {
        if (const auto tool = weak.lock()) tool->receive({bytes, length}, timeStamp, isLastInBatch);
    });
    online = true;
    recordEvent(DiagnosticLog::InputEvent::connected, input->uniqueID(), true);
}

void MidiInTool::disconnectSource() {
    if (source == 0 || port == 0) return;
    MIDIService::current().MIDIPortDisconnectSource(port, std::exchange(source, 0));
    online = false;
    recordEvent(DiagnosticLog::InputEvent::disconnected, settings().endpointUniqueID, false);
}

void MidiInTool::disconnectVirtualInput() {
    detachVirtualInput();
    keep([](MidiInSettings& kept) { kept.selectedVirtualInputID.reset(); });
}

void MidiInTool::detachVirtualInput() {
    if (const auto input = virtualInput.lock()) {
        input->removeChainCallback(id());
        recordEvent(DiagnosticLog::InputEvent::disconnected, input->uniqueID(), true);
    }
    virtualInput.reset();
    online = source != 0;
}

void MidiInTool::chooseNothing() {
    disconnectVirtualInput();
    disconnectSource();
    keep([](MidiInSettings& kept) { kept = MidiInSettings::fresh(); });
}

void MidiInTool::bindStoredEndpoint() {
    const auto wantedInput = settings().selectedVirtualInputID;
    const auto wantedSource = settings().endpointUniqueID;
    if (!wantedInput && wantedSource) return connectToSource(*wantedSource);
    const auto input = virtualInput.lock();
    if (wantedInput && input && input->uniqueID() == *wantedInput) return;
    detachVirtualInput();
    disconnectSource();
}

void MidiInTool::settingsDidChange(const MidiInSettings& before) {
    if (isKeeping) return;
    const MidiInSettings& now = settings();
    if (now.endpointUniqueID != before.endpointUniqueID || now.selectedVirtualInputID != before.selectedVirtualInputID)
        bindStoredEndpoint();
}

template <class Edit>
void MidiInTool::keep(Edit&& edit) {
    isKeeping = true;
    change(std::forward<Edit>(edit));
    isKeeping = false;
}

std::weak_ptr<MidiInTool> MidiInTool::weakSelf() { return std::static_pointer_cast<MidiInTool>(shared_from_this()); }

std::shared_ptr<ToolChain> MidiInTool::openChain() const { return isEnabled() ? chain() : nullptr; }

/// Sends a packet's messages through the chain. True when one of them has ended the batch.
bool MidiInTool::sendMessages(std::span<const std::uint8_t> packet, HostTime timeStamp, bool isLastOfList,
                              ToolChain& open) {
    DiagnosticLog* const recorder = DiagnosticLog::shared();
    offerToLearn(packet);
    PacketCutter cutter(packet);
    bool isEnded = false;
    while (const auto message = cutter.next()) {
        isEnded = isLastOfList && cutter.isAtEnd();
        if (recorder) recorder->received(diagnosticPipeIndex.get(), message->data(), message->size(), isEnded);
        if (SoundingChannels::concerns(*message)) sounding.with([&](auto& held) { held.observe(*message); });
        open.send({message->data(), message->size(), timeStamp, isEnded});
    }
    return isEnded;
}

void MidiInTool::endSoundingNotes() {
    const auto open = openChain();
    if (!open) {
        sounding.take();
        return;
    }
    const HostTime now = Runtime::current().hostTime();
    const bool isDone = open->enterIfFree([&] {
        sounding.take().end([&](std::span<const std::uint8_t> end) {
            open->send({end.data(), end.size(), now, true});
        });
    });
    if (isDone) return;
    // A script may hold the walk up for as long as the user lets it, and the user needs the main thread to end it.
    Runtime::current().mainQueue().after(walkRetryInterval, [weak = weakSelf()] {
        if (const auto tool = weak.lock()) tool->endSoundingNotes();
    });
}

void MidiInTool::receive(const PacketListView& list) {
    const auto open = openChain();
    if (!open) return recordDrop();
    if (isDropping.get()) isDropping.set(false);
    bool hasArrived = false;
    bool isEnded = false;
    for (const Packet& packet : list) {
        if (packet.bytes.empty()) continue;
        const HostTime timeStamp = packet.timeStamp != 0 ? packet.timeStamp : Runtime::current().hostTime();
        isEnded = sendMessages(packet.bytes, timeStamp, packet.isLast, *open);
        hasArrived = true;
    }
    if (!hasArrived) return;
    if (!isEnded) endBatch(Runtime::current().hostTime(), *open);
    flashLamp();
}

void MidiInTool::receive(std::span<const std::uint8_t> packet, HostTime timeStamp, bool isLastOfList) {
    const auto open = openChain();
    if (!open) return recordDrop();
    if (isDropping.get()) isDropping.set(false);
    if (packet.empty()) return;
    const bool isEnded = sendMessages(packet, timeStamp, isLastOfList, *open);
    if (isLastOfList && !isEnded) endBatch(timeStamp, *open);
    flashLamp();
}

void MidiInTool::recordDrop() {
    using Event = DiagnosticLog::InputEvent;
    if (!DiagnosticLog::shared() || isDropping.exchange(true)) return;
    recordEvent(isEnabled() ? Event::droppedWithoutChain : Event::droppedDisabled, std::nullopt, false);
}

void MidiInTool::recordEvent(DiagnosticLog::InputEvent event, std::optional<std::int32_t> uniqueID,
                             bool isVirtual) const {
    if (DiagnosticLog* const recorder = DiagnosticLog::shared())
        recorder->inputEvent(diagnosticPipeIndex.get(), event, uniqueID.value_or(0), isVirtual);
}

void MidiInTool::flashLamp() {
    if (flashScheduled.get() || flashScheduled.exchange(true)) return;
    const bool isPosted = Runtime::current().postToMain([weak = weakSelf()] {
        if (const auto tool = weak.lock()) tool->lightLamp();
    });
    if (!isPosted) flashScheduled.set(false);
}

void MidiInTool::lightLamp() {
    // What arrived before a disconnection doesn't light the lamp after it.
    if (!online) return flashScheduled.set(false);
    receiving = true;
    activityWorkItem.cancel();
    activityWorkItem = Runtime::current().mainQueue().after(lampTime, [weak = weakSelf()] {
        const auto tool = weak.lock();
        if (!tool) return;
        tool->receiving = false;
        tool->flashScheduled.set(false);
    });
}

const ToolDefinition midiInDefinition{PipeToolType::midiIn, "MidiInConfig", table,
                                      []() -> std::shared_ptr<PipeTool> { return std::make_shared<MidiInTool>(); }};

}  // namespace varnolex
