#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "engine/ConfiguredTool.hpp"
#include "platform/MainThreadCall.hpp"
#include "platform/Runtime.hpp"
#include "tools/looper/ControllerHistory.hpp"
#include "tools/looper/LoopHistory.hpp"
#include "tools/looper/LoopNoteEnds.hpp"
#include "tools/looper/LoopRecording.hpp"
#include "tools/looper/LooperSettings.hpp"
#include "tools/timing/WalkTimer.hpp"

namespace varnolex {

/// What a looper shows of itself.
struct LooperReadOuts {
    LooperTransport transport = LooperTransport::empty;
    /// Both counted from 0.
    std::uint32_t currentBar = 0;
    std::uint32_t currentBeat = 0;
    std::uint32_t totalBars = 0;
    std::size_t eventCount = 0;
    bool canUndo = false;
    bool canRedo = false;

    bool operator==(const LooperReadOuts&) const = default;
};

/// A looper that runs from the MIDI clock alone: it records notes, controllers, bends and pressure into a loop of whole
/// beats, plays it back into its chain, takes further layers and can go back one step. Without a clock nothing moves.
///
/// Everything that runs is touched inside walks, so the commands may come from any thread. The loop has a bounded store
/// of its own from the beginning; what finds no room in it isn't recorded, and is counted.
class LooperTool final : public ConfiguredTool<LooperSettings, LooperLives> {
public:
    LooperTool();

    ~LooperTool() override;

    void process(const ChainMessage& message, ToolChain& chain) override;

    void start(std::uint32_t midiClient) override;
    /// Ends what sounds and comes to rest; the loop stays.
    void stop() override;

    // Any thread

    /// Does it at once or, while something runs and a launch grid is set, at the next line of the grid. What doesn't
    /// fit the state has no effect.
    void requestAction(LooperAction action);

    /// Goes back to the loop as it was before the last overdub, and forth again. Nothing happens without such a step.
    void undo();
    void redo();

    /// How many events and notes were lost because there was no room for them.
    std::uint64_t lostEvents() const { return lost.get(); }

    // Main thread

    /// Puts a copy of the loop behind it. Nothing happens to a loop that is too long or has too much in it.
    void doubleLoop();

    /// Cuts the loop in half, down to a beat, and drops what began in the second half.
    void halveLoop();

    /// The loop as a Standard MIDI File; empty when there is no loop or no note in it.
    std::string exportMIDIFile() const;

    /// Takes the loop of a Standard MIDI File, at rest. False, with nothing changed, when it isn't one or doesn't fit.
    bool importMIDIFile(std::string_view data);

    /// Takes another loop, at rest, and leaves the former one in its place.
    void adopt(LoopBuffer& loop);

    std::string_view contentKey() const override { return "loop"; }
    std::vector<std::int64_t> content() const override;
    void adoptContent(std::span<const std::int64_t> list) override;

    const LooperReadOuts& readOuts() const { return shownOnMain; }

protected:
    void settingsDidChange(const LooperSettings& before) override;
    void enabledDidChange(bool isOn) override;

private:
    /// Where a step of the clock has led.
    struct Step {
        LooperTransport transport;
        std::uint32_t tick;
        std::uint32_t length;
        bool hasMoved;
    };

    /// Where what an action sends goes; without a chain nothing is sent.
    struct Outlet {
        ToolChain* chain;
        HostTime timeStamp;
    };

    template <class Work>
    void command(Work&& work);

    // Messages
    void takeController(const ChainMessage& message, ToolChain& chain);
    void takeChannelMessage(const ChainMessage& message, ToolChain& chain);
    void record(const ChainMessage& message, ToolChain& chain);
    void takeIntoLoop(const ChainMessage& message);
    void passOn(const ChainMessage& message, ToolChain& chain);
    void drop(const ChainMessage& message, ToolChain& chain);
    bool isHeard(LooperTransport transport) const;
    void hand(const ChainMessage& message, ToolChain& chain);

    // The clock
    void clockStep(const ChainMessage& tick, ToolChain& chain);
    LooperSnapshot snapshotNow() const;
    Step advanceTick(const LooperSnapshot& now, Outlet outlet);
    void measureInterval();
    void launchWhatIsDue(const LooperSnapshot& now, Outlet outlet);
    Step countIn();
    bool move(std::int32_t speed);
    void endFixedRecording(const LooperSnapshot& now, std::uint32_t length);
    void showPosition(const LooperSnapshot& now, const Step& step, HostTime time);

    // Playback
    void playbackStep(const LooperSnapshot& now, const Step& step, Outlet outlet);
    void playNote(const LooperNoteEvent& event, const LooperSnapshot& now, Outlet outlet);
    void scheduleNoteOffs();
    void endDueNotes(ToolChain& chain);
    void flush(Outlet outlet);
    void cancelNoteOffs();

    // The transport
    void requestInWalk(LooperAction action, Outlet outlet);
    void performAction(LooperAction action, Outlet outlet);
    void startRecording();
    void play();
    void beginOverdub();
    void stopAction(Outlet outlet);
    void clear(Outlet outlet);
    bool finishPass();
    void finishRecording(std::uint32_t length);
    std::uint32_t lengthOfRecording(const LooperSnapshot& now) const;
    void finishOverdub();
    void comeToRest(LooperTransport transport);
    void showFromStart() { lastDisplayBeat = lastDisplayBar = -1; }
    void updateEventCount();
    void tellMain();
    void showOnMain();

    // The remote control
    bool isRemote(std::uint8_t number) const;
    void handleRemoteCC(const ChainMessage& message, ToolChain& chain);
    void pressButtons(const RemoteMapping& remote, std::uint8_t number, ControllerHistory::Turn turn, Outlet outlet);
    void pressButton(RemoteSlot slot, Outlet outlet);
    void ride(const RemoteMapping& remote, std::uint8_t number, std::uint8_t value);
    void handleTrigger(const RemoteMapping& remote, ControllerHistory::Turn turn, Outlet outlet);
    void handleTriggerRelease(Outlet outlet);
    void tap(Outlet outlet);
    void stepBackOrForth();

    LoopBuffer copyOfLoop() const;

    // The click
    void clickIfDue(const LooperSnapshot& now, const Step& step, HostTime time) const;
    void updateClick();

    // Settings
    void deferReverse(bool before);
    void adoptReverse(bool reverse);

    SharedValue<std::uint64_t> lost{0};

    // Touched inside walks only.
    PlaybackState state;
    LoopHistory history;
    ControllerHistory lastCC;
    LoopNoteEnds noteOffs;
    WalkTimer noteOffTimer{*this, "com.varnolex.looper"};
    /// Whether something has left that waits for the end of its batch.
    bool isBatchOpen = false;
    std::int64_t lastDisplayBeat = -1;
    std::int64_t lastDisplayBar = -1;
    LooperReadOuts shown;

    // Main thread.
    LooperReadOuts shownOnMain;
    bool reverseDeferred = false;
    bool isInService = true;
    bool mayClick = false;
    MainThreadCall toMain{[this] { showOnMain(); }};
};

}  // namespace varnolex
