#include <algorithm>
#include <array>

#include "engine/ConfiguredTool.hpp"
#include "engine/ToolChain.hpp"
#include "tools/StoredChoice.hpp"
#include "tools/ToolDefinitions.hpp"

// Lets controller values pass that lie above, below, between or outside two thresholds, and can spread what passes over
// another range.

namespace varnolex {
namespace {

struct ThresholdSettings {
    struct Reduced {
        std::uint8_t mode;
        std::uint8_t lowThreshold;
        std::uint8_t highThreshold;
        bool remapOutput;
        std::uint8_t remapMin;
        std::uint8_t remapMax;
    };

    /// A `Mode`; any other number lets everything pass.
    std::int64_t mode = 0;
    std::uint8_t lowThreshold = 64;
    std::uint8_t highThreshold = 127;
    bool remapOutput = false;
    /// What the ends of the passing range become; the former may be the greater one.
    std::uint8_t remapMin = 0;
    std::uint8_t remapMax = 127;

    Reduced realTime() const {
        return {choiceByte(mode), lowThreshold, highThreshold, remapOutput, remapMin, remapMax};
    }

    static ThresholdSettings fresh() {
        ThresholdSettings settings;
        settings.mode = 2;
        settings.lowThreshold = 32;
        settings.highThreshold = 95;
        return settings;
    }
};

enum Mode : std::uint8_t { above, below, between, outside };

struct ThresholdLives {
    LiveValue lowThreshold;
    LiveValue highThreshold;
    LiveValue remapMin;
    LiveValue remapMax;
};

using namespace parameters;
using Settings = ThresholdSettings;
using Lives = ThresholdLives;

constexpr std::array table{
    integer<&Settings::mode>("mode"),
    byte<&Settings::lowThreshold>("lowThreshold").tolerant().port("Low", 0, 127).rides<&Lives::lowThreshold>(),
    byte<&Settings::highThreshold>("highThreshold").tolerant().port("High", 0, 127).rides<&Lives::highThreshold>(),
    toggle<&Settings::remapOutput>("remapOutput"),
    byte<&Settings::remapMin>("remapMin").tolerant().port("Remap Min", 0, 127).rides<&Lives::remapMin>(),
    byte<&Settings::remapMax>("remapMax").tolerant().port("Remap Max", 0, 127).rides<&Lives::remapMax>(),
};

/// The range whose ends become the ends of the other one.
struct Span {
    int low;
    int high;
};

constexpr bool passes(std::uint8_t mode, int value, Span thresholds) {
    switch (mode) {
        case above:
            return value >= thresholds.low;
        case below:
            return value <= thresholds.high;
        case between:
            return value >= thresholds.low && value <= thresholds.high;
        case outside:
            return value < thresholds.low || value > thresholds.high;
        default:
            return true;
    }
}

constexpr Span passingSpan(std::uint8_t mode, Span thresholds) {
    switch (mode) {
        case above:
            return {thresholds.low, 127};
        case below:
            return {0, thresholds.high};
        case between:
            return thresholds;
        default:
            return {0, 127};
    }
}

/// In whole numbers, so that no rounding of a fraction moves a value that meets its goal exactly.
constexpr int remapped(int value, Span from, Span to) {
    const int width = std::max(from.high - from.low, 1);
    const int place = std::clamp(value - from.low, 0, width);
    return (to.low * width + place * (to.high - to.low)) / width;
}

class ThresholdTool final : public ConfiguredTool<Settings, Lives> {
public:
    ThresholdTool() : ConfiguredTool(thresholdDefinition) {}

    void process(const ChainMessage& message, ToolChain& chain) override {
        if (!message.isController()) return chain.forward(message);
        const Settings::Reduced& now = settingsInWalk();
        const Span thresholds{clampedLive(0, 127, live().lowThreshold, now.lowThreshold),
                              clampedLive(0, 127, live().highThreshold, now.highThreshold)};
        if (!passes(now.mode, message.data2(), thresholds)) return chain.forward(message.dropped());
        if (!now.remapOutput) return chain.forward(message);

        const Span to{clampedLive(0, 127, live().remapMin, now.remapMin),
                      clampedLive(0, 127, live().remapMax, now.remapMax)};
        const int value = remapped(message.data2(), passingSpan(now.mode, thresholds), to);
        const ShortMessage moved(message.status(), message.data1(), static_cast<std::uint8_t>(value));
        chain.forward(message.carrying(moved));
    }
};

}  // namespace

const ToolDefinition thresholdDefinition{
    PipeToolType::threshold, "ThresholdConfig", table,
    []() -> std::shared_ptr<PipeTool> { return std::make_shared<ThresholdTool>(); }};

}  // namespace varnolex
