#include <algorithm>
#include <array>

#include "engine/ConfiguredTool.hpp"
#include "engine/ToolChain.hpp"
#include "tools/ToolDefinitions.hpp"

// Sends one controller, or all of them, under another number, scaled and limited, with or without the original ahead.

namespace varnolex {
namespace {

/// As a source: every controller. So do the numbers above it, 200 among them, by which patches say "any".
constexpr int anyController = 128;

/// Beyond this a scale makes no difference.
constexpr int furthestScale = 1000;

struct CCMapSettings {
    /// Reduced to what makes a difference.
    struct Reduced {
        std::int16_t sourceCC;
        std::int16_t scalePercent;
        std::uint8_t destCC;
        std::uint8_t outputMin;
        std::uint8_t outputMax;
        bool passOriginal;
    };

    std::int64_t sourceCC = 0;
    std::uint8_t destCC = 0;
    std::int64_t scalePercent = 100;
    std::uint8_t outputMin = 0;
    std::uint8_t outputMax = 127;
    bool passOriginal = false;

    Reduced realTime() const {
        const auto source = std::clamp<std::int64_t>(sourceCC, -1, anyController);
        const auto scale = std::clamp<std::int64_t>(scalePercent, -furthestScale, furthestScale);
        return {static_cast<std::int16_t>(source),
                static_cast<std::int16_t>(scale),
                destCC,
                outputMin,
                outputMax,
                passOriginal};
    }

    static CCMapSettings fresh() {
        CCMapSettings settings;
        settings.sourceCC = anyController;
        settings.destCC = 11;
        return settings;
    }
};

struct CCMapLives {
    LiveValue sourceCC;
    LiveValue destCC;
    LiveValue scalePercent;
    LiveValue outputMin;
    LiveValue outputMax;
};

using namespace parameters;
using Settings = CCMapSettings;
using Lives = CCMapLives;

constexpr std::array table{
    integer<&Settings::sourceCC>("sourceCC").port("Source CC", 0, 200).rides<&Lives::sourceCC>(),
    byte<&Settings::destCC>("destCC").tolerant().port("Dest CC", 0, 127).rides<&Lives::destCC>(),
    integer<&Settings::scalePercent>("scalePercent").port("Scale %", 0, 200).rides<&Lives::scalePercent>(),
    byte<&Settings::outputMin>("outputMin").tolerant().port("Out Min", 0, 127).rides<&Lives::outputMin>(),
    byte<&Settings::outputMax>("outputMax").tolerant().port("Out Max", 0, 127).rides<&Lives::outputMax>(),
    toggle<&Settings::passOriginal>("passOriginal"),
};

class CCMapTool final : public ConfiguredTool<Settings, Lives> {
public:
    CCMapTool() : ConfiguredTool(ccMapDefinition) {}

    void process(const ChainMessage& message, ToolChain& chain) override {
        if (!message.isController()) return chain.forward(message);
        const Settings::Reduced& now = settingsInWalk();
        const int source = sourceNumber(now);
        if (source != anyController && source != message.data1()) return chain.forward(message);

        if (now.passOriginal) chain.forward(message.notLast());
        const int scale = clampedLive(-furthestScale, furthestScale, live().scalePercent, now.scalePercent);
        const int least = clampedLive(0, 127, live().outputMin, now.outputMin);
        const int most = clampedLive(0, 127, live().outputMax, now.outputMax);
        const int value = std::max(least, std::min(most, message.data2() * scale / 100));
        const int number = clampedLive(0, 127, live().destCC, now.destCC);
        const ShortMessage mapped(message.status(), static_cast<std::uint8_t>(number),
                                  static_cast<std::uint8_t>(value));
        chain.forward(message.carrying(mapped));
    }

private:
    int sourceNumber(const Settings::Reduced& now) const {
        if (!live().sourceCC.isSet()) [[likely]]
            return now.sourceCC;
        return clampedLive(0, anyController, live().sourceCC, now.sourceCC);
    }
};

}  // namespace

const ToolDefinition ccMapDefinition{PipeToolType::ccMap, "CCMapConfig", table,
                                     []() -> std::shared_ptr<PipeTool> { return std::make_shared<CCMapTool>(); }};

}  // namespace varnolex
