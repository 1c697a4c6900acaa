#pragma once

#include <memory>
#include <optional>
#include <string>

#include "core/SoundingChannels.hpp"
#include "endpoints/MIDIService.hpp"
#include "engine/ConfiguredTool.hpp"
#include "platform/DiagnosticLog.hpp"
#include "platform/Runtime.hpp"
#include "platform/concurrency/Guarded.hpp"

namespace varnolex {

class VirtualInput;

struct MidiInSettings {
    std::optional<std::int32_t> endpointUniqueID;
    /// The display name of what is or was connected.
    std::string endpointName;
    std::optional<std::int32_t> selectedVirtualInputID;

    static MidiInSettings fresh() { return {{}, "None", {}}; }

    /// The processing road reads none of it.
    struct RealTime {};
    RealTime realTime() const { return {}; }
};

/// The head of a chain: takes what a source of the system or a virtual input of ours delivers, cuts it into single
/// messages and sends each through the chain. It is attached to at most one of the two.
///
/// Choices are kept in the settings whether or not the endpoint is there; a missing one leaves the tool offline.
/// Main thread, but for the arrival of messages, which is on the service's own threads.
class MidiInTool final : public ConfiguredTool<MidiInSettings> {
public:
    MidiInTool();

    void process(const ChainMessage& message, ToolChain& chain) override;

    void start(std::uint32_t midiClient) override;
    /// Ends every connection and the port. What was chosen stays in the settings.
    void stop() override;

    /// Makes the input port, once, when a client is known. A refusal leaves the tool without one.
    void createInputPort();

    /// Attaches to the source with this unique ID in place of whatever was attached. When it isn't there, the tool
    /// is offline and keeps the choice.
    void connectToSource(std::int32_t uniqueID);
    void connectToVirtualInput(const std::shared_ptr<VirtualInput>& input);

    /// Detaches from the source; the choice stays.
    void disconnectSource();
    /// Detaches from the virtual input and forgets the choice.
    void disconnectVirtualInput();
    /// Detaches from everything and forgets every choice: the picker's "none".
    void chooseNothing();

    /// Attaches to the source that the settings name, for a tool that got them from a document. A chosen virtual input
    /// is left to whoever owns the virtual ports, and calls `connectToVirtualInput`.
    void bindStoredEndpoint();

    /// Sends the ends of all notes and pedals that are held by what has arrived through the chain: for a source that
    /// has gone and won't send them itself. Main thread; a walk that is held up isn't waited for, they follow it.
    void endSoundingNotes();

    /// Whether a source or a virtual input is attached.
    bool isOnline() const { return online; }
    /// The activity lamp.
    bool isReceiving() const { return receiving; }

    MIDIClientRef clientRef() const { return client; }
    MIDIPortRef inputPort() const { return port; }
    MIDIEndpointRef connectedEndpoint() const { return source; }
    std::shared_ptr<VirtualInput> connectedVirtualInput() const { return virtualInput.lock(); }

    void chainWasWired(std::uint8_t pipeIndex) override { diagnosticPipeIndex.set(pipeIndex); }

protected:
    void settingsDidChange(const MidiInSettings& before) override;

private:
    /// Writes into the settings what a connection method has done.
    template <class Edit>
    void keep(Edit&& edit);

    void detachVirtualInput();
    std::weak_ptr<MidiInTool> weakSelf();

    /// The tool's chain; nothing when the tool is switched off or has no chain.
    std::shared_ptr<ToolChain> openChain() const;
    void receive(const PacketListView& list);
    void receive(std::span<const std::uint8_t> packet, HostTime timeStamp, bool isLastOfList);
    bool sendMessages(std::span<const std::uint8_t> packet, HostTime timeStamp, bool isLastOfList, ToolChain& open);
    void recordDrop();
    void recordEvent(DiagnosticLog::InputEvent event, std::optional<std::int32_t> uniqueID, bool isVirtual) const;
    void flashLamp();
    void lightLamp();

    MIDIClientRef client = 0;
    MIDIPortRef port = 0;
    MIDIEndpointRef source = 0;
    std::weak_ptr<VirtualInput> virtualInput;
    bool online = false;
    /// True while a connection method writes the settings itself.
    bool isKeeping = false;

    bool receiving = false;
    WorkItem activityWorkItem;
    /// Set from the first message until the lamp has gone out again: the lamp costs the read thread one look.
    SharedValue<bool> flashScheduled{false};

    /// What is held down at the source.
    Guarded<SoundingChannels> sounding;

    /// The graph's number in the flight recorder; 255 while it has none.
    SharedValue<std::uint8_t> diagnosticPipeIndex{255};
    /// Set while nothing gets through, so that a row of lost packets is recorded once.
    SharedValue<bool> isDropping{false};
};

}  // namespace varnolex
