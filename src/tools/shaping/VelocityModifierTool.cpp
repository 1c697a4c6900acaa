#include <algorithm>
#include <array>

#include "engine/ConfiguredTool.hpp"
#include "engine/ToolChain.hpp"
#include "tools/ToolDefinitions.hpp"

// Scales and shifts the velocities of notes, their release velocities too, and then limits them, spreads them over a
// range, or lets only those within it pass. A Note On of velocity 0 is left alone.

namespace varnolex {
namespace {

enum ClipMode : std::uint8_t { limitToRange, spreadOverRange, passRangeOnly };

/// What becomes of a velocity.
struct VelocityShape {
    static constexpr std::uint8_t dropped = 255;

    int scale;
    int shift;
    std::uint8_t clipMode;
    int low;
    int high;

    /// 0 to 127, or `dropped`.
    std::uint8_t of(std::uint8_t velocity) const { return static_cast<std::uint8_t>(clipped(shifted(velocity))); }

private:
    int shifted(int velocity) const { return std::clamp(velocity * scale / 100 + shift, 0, 127); }
    int clipped(int velocity) const {
        switch (clipMode) {
            case limitToRange:
                return std::max(low, std::min(velocity, high));
            case spreadOverRange:
                return low + (high - low) * velocity / 127;
            case passRangeOnly:
                return velocity < low || velocity > high ? dropped : velocity;
            default:
                return velocity;
        }
    }
};

struct VelocityModifierLives;

struct VelocityModifierSettings {
    /// With what becomes of each velocity while nothing is ridden.
    struct RealTime;

    std::uint16_t scalePercent = 100;
    std::int16_t shiftValue = 0;
    /// A `ClipMode`; any other number leaves the velocity as it has come out.
    std::uint8_t clipMode = 0;
    std::uint8_t minValue = 0;
    std::uint8_t maxValue = 127;

    VelocityShape shape(const VelocityModifierLives& live) const;
    RealTime realTime() const;
};

struct VelocityModifierSettings::RealTime {
    VelocityModifierSettings settings;
    std::array<std::uint8_t, 256> shaped;
};

struct VelocityModifierLives {
    LiveValue scalePercent;
    LiveValue shiftValue;
    LiveValue minValue;
    LiveValue maxValue;

    bool areSet() const { return scalePercent.isSet() || shiftValue.isSet() || minValue.isSet() || maxValue.isSet(); }
};

VelocityShape VelocityModifierSettings::shape(const VelocityModifierLives& live) const {
    return {clampedLive(-1000, 1000, live.scalePercent, scalePercent),
            clampedLive(-127, 127, live.shiftValue, shiftValue), clipMode, clampedLive(0, 127, live.minValue, minValue),
            clampedLive(0, 127, live.maxValue, maxValue)};
}

VelocityModifierSettings::RealTime VelocityModifierSettings::realTime() const {
    const VelocityShape unridden = shape({});
    RealTime made{*this, {}};
    for (std::size_t velocity = 0; velocity < made.shaped.size(); ++velocity)
        made.shaped[velocity] = unridden.of(static_cast<std::uint8_t>(velocity));
    return made;
}

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
        const Settings::RealTime& now = settingsInWalk();
        const std::uint8_t velocity =
            live().areSet() ? now.settings.shape(live()).of(message.data2()) : now.shaped[message.data2()];
        if (velocity == VelocityShape::dropped) return chain.forward(message.dropped());
        const ShortMessage shaped(message.status(), message.data1(), velocity);
        chain.forward(message.carrying(shaped));
    }
};

}  // namespace

const ToolDefinition velocityModifierDefinition{
    PipeToolType::velocityModifier, "VelocityModifierConfig", table,
    []() -> std::shared_ptr<PipeTool> { return std::make_shared<VelocityModifierTool>(); }};

}  // namespace varnolex
