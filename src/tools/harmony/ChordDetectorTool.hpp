#pragma once

#include <bitset>
#include <deque>
#include <optional>
#include <string>

#include "engine/ConfiguredTool.hpp"
#include "engine/WalkOutbox.hpp"
#include "engine/WalkState.hpp"
#include "platform/Runtime.hpp"
#include "tools/harmony/PitchClass.hpp"

namespace varnolex {

struct ChordDetectorSettings {
    /// How many chords the history keeps.
    std::int64_t maxHistory = 10;

    static ChordDetectorSettings fresh() { return {8}; }
};

/// Names the chord that is being played, for its node to show, and hands every message on unchanged. What is played is
/// handed over to the main thread; there a chord is looked for when no note has come or gone for a moment, and is put
/// into the history when the last key is released.
class ChordDetectorTool final : public ConfiguredTool<ChordDetectorSettings> {
public:
    using NoteSet = std::bitset<128>;

    ChordDetectorTool();

    void process(const ChainMessage& message, ToolChain& chain) override;
    void stop() override;

    // Main thread

    /// The sounding notes of all channels.
    const NoteSet& activeNotes() const { return shownNotes; }
    PitchClassSet activePitchClasses() const { return shownClasses; }

    /// The chord's name; else the names of what sounds, or nothing.
    const std::string& detectedChord() const { return shownChord; }
    std::optional<int> detectedRoot() const { return shownRoot; }
    /// Steps above the root.
    PitchClassSet detectedIntervals() const { return shownIntervals; }

    /// What was played before, oldest first.
    const std::deque<std::string>& chordHistory() const { return history; }

    /// Forgets all active notes and the history.
    void reset();

protected:
    void enabledDidChange(bool isOn) override;

private:
    /// What has been heard that the main thread doesn't know yet.
    struct News {
        NoteSet notes;
        /// Whether all keys were up in between, or are now.
        bool fellSilent = false;
        std::uint32_t generation = 0;
    };

    void hear(const ChainMessage& message);
    void take(const News& heard);
    /// Any thread: what was heard, and what is on its way to the main thread, counts no more.
    void forgetHeard();
    /// Shows nothing any more when what was heard has been forgotten.
    void showWhatIsForgotten();
    void show(const NoteSet& notes);
    void showNoChord();
    void keepInHistory();
    void detect();

    WalkState<NoteSet> rawActiveNotes;
    SharedValue<std::uint32_t> generation{0};
    WalkOutbox<News> news{*this, [this](News& heard) { take(std::exchange(heard, {})); }};

    // Main thread
    std::uint32_t shownGeneration = 0;
    NoteSet shownNotes;
    PitchClassSet shownClasses;
    std::string shownChord;
    std::optional<int> shownRoot;
    PitchClassSet shownIntervals;
    std::string lastMatchedChord;
    std::deque<std::string> history;
    WorkItem detectWork;
};

}  // namespace varnolex
