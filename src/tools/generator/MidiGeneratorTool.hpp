#pragma once

#include <memory>
#include <vector>

#include "core/SoundingNotes.hpp"
#include "engine/ConfiguredTool.hpp"
#include "platform/concurrency/Guarded.hpp"
#include "tools/generator/GeneratorEvents.hpp"
#include "tools/generator/MidiGeneratorSettings.hpp"
#include "tools/generator/PendingNoteOffs.hpp"
#include "tools/timing/WalkTimer.hpp"

namespace varnolex {

class MidiGeneratorTool final : public ConfiguredTool<MidiGeneratorSettings>, public Transport {
public:
    MidiGeneratorTool();

    void process(const ChainMessage& message, ToolChain& chain) override;

    Transport* transport() override { return this; }
    /// From the beginning, also when it plays. Nothing happens while the tool is disabled or has no chain.
    void startPlaying() override;
    void stopPlaying() override;
    /// Any thread.
    bool isPlaying() const override { return running.get(); }

    /// One pass, whatever the settings say of repeats, when nothing plays. Main thread.
    void sendOnce();

    /// "All notes off" on every channel. Main thread.
    void sendPanic();

    /// Reads the file of the settings again. Main thread.
    void loadFile();

    void recordWasApplied() override;
    void stop() override;

protected:
    void enabledDidChange(bool isOn) override;
    void settingsDidChange(const MidiGeneratorSettings& before) override;

private:
    using Events = std::shared_ptr<GeneratorEvents>;
    enum class Passes { asSet, one };

    void publish(GeneratorEvents events);

    // Under the walk's lock.
    bool isTrigger(const GeneratorTrigger& trigger, const ChainMessage& message) const;
    void startRun(Passes wanted, ToolChain& chain);
    void stopRun(ToolChain& chain);
    void endNotes(ToolChain& chain);
    void beginPass(std::int64_t number);
    bool isOver(std::int64_t number) const;
    void scheduleNext();
    Nanoseconds waitAhead() const;
    Nanoseconds waitForNextPass() const;
    Nanoseconds drawDelay(const GeneratorRules& rules) const;
    Nanoseconds humanized(Nanoseconds wait, const GeneratorRules& rules) const;
    void playDue(ToolChain& chain);
    void fire(const GeneratorEvents::Event& event, GeneratorEvents& from, ToolChain& chain);
    void wasPlayed(const ChainMessage& message, const GeneratorEvents::Event& event, std::uint64_t inRun,
                   ToolChain& chain);
    void deliver(const ChainMessage& message, ToolChain& chain) const;
    void endDueNotes(ToolChain& chain);
    void scheduleNoteEnd();
    static void panic(ToolChain& chain);

    /// Runs `work(chain)` inside a walk if there is a chain.
    template <class Work>
    void enterChain(Work&& work);

    const std::shared_ptr<Queue> generatorQueue;
    SharedValue<bool> running{false};

    /// What the next pass plays.
    Guarded<Events> prepared;

    // Main thread.
    /// Whatever may still be played, so that nothing is freed on the queue.
    std::vector<Events> kept;
    bool hasJustLoaded = false;

    // Touched inside walks only.
    std::uint64_t generation = 0;
    Events playing;
    Passes passes = Passes::asSet;
    std::int64_t pass = 0;
    std::size_t nextEvent = 0;
    HostTime passBegan = 0;
    /// When the next event is due, or the next pass behind the last event. Waits are added to it and not to the clock,
    /// so that lateness doesn't add up.
    HostTime due = 0;
    bool wasRunningBeforeDisable = false;
    PendingNoteOffs pendingNoteOffs;
    SoundingNotes notesOfFile;
    WalkTimer nextTimer{*this, generatorQueue};
    WalkTimer noteEndTimer{*this, generatorQueue};
};

}  // namespace varnolex
