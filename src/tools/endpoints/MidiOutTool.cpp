#include "tools/endpoints/MidiOutTool.hpp"

#include <array>

#include "endpoints/VirtualOutput.hpp"
#include "engine/ToolChain.hpp"
#include "platform/VarnolexLogger.hpp"
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
    const bool isRewritten = !now.noteOffVelocity && message.isThreeBytes(0x80);
    const bool hasPlace = outgoing.with([&](Outgoing& out) {
        const bool isOpen = message.isEmptyCarrier() || canSend(out);
        if (isOpen && !message.isEmptyCarrier()) {
            out.sounding.observe({message.bytes, message.length});
            if (isRewritten)
                out.batch.append(ShortMessage::noteOn(message.channel(), message.data1(), 0), message.timeStamp);
            else
                out.batch.append({message.bytes, message.length}, message.timeStamp);
        }
        if (message.isLastInBatch || out.batch.isOverfull()) flush(out);
        return isOpen;
    });
    if (DiagnosticLog* const recorder = DiagnosticLog::shared()) {
        if (!hasPlace)
            recordDrop();
        else if (!message.isEmptyCarrier())
            recordMessage(message, isRewritten, *recorder);
    }
    if (now.passThrough) chain.forward(message);
}

bool MidiOutTool::canSend(const Outgoing& now) const {
    if (virtualOutputRef.get() != 0) return true;
    if (ownSourceMode.get()) return now.virtualSourceRef != 0;
    return online.get() && now.endpointRef != 0;
}

void MidiOutTool::flush(Outgoing& now) {
    if (now.batch.isEmpty()) return;
    const MIDIEndpointRef managed = virtualOutputRef.get();
    const MIDIEndpointRef source = managed != 0 ? managed : ownSourceMode.get() ? now.virtualSourceRef : 0;
    MIDIService& service = MIDIService::current();
    MIDIStatus status = midiSuccess;
    const auto keepFault = [&](MIDIStatus outcome) {
        if (outcome != midiSuccess) status = outcome;
    };
    if (source != 0)
        now.batch.sendAll([&](const PacketListView& list) { keepFault(service.MIDIReceived(source, list)); });
    else if (now.endpointRef != 0)
        now.batch.sendAll(
            [&](const PacketListView& list) { keepFault(service.MIDISend(now.outputPort, now.endpointRef, list)); });
    else
        recordDrop();
    if (std::exchange(now.status, status) != status)
        recordStatus(source != 0 ? DiagnosticLog::OutputCall::received : DiagnosticLog::OutputCall::send, status);
    if (const std::size_t lists = now.batch.listCount(); lists > 1)
        recordEvent(DiagnosticLog::OutputEvent::batchInSeveralLists, static_cast<std::uint32_t>(lists));
    now.batch.clear();
}

void MidiOutTool::recordMessage(const ChainMessage& message, bool isRewritten, DiagnosticLog& recorder) {
    if (isDropping.get()) isDropping.set(false);
    const std::uint8_t graph = diagnosticPipeIndex.get();
    if (!isRewritten) return recorder.sent(graph, message.bytes, message.length, message.isLastInBatch);
    const ShortMessage rewritten = ShortMessage::noteOn(message.channel(), message.data1(), 0);
    const std::span<const std::uint8_t> bytes = rewritten;
    recorder.sent(graph, bytes.data(), bytes.size(), message.isLastInBatch);
}

void MidiOutTool::recordDrop() {
    using Event = DiagnosticLog::OutputEvent;
    if (isDropping.exchange(true)) return;
    const Event reason = ownSourceMode.get() ? Event::droppedWithoutOwnSource
                         : online.get()      ? Event::droppedWithoutReference
                                             : Event::droppedOffline;
    recordEvent(reason, 0);
}

void MidiOutTool::recordEvent(DiagnosticLog::OutputEvent event, std::uint32_t value) const {
    if (DiagnosticLog* const recorder = DiagnosticLog::shared())
        recorder->outputEvent(diagnosticPipeIndex.get(), event, value);
}

void MidiOutTool::recordStatus(DiagnosticLog::OutputCall call, MIDIStatus status) const {
    if (DiagnosticLog* const recorder = DiagnosticLog::shared())
        recorder->outputStatus(diagnosticPipeIndex.get(), call, status);
}

void MidiOutTool::start(std::uint32_t midiClient) {
    client = midiClient;
    if (client == 0) return;
    if (outputPort() == 0) {
        MIDIPortRef made = 0;
        const MIDIStatus status = MIDIService::current().MIDIOutputPortCreate(client, "Varnolex Pipe Output", made);
        if (status == midiSuccess)
            outgoing.with([&](Outgoing& out) { out.outputPort = made; });
        else
            online.set(false);
        reportFault(status, DiagnosticLog::OutputCall::createPort, "MidiOutTool.start MIDIOutputPortCreate");
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

void MidiOutTool::endSoundingNotes() {
    const auto endAll = [this] {
        outgoing.with([&](Outgoing& out) {
            out.sounding.end(
                [&](std::span<const std::uint8_t> end) { out.batch.append(end, Runtime::current().hostTime()); });
            flush(out);
        });
    };
    // Behind a walk that is under way and may be about to send a note.
    const auto open = chain();
    open ? open->enter(endAll) : endAll();
}

void MidiOutTool::createVirtualSource() {
    if (client == 0 || virtualSourceRef() != 0) return;
    MIDIEndpointRef made = 0;
    const MIDIStatus status = MIDIService::current().MIDISourceCreate(client, sourceName(), made);
    if (status != midiSuccess)
        return reportFault(status, DiagnosticLog::OutputCall::createSource, "MidiOutTool.createVirtualSource");
    outgoing.with([&](Outgoing& out) { out.virtualSourceRef = made; });
    online.set(true);
}

void MidiOutTool::reportFault(MIDIStatus status, DiagnosticLog::OutputCall call, std::string_view context) const {
    if (status == midiSuccess) return;
    VarnolexLogger::shared().check(status, context);
    recordStatus(call, status);
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
    recordEvent(
        found != 0 ? DiagnosticLog::OutputEvent::connectedDestination : DiagnosticLog::OutputEvent::disconnected,
        static_cast<std::uint32_t>(uniqueID));
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
    recordEvent(DiagnosticLog::OutputEvent::connectedVirtualOutput, static_cast<std::uint32_t>(output->uniqueID()));
}

void MidiOutTool::disconnectVirtualOutput() {
    detachVirtualOutput();
    keep([](MidiOutSettings& kept) { kept.selectedVirtualOutputID.reset(); });
}

void MidiOutTool::detachVirtualOutput() {
    const bool wasAttached = virtualOutputRef.exchange(0) != 0;
    virtualOutput.reset();
    if (virtualSourceRef() == 0 && endpointRef() == 0) online.set(false);
    if (wasAttached) recordEvent(DiagnosticLog::OutputEvent::disconnected, 0);
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
