#pragma once

#include <array>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "core/SoundingChannels.hpp"
#include "endpoints/MIDIService.hpp"
#include "engine/ConfiguredTool.hpp"
#include "platform/DiagnosticLog.hpp"
#include "platform/concurrency/Guarded.hpp"
#include "tools/endpoints/PendingBatch.hpp"

namespace varnolex {

class VirtualOutput;

struct MidiOutSettings {
    std::optional<std::int32_t> endpointUniqueID;
    /// The display name of what is or was connected.
    std::string endpointName;
    /// False: a Note Off leaves as a Note On with velocity 0.
    bool noteOffVelocity = false;
    /// Hand on along the chain what was sent.
    bool passThrough = false;
    /// What an older record says of own-source mode. Read only: it is written as false.
    bool isVirtual = false;
    std::optional<std::int32_t> selectedVirtualOutputID;

    static MidiOutSettings fresh() { return {{}, "None", false, false, false, {}}; }

    struct RealTime {
        bool noteOffVelocity;
        bool passThrough;
    };
    RealTime realTime() const { return {noteOffVelocity, passThrough}; }
};

/// The end of a chain: gathers the messages of one batch and sends them as one packet list, to a destination of the
/// system, through a virtual output of ours, or through a source of the tool's own. A batch that is too large for one
/// list leaves in several, in order.
///
/// Choices are kept in the settings whether or not the endpoint is there. Main thread, but for `process`.
class MidiOutTool final : public ConfiguredTool<MidiOutSettings> {
public:
    MidiOutTool();

    void process(const ChainMessage& message, ToolChain& chain) override;

    /// Makes the output port, and the own source in own-source mode, when a client is known.
    void start(std::uint32_t midiClient) override;
    /// Sends what is pending, then ends every connection, the own source and the port. What was chosen stays in the
    /// settings.
    void stop() override;

    /// Ends every note that sounds by what was sent, and lets go of the pedals: for whoever leaves while a graph plays.
    void endSoundingNotes();

    /// Makes the own source under the tool's name, once, when a client is known.
    void createVirtualSource();

    /// Sends to the destination with this unique ID from now on. When it isn't there, the tool is offline and keeps the
    /// choice.
    void connectToDestination(std::int32_t uniqueID);
    void connectToVirtualOutput(const std::shared_ptr<VirtualOutput>& output);

    /// Detaches from the virtual output and forgets the choice.
    void disconnectVirtualOutput();
    /// Detaches from the destination; the choice stays.
    void releaseDestination();
    void releaseOwnSource();
    /// Detaches from everything and forgets every choice: the picker's "none".
    void chooseNothing();

    /// Attaches to the destination that the settings name, for a tool that got them from a document. A chosen virtual
    /// output is left to whoever owns the virtual ports, and calls `connectToVirtualOutput`.
    void bindStoredEndpoint();

    /// Own-source mode. Switching it on takes effect at the next `start` or `createVirtualSource`.
    bool isVirtual() const { return ownSourceMode.get(); }
    void setVirtual(bool isOn) { ownSourceMode.set(isOn); }

    /// Whether there is somewhere to send to.
    bool isOnline() const { return online.get(); }

    void recordWasApplied() override;
    void chainWasWired(std::uint8_t pipeIndex) override { diagnosticPipeIndex.set(pipeIndex); }

    /// An older record asked for own-source mode: the tool wants a virtual output in its place.
    bool needsVirtualOutputMigration() const { return needsMigration; }

    MIDIClientRef clientRef() const { return client; }
    MIDIPortRef outputPort() const;
    MIDIEndpointRef endpointRef() const;
    MIDIEndpointRef virtualSourceRef() const;
    std::shared_ptr<VirtualOutput> connectedVirtualOutput() const { return virtualOutput.lock(); }

protected:
    void settingsDidChange(const MidiOutSettings& before) override;
    void nameDidChange() override;

private:
    /// What sending needs, together behind one lock, so that two threads can't mix their batches.
    struct Outgoing {
        PendingBatch batch;
        SoundingChannels sounding;
        MIDIEndpointRef endpointRef = 0;
        MIDIEndpointRef virtualSourceRef = 0;
        MIDIPortRef outputPort = 0;
        /// Of the last list that was sent: the flight recorder hears of changes.
        MIDIStatus status = midiSuccess;
    };

    /// Writes into the settings what a connection method has done.
    template <class Edit>
    void keep(Edit&& edit);

    void detachVirtualOutput();
    std::string sourceName() const;
    void reportFault(MIDIStatus status, DiagnosticLog::OutputCall call, std::string_view context) const;
    /// Under the lock, as the following.
    bool canSend(const Outgoing& now) const;
    void flush(Outgoing& now);

    void recordMessage(const ChainMessage& message, bool isRewritten, DiagnosticLog& recorder);
    void recordDrop();
    void recordEvent(DiagnosticLog::OutputEvent event, std::uint32_t value) const;
    void recordStatus(DiagnosticLog::OutputCall call, MIDIStatus status) const;

    MIDIClientRef client = 0;
    std::weak_ptr<VirtualOutput> virtualOutput;
    bool needsMigration = false;
    /// True while a connection method writes the settings itself.
    bool isKeeping = false;

    SharedValue<bool> online{false};
    SharedValue<bool> ownSourceMode{false};
    /// The virtual output's source, for the processing road; 0 when none is attached.
    SharedValue<MIDIEndpointRef> virtualOutputRef{0};
    Guarded<Outgoing> outgoing;

    /// The graph's number in the flight recorder; 255 while it has none.
    SharedValue<std::uint8_t> diagnosticPipeIndex{255};
    /// Set while messages have nowhere to go, so that a row of lost ones is recorded once.
    SharedValue<bool> isDropping{false};
};

}  // namespace varnolex
