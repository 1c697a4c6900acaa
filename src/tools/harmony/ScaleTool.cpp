#include <array>
#include <optional>

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
    /// Reduced to what makes a difference, and small, since every note that passes reads it.
    struct Reduced {
        MusicalScale scale;
        std::uint8_t direction;
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
        const bool isKnown = direction >= 0 && direction < scaleNowhere;
        return {{pitchClassOf(rootKey), steps}, static_cast<std::uint8_t>(isKnown ? direction : scaleNowhere)};
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
        const auto began = message.isNoteOn() ? std::nullopt : sounding.take(message.noteKey());
        std::uint8_t note = began ? began->note : message.data1();
        if (message.isNoteOn()) {
            note = quantized(message.data1() & 0x7F);
            sounding.put(message.noteKey(), {message.channel(), note});
        }
        const ShortMessage moved(message.status(), note, message.data2());
        chain.forward(message.carrying(moved));
    }

private:
    std::uint8_t quantized(int note) const {
        const ScaleSettings::Reduced now = current();
        return now.scale.quantized(static_cast<std::uint8_t>(note), static_cast<ScaleDirection>(now.direction));
    }

    /// What each sounding key became.
    WalkState<NoteMap> noteMap;
};

}  // namespace

const ToolDefinition scaleDefinition{PipeToolType::scale, "ScaleConfig", table,
                                     []() -> std::shared_ptr<PipeTool> { return std::make_shared<ScaleTool>(); }};

}  // namespace varnolex
