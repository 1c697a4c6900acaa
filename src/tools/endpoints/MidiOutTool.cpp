#include "tools/endpoints/MidiOutTool.hpp"

#include <array>

#include "endpoints/VirtualOutput.hpp"
#include "engine/ToolChain.hpp"
#include "tools/ToolDefinitions.hpp"
#include "tools/endpoints/EndpointLookup.hpp"

// The end of a chain. What one input event has become leaves together, in order, when the end of its batch arrives, be
// that on a message, on an empty carrier, or on a message that had nowhere to go.

namespace varnolex {
namespace {

using namespace parameters;

/// Own-source mode is read from older records, and never written.
constexpr Parameter oldVirtualRow() {
    Parameter row = toggle<&MidiOutSettings::isVirtual>("isVirtual");
    row.read = [](const void*) -> ParameterValue { return false; };
    return row;
}

constexpr std::array table{
    uniqueID<&MidiOutSettings::endpointUniqueID>("endpointUniqueID"),
    text<&MidiOutSettings::endpointName>("endpointName"),
    toggle<&MidiOutSettings::noteOffVelocity>("noteOffVelocity"),
    toggle<&MidiOutSettings::passThrough>("passThrough"),
    oldVirtualRow(),
    virtualPortID<&MidiOutSettings::selectedVirtualOutputID>("selectedVirtualOutputID"),
};

}  // namespace

MidiOutTool::MidiOutTool() : ConfiguredTool(midiOutDefinition) {}

void MidiOutTool::process(const ChainMessage& message, ToolChain& chain) {
    const MidiOutSettings::RealTime now = current();
    outgoing.with([&](Outgoing& out) {
        if (!message.isEmptyCarrier() && canSend(out)) {
            const bool isRewritten = !now.noteOffVelocity && message.isThreeBytes(0x80);
            if (isRewritten)
                out.batch.append(ShortMessage::noteOn(message.channel(), message.data1(), 0), message.timeStamp);
            else
                out.batch.append({message.bytes, message.length}, message.timeStamp);
        }
        if (message.isLastInBatch || out.batch.isOverfull()) flush(out);
    });
    if (now.passThrough) chain.forward(message);
}

bool MidiOutTool::canSend(const Outgoing& now) const {
    if (virtualOutputRef.get() != 0) return true;
    if (ownSourceMode.get()) return now.virtualSourceRef != 0;
    return online.get() && now.endpointRef != 0;
}

void MidiOutTool::flush(Outgoing& now) const {
    if (now.batch.isEmpty()) return;
    const MIDIEndpointRef managed = virtualOutputRef.get();
    const MIDIEndpointRef source = managed != 0 ? managed : ownSourceMode.get() ? now.virtualSourceRef : 0;
    if (source != 0)
        now.batch.sendAll([&](const PacketListView& list) { MIDIService::current().MIDIReceived(source, list); });
    else if (now.endpointRef != 0)
        now.batch.sendAll([&](const PacketListView& list) {
            MIDIService::current().MIDISend(now.outputPort, now.endpointRef, list);
        });
    now.batch.clear();
}

void MidiOutTool::start(std::uint32_t midiClient) {
    client = midiClient;
    if (client == 0) return;
    if (outputPort() == 0) {
        MIDIPortRef made = 0;
        if (MIDIService::current().MIDIOutputPortCreate(client, "Varnolex Pipe Output", made) == midiSuccess)
            outgoing.with([&](Outgoing& out) { out.outputPort = made; });
        else
            online.set(false);
    }
    if (isVirtual()) createVirtualSource();
}

void MidiOutTool::stop() {
    outgoing.with([&](Outgoing& out) { flush(out); });
    releaseDestination();
    detachVirtualOutput();
    releaseOwnSource();
    const MIDIPortRef port = outgoing.with([](Outgoing& out) { return std::exchange(out.outputPort, 0); });
    if (port != 0) MIDIService::current().MIDIPortDispose(port);
}

void MidiOutTool::createVirtualSource() {
    if (client == 0 || virtualSourceRef() != 0) return;
    MIDIEndpointRef made = 0;
    if (MIDIService::current().MIDISourceCreate(client, sourceName(), made) != midiSuccess) return;
    outgoing.with([&](Outgoing& out) { out.virtualSourceRef = made; });
    online.set(true);
}

std::string MidiOutTool::sourceName() const { return name().empty() ? "Varnolex Output" : name(); }

void MidiOutTool::nameDidChange() {
    if (const MIDIEndpointRef source = virtualSourceRef())
        MIDIService::current().MIDIObjectSetStringProperty(source, kMIDIPropertyName, sourceName());
}

void MidiOutTool::connectToDestination(std::int32_t uniqueID) {
    disconnectVirtualOutput();
    releaseOwnSource();
    releaseDestination();
    setVirtual(false);
    needsMigration = false;
    keep([&](MidiOutSettings& kept) { kept.endpointUniqueID = uniqueID; });
    const MIDIEndpointRef found = client != 0 ? findDestination(uniqueID) : 0;
    outgoing.with([&](Outgoing& out) { out.endpointRef = found; });
    online.set(found != 0);
    if (found == 0) return;
    if (const auto shown = displayNameOf(found)) keep([&](MidiOutSettings& kept) { kept.endpointName = *shown; });
}

void MidiOutTool::connectToVirtualOutput(const std::shared_ptr<VirtualOutput>& output) {
    releaseDestination();
    releaseOwnSource();
    setVirtual(false);
    needsMigration = false;
    keep([&](MidiOutSettings& kept) {
        kept.selectedVirtualOutputID = output->uniqueID();
        kept.endpointName = output->name();
        kept.endpointUniqueID.reset();
    });
    virtualOutput = output;
    virtualOutputRef.set(output->endpointRef());
    online.set(output->endpointRef() != 0);
}

void MidiOutTool::disconnectVirtualOutput() {
    detachVirtualOutput();
    keep([](MidiOutSettings& kept) { kept.selectedVirtualOutputID.reset(); });
}

void MidiOutTool::detachVirtualOutput() {
    virtualOutputRef.set(0);
    virtualOutput.reset();
    if (virtualSourceRef() == 0 && endpointRef() == 0) online.set(false);
}

void MidiOutTool::releaseDestination() {
    outgoing.with([](Outgoing& out) { out.endpointRef = 0; });
    if (!isVirtual() && virtualOutputRef.get() == 0) online.set(false);
}

void MidiOutTool::releaseOwnSource() {
    const MIDIEndpointRef source = outgoing.with([](Outgoing& out) { return std::exchange(out.virtualSourceRef, 0); });
    if (source != 0) MIDIService::current().MIDIEndpointDispose(source);
    if (isVirtual()) online.set(false);
}

void MidiOutTool::chooseNothing() {
    disconnectVirtualOutput();
    releaseOwnSource();
    setVirtual(false);
    releaseDestination();
    keep([](MidiOutSettings& kept) {
        kept.endpointUniqueID.reset();
        kept.endpointName = MidiOutSettings::fresh().endpointName;
    });
}

void MidiOutTool::bindStoredEndpoint() {
    const auto wantedOutput = settings().selectedVirtualOutputID;
    const auto wantedDestination = settings().endpointUniqueID;
    if (!wantedOutput && wantedDestination) return connectToDestination(*wantedDestination);
    const auto output = virtualOutput.lock();
    if (wantedOutput && output && output->uniqueID() == *wantedOutput) return connectToVirtualOutput(output);
    detachVirtualOutput();
    releaseDestination();
}

void MidiOutTool::settingsDidChange(const MidiOutSettings& before) {
    if (isKeeping) return;
    const MidiOutSettings& now = settings();
    if (now.endpointUniqueID != before.endpointUniqueID ||
        now.selectedVirtualOutputID != before.selectedVirtualOutputID)
        bindStoredEndpoint();
}

void MidiOutTool::recordWasApplied() { needsMigration = settings().isVirtual && !settings().selectedVirtualOutputID; }

template <class Edit>
void MidiOutTool::keep(Edit&& edit) {
    isKeeping = true;
    change(std::forward<Edit>(edit));
    isKeeping = false;
}

MIDIPortRef MidiOutTool::outputPort() const {
    return outgoing.with([](const Outgoing& out) { return out.outputPort; });
}

MIDIEndpointRef MidiOutTool::endpointRef() const {
    return outgoing.with([](const Outgoing& out) { return out.endpointRef; });
}

MIDIEndpointRef MidiOutTool::virtualSourceRef() const {
    return outgoing.with([](const Outgoing& out) { return out.virtualSourceRef; });
}

const ToolDefinition midiOutDefinition{PipeToolType::midiOut, "MidiOutConfig", table,
                                       []() -> std::shared_ptr<PipeTool> { return std::make_shared<MidiOutTool>(); }};

}  // namespace varnolex
