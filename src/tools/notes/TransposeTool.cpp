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

struct TransposeSettings {
    std::int64_t semitones = 0;
    bool fromChannelOnly = false;
    /// 0 to 15.
    std::uint8_t fromChannel = 0;
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
        const TransposeSettings now = current();
        if (!message.isNote() || (now.fromChannelOnly && message.channel() != now.fromChannel))
            return chain.forward(message);

        const int shifted = message.data1() + roundedLive(live().semitones, now.semitones);
        NoteMap<std::uint8_t>& sounding = soundingNotes.inWalk();
        if (message.isNoteOn()) {
            if (!isNote(shifted)) return chain.forward(message.dropped());
            sounding.put(message.noteKey(), static_cast<std::uint8_t>(shifted));
            return forwardAs(shifted, message, chain);
        }
        if (const auto started = sounding.take(message.noteKey())) return forwardAs(*started, message, chain);
        if (!isNote(shifted)) return chain.forward(message.dropped());
        forwardAs(shifted, message, chain);
    }

private:
    static void forwardAs(int note, const ChainMessage& message, ToolChain& chain) {
        const ShortMessage moved(message.status(), static_cast<std::uint8_t>(note), message.data2());
        chain.forward(message.carrying(moved));
    }

    /// What each sounding key became.
    WalkState<NoteMap<std::uint8_t>> soundingNotes;
};

}  // namespace

const ToolDefinition transposeDefinition{
    PipeToolType::transpose, "TransposeConfig", table,
    []() -> std::shared_ptr<PipeTool> { return std::make_shared<TransposeTool>(); }};

}  // namespace varnolex
