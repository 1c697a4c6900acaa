#include <algorithm>
#include <array>

#include "engine/ConfiguredTool.hpp"
#include "engine/ToolChain.hpp"
#include "tools/ToolDefinitions.hpp"

// Scales and shifts the velocities of notes, their release velocities too, and then limits them, spreads them over a
// range, or lets only those within it pass. A Note On of velocity 0 is left alone.

namespace varnolex {
namespace {

struct VelocityModifierSettings {
    std::uint16_t scalePercent = 100;
    std::int16_t shiftValue = 0;
    /// A `ClipMode`; any other number leaves the velocity as it has come out.
    std::uint8_t clipMode = 0;
    std::uint8_t minValue = 0;
    std::uint8_t maxValue = 127;
};

enum ClipMode : std::uint8_t { limitToRange, spreadOverRange, passRangeOnly };

struct VelocityModifierLives {
    LiveValue scalePercent;
    LiveValue shiftValue;
    LiveValue minValue;
    LiveValue maxValue;
};

using namespace parameters;
using Settings = VelocityModifierSettings;
using Lives = VelocityModifierLives;

constexpr std::array table{
    word<&Settings::scalePercent>("scalePercent").tolerant().port("Scale %", 0, 200).rides<&Lives::scalePercent>(),
    signedWord<&Settings::shiftValue>("shiftValue").tolerant().port("Shift", -127, 127).rides<&Lives::shiftValue>(),
    byte<&Settings::clipMode>("clipMode"),
    byte<&Settings::minValue>("minValue").tolerant().port("Min", 0, 127).rides<&Lives::minValue>(),
    byte<&Settings::maxValue>("maxValue").tolerant().port("Max", 0, 127).rides<&Lives::maxValue>(),
};

class VelocityModifierTool final : public ConfiguredTool<Settings, Lives> {
public:
    VelocityModifierTool() : ConfiguredTool(velocityModifierDefinition) {}

    void process(const ChainMessage& message, ToolChain& chain) override {
        if (!message.isNoteOn() && !message.isThreeBytes(0x80)) return chain.forward(message);
        const Settings now = current();
        const int scale = clampedLive(-1000, 1000, live().scalePercent, now.scalePercent);
        const int shift = clampedLive(-127, 127, live().shiftValue, now.shiftValue);
        const int low = clampedLive(0, 127, live().minValue, now.minValue);
        const int high = clampedLive(0, 127, live().maxValue, now.maxValue);

        int velocity = std::clamp(message.data2() * scale / 100 + shift, 0, 127);
        if (now.clipMode == limitToRange)
            velocity = std::max(low, std::min(velocity, high));
        else if (now.clipMode == spreadOverRange)
            velocity = low + (high - low) * velocity / 127;
        else if (now.clipMode == passRangeOnly && (velocity < low || velocity > high))
            return chain.forward(message.dropped());
        const ShortMessage shaped(message.status(), message.data1(), static_cast<std::uint8_t>(velocity));
        chain.forward(message.carrying(shaped));
    }
};

}  // namespace

const ToolDefinition velocityModifierDefinition{
    PipeToolType::velocityModifier, "VelocityModifierConfig", table,
    []() -> std::shared_ptr<PipeTool> { return std::make_shared<VelocityModifierTool>(); }};

}  // namespace varnolex
