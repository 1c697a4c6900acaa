#include <algorithm>
#include <array>

#include "engine/ConfiguredTool.hpp"
#include "engine/ToolChain.hpp"
#include "engine/WalkState.hpp"
#include "tools/ToolDefinitions.hpp"
#include "tools/notes/NoteMap.hpp"

// Moves the notes on one side of a key to another channel, shifted if wanted. The split key itself belongs to the
// high side. A note ends where it began, also when the split has moved meanwhile.

namespace varnolex {
namespace {

struct SplitLives {
    LiveValue splitKey;
    LiveValue transposeSteps;
    LiveValue outputChannel;
};

struct SplitSettings {
    /// Reduced to what makes a difference, and small, since every message that passes reads it.
    struct Reduced {
        bool isHigh;
        std::uint8_t splitKey;
        std::uint8_t outputChannel;
        bool fromChannelOnly;
        std::uint8_t fromChannel;
        bool transposeMoved;
        std::int8_t transposeSteps;

        void ride(const SplitLives& live) {
            splitKey = static_cast<std::uint8_t>(clampedLive(0, 127, live.splitKey, splitKey));
            outputChannel = static_cast<std::uint8_t>(clampedLive(0, 15, live.outputChannel, outputChannel));
            transposeSteps = static_cast<std::int8_t>(clampedLive(-127, 127, live.transposeSteps, transposeSteps));
        }
    };

    /// Whether the notes from the split key upwards are moved, else those below it.
    bool isHigh = false;
    std::uint8_t splitKey = 60;
    /// 0 to 15.
    std::uint8_t outputChannel = 0;
    bool fromChannelOnly = false;
    /// 0 to 15.
    std::uint8_t fromChannel = 0;
    bool transposeMoved = false;
    /// In semitones.
    std::int64_t transposeSteps = 0;

    Reduced realTime() const {
        const auto steps = static_cast<std::int8_t>(std::clamp<std::int64_t>(transposeSteps, -127, 127));
        return {isHigh, splitKey, outputChannel, fromChannelOnly, fromChannel, transposeMoved, steps};
    }

    static SplitSettings fresh() {
        SplitSettings settings;
        settings.isHigh = true;
        return settings;
    }
};

using namespace parameters;

constexpr std::array table{
    toggle<&SplitSettings::isHigh>("isHigh"),
    byte<&SplitSettings::splitKey>("splitKey").tolerant().port("Split Key", 0, 127, 0).rides<&SplitLives::splitKey>(),
    byte<&SplitSettings::outputChannel>("outputChannel")
        .tolerant()
        .port("Out Channel", 0, 15, 2)
        .rides<&SplitLives::outputChannel>(),
    toggle<&SplitSettings::fromChannelOnly>("fromChannelOnly"),
    byte<&SplitSettings::fromChannel>("fromChannel"),
    toggle<&SplitSettings::transposeMoved>("transposeMoved"),
    integer<&SplitSettings::transposeSteps>("transposeSteps")
        .port("Transpose", -24, 24, 1)
        .rides<&SplitLives::transposeSteps>(),
};

class SplitTool final : public ConfiguredTool<SplitSettings, SplitLives> {
public:
    SplitTool() : ConfiguredTool(splitDefinition) {}

    void process(const ChainMessage& message, ToolChain& chain) override {
        if (!message.isNote()) return chain.forward(message);
        const SplitSettings::Reduced& now = settingsInWalk();
        if (now.fromChannelOnly && message.channel() != now.fromChannel) return chain.forward(message);
        if (message.isNoteOn()) return begin(message, now, chain);
        const auto began = soundingNotes.inWalk().take(message.noteKey());
        if (!began) return chain.forward(message);
        forwardAs(*began, message, chain);
    }

private:
    void begin(const ChainMessage& message, const SplitSettings::Reduced& now, ToolChain& chain) {
        NotePlace place{message.channel(), message.data1()};
        if (now.isHigh == (place.note >= now.splitKey)) {
            const int note = place.note + (now.transposeMoved ? now.transposeSteps : 0);
            if (!isNote(note)) return chain.forward(message.dropped());
            place = {now.outputChannel, static_cast<std::uint8_t>(note)};
        }
        soundingNotes.inWalk().put(message.noteKey(), place);
        forwardAs(place, message, chain);
    }

    static void forwardAs(NotePlace place, const ChainMessage& message, ToolChain& chain) {
        const auto status = static_cast<std::uint8_t>(message.kind() | place.channel);
        const ShortMessage moved(status, place.note, message.data2());
        chain.forward(message.carrying(moved));
    }

    /// Where each sounding key went.
    WalkState<NoteMap> soundingNotes;
};

}  // namespace

const ToolDefinition splitDefinition{PipeToolType::split, "SplitConfig", table,
                                     []() -> std::shared_ptr<PipeTool> { return std::make_shared<SplitTool>(); }};

}  // namespace varnolex
