#include <algorithm>
#include <array>
#include <utility>
#include <vector>

#include "engine/ConfiguredTool.hpp"
#include "engine/ListParameters.hpp"
#include "engine/ToolChain.hpp"
#include "engine/WalkState.hpp"
#include "tools/ToolDefinitions.hpp"
#include "tools/harmony/ChordPreset.hpp"
#include "tools/notes/NoteMap.hpp"

// Plays a chord on each note: the note itself, unless the root is kept silent, and a note for each interval of a preset
// or of the user's own. The end of the key ends what it started, also when the intervals or the root's silence have
// changed meanwhile.

namespace varnolex {
namespace {

struct ChordSettings {
    /// Reduced to what makes a difference.
    struct Reduced {
        ChordIntervals intervals;
        bool suppressRoot;
    };

    /// A number of the table of presets.
    std::int64_t preset = 0;
    bool suppressRoot = false;
    /// In semitones above the played note. All are kept; the first 32 that can lead to a note sound.
    std::vector<std::int64_t> customIntervals;

    static ChordSettings fresh() {
        ChordSettings settings;
        settings.customIntervals = {4, 7};
        return settings;
    }

    Reduced realTime() const {
        if (const auto fixed = intervalsOfChordPreset(preset)) return {*fixed, suppressRoot};
        Reduced reduced{{}, suppressRoot};
        for (const std::int64_t interval : customIntervals) reduced.intervals.add(interval);
        return reduced;
    }
};

using namespace parameters;

constexpr std::array table{
    integer<&ChordSettings::preset>("preset"),
    toggle<&ChordSettings::suppressRoot>("suppressRoot"),
    integerList<&ChordSettings::customIntervals>("customIntervals"),
};

/// What one key has made sound.
struct SoundingChord {
    std::array<std::uint8_t, ChordIntervals::capacity> notes;
    std::uint8_t count = 0;
    bool hasRoot = false;

    SoundingChord() = default;
    SoundingChord(int root, const ChordSettings::Reduced& now) : hasRoot(!now.suppressRoot) {
        for (const int interval : now.intervals)
            if (isNote(root + interval)) notes[count++] = static_cast<std::uint8_t>(root + interval);
    }
};

class ChordTool final : public ConfiguredTool<ChordSettings> {
public:
    ChordTool() : ConfiguredTool(chordDefinition) {}

    void process(const ChainMessage& message, ToolChain& chain) override {
        if (!message.isNote()) return chain.forward(message);
        message.isNoteOn() ? begin(message, chain) : end(message, chain);
    }

protected:
    void settingsDidChange(const ChordSettings& before) override {
        if (settings().preset != before.preset) activeChords.forget();
    }

    void enabledDidChange(bool isOn) override {
        if (!isOn) activeChords.forget();
    }

private:
    void begin(const ChainMessage& message, ToolChain& chain) {
        const SoundingChord chord(message.data1() & 0x7F, settingsInWalk());
        activeChords.inWalk()[message.noteKey()] = chord;
        forward(message, chord.hasRoot, chord, message.status(), message.data2(), chain);
    }

    void end(const ChainMessage& message, ToolChain& chain) {
        const SoundingChord chord = std::exchange(activeChords.inWalk()[message.noteKey()], {});
        const bool endsRoot = chord.hasRoot || !settingsInWalk().suppressRoot;
        forward(message, endsRoot, chord, static_cast<std::uint8_t>(0x80 | message.channel()), 0, chain);
    }

    /// The played message, unless it is kept back, and each note of the chord. The last one has the place in the batch.
    static void forward(const ChainMessage& played, bool withPlayed, const SoundingChord& chord, std::uint8_t status,
                        std::uint8_t velocity, ToolChain& chain) {
        if (chord.count == 0) return chain.forward(withPlayed ? played : played.dropped());
        if (withPlayed) chain.forward(played.notLast());
        for (std::size_t index = 0; index < chord.count; ++index) {
            const ShortMessage note(status, chord.notes[index], velocity);
            chain.forward((index + 1u < chord.count ? played.notLast() : played).carrying(note));
        }
    }

    /// By the key that was played.
    WalkState<std::array<SoundingChord, std::size_t{16} * 128>> activeChords;
};

}  // namespace

const ToolDefinition chordDefinition{PipeToolType::chord, "ChordConfig", table,
                                     []() -> std::shared_ptr<PipeTool> { return std::make_shared<ChordTool>(); }};

}  // namespace varnolex
