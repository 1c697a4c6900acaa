#include <algorithm>
#include <array>

#include "engine/ConfiguredTool.hpp"
#include "engine/ToolChain.hpp"
#include "engine/WalkState.hpp"
#include "tools/ToolDefinitions.hpp"
#include "tools/notes/NoteMap.hpp"

// Shifts notes by a number of semitones. A note ends where it began, also when the shift has changed meanwhile. A
// note that would leave the range of MIDI is dropped.

namespace varnolex {
namespace {

/// Beyond any note, and short of an overflow.
constexpr std::int64_t furthestShift = 1'000'000;

struct TransposeSettings {
    /// Reduced to what makes a difference, and small, since every message that passes reads it.
    struct Reduced {
        std::int32_t semitones;
        bool fromChannelOnly;
        std::uint8_t fromChannel;
    };

    std::int64_t semitones = 0;
    bool fromChannelOnly = false;
    /// 0 to 15.
    std::uint8_t fromChannel = 0;

    Reduced realTime() const {
        const auto shift = std::clamp(semitones, -furthestShift, furthestShift);
        return {static_cast<std::int32_t>(shift), fromChannelOnly, fromChannel};
    }
};

struct TransposeLives {
    LiveValue semitones;
};

using namespace parameters;

constexpr std::array table{
    integer<&TransposeSettings::semitones>("semitones").port("Semitones", -24, 24).rides<&TransposeLives::semitones>(),
    toggle<&TransposeSettings::fromChannelOnly>("fromChannelOnly"),
    byte<&TransposeSettings::fromChannel>("fromChannel"),
};

class TransposeTool final : public ConfiguredTool<TransposeSettings, TransposeLives> {
public:
    TransposeTool() : ConfiguredTool(transposeDefinition) {}

    void process(const ChainMessage& message, ToolChain& chain) override {
        if (!message.isNote()) return chain.forward(message);
        const TransposeSettings::Reduced& now = settingsInWalk();
        if (now.fromChannelOnly && message.channel() != now.fromChannel) return chain.forward(message);

        NoteMap& sounding = soundingNotes.inWalk();
        const bool isOn = message.isNoteOn();
        if (!isOn) {
            if (const auto began = sounding.take(message.noteKey())) return forwardAs(began->note, message, chain);
        }
        const int shifted = message.data1() + roundedLive(live().semitones, now.semitones);
        if (!isNote(shifted)) return chain.forward(message.dropped());
        const auto note = static_cast<std::uint8_t>(shifted);
        if (isOn) sounding.put(message.noteKey(), {message.channel(), note});
        forwardAs(note, message, chain);
    }

private:
    static void forwardAs(std::uint8_t note, const ChainMessage& message, ToolChain& chain) {
        const ShortMessage moved(message.status(), note, message.data2());
        chain.forward(message.carrying(moved));
    }

    /// What each sounding key became.
    WalkState<NoteMap> soundingNotes;
};

}  // namespace

const ToolDefinition transposeDefinition{
    PipeToolType::transpose, "TransposeConfig", table,
    []() -> std::shared_ptr<PipeTool> { return std::make_shared<TransposeTool>(); }};

}  // namespace varnolex
