#include <array>

#include "engine/ConfiguredTool.hpp"
#include "engine/ToolChain.hpp"
#include "engine/WalkState.hpp"
#include "tools/ToolDefinitions.hpp"
#include "tools/harmony/MusicalScale.hpp"
#include "tools/notes/NoteMap.hpp"

// Moves each note to a note of a scale. A note ends where it began, also when the scale has changed meanwhile.

namespace varnolex {
namespace {

struct ScaleSettings {
    /// What becomes of each note.
    struct Reduced {
        std::array<std::uint8_t, 128> notes;
    };

    /// A pitch class.
    std::int64_t rootKey = 0;
    /// A number of the table of scales.
    std::int64_t scaleType = 0;
    /// A `ScaleDirection`.
    std::int64_t direction = scaleDown;
    /// Bit n stands for the note n semitones above the root.
    std::uint16_t customMask = 0x0FFF;

    static ScaleSettings fresh() { return {0, 0, scaleNearest, 0x0AD5}; }

    Reduced realTime() const {
        const PitchClassSet steps = stepsOfScale(scaleType, PitchClassSet::fromMask(customMask));
        const MusicalScale scale(pitchClassOf(rootKey), steps);
        const bool isKnown = direction >= 0 && direction < scaleNowhere;
        Reduced reduced{};
        for (std::uint8_t note = 0; note < reduced.notes.size(); ++note)
            reduced.notes[note] =
                scale.quantized(note, isKnown ? static_cast<ScaleDirection>(direction) : scaleNowhere);
        return reduced;
    }
};

using namespace parameters;

constexpr std::array table{
    integer<&ScaleSettings::rootKey>("rootKey"),
    integer<&ScaleSettings::scaleType>("scaleType"),
    integer<&ScaleSettings::direction>("direction"),
    word<&ScaleSettings::customMask>("customMask"),
};

class ScaleTool final : public ConfiguredTool<ScaleSettings> {
public:
    ScaleTool() : ConfiguredTool(scaleDefinition) {}

    void process(const ChainMessage& message, ToolChain& chain) override {
        if (!message.isNote()) return chain.forward(message);
        NoteMap& sounding = noteMap.inWalk();
        std::uint8_t note = message.data1();
        if (message.isNoteOn()) {
            note = settingsInWalk().notes[note & 0x7F];
            sounding.put(message.noteKey(), {message.channel(), note});
        } else if (const auto began = sounding.take(message.noteKey())) {
            note = began->note;
        }
        const ShortMessage moved(message.status(), note, message.data2());
        chain.forward(message.carrying(moved));
    }

private:
    /// What each sounding key became.
    WalkState<NoteMap> noteMap;
};

}  // namespace

const ToolDefinition scaleDefinition{PipeToolType::scale, "ScaleConfig", table,
                                     []() -> std::shared_ptr<PipeTool> { return std::make_shared<ScaleTool>(); }};

}  // namespace varnolex
