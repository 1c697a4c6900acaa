#include <algorithm>
#include <array>

#include "engine/ConfiguredTool.hpp"
#include "engine/ToolChain.hpp"
#include "tools/ToolDefinitions.hpp"

// Takes one controller out of the stream and rewrites it: upside down, within limits only, on another scale, under
// another number or on another channel, with or without the original ahead of it.

namespace varnolex {
namespace {

struct ControlSplitSettings {
    std::uint8_t sourceCC = 0;
    bool fromChannelOnly = false;
    /// 0 to 15.
    std::uint8_t fromChannel = 0;
    bool inverse = false;
    /// Whether values outside the limits are dropped.
    bool limitEnabled = false;
    /// The limits, and the range that is scaled from.
    std::uint8_t limitMin = 0;
    std::uint8_t limitMax = 127;
    bool scaleEnabled = false;
    /// What the limits become; the former may be the greater one.
    std::uint8_t scaleMin = 0;
    std::uint8_t scaleMax = 127;
    bool setController = false;
    std::uint8_t destCC = 0;
    bool setChannel = false;
    /// 0 to 15.
    std::uint8_t channelValue = 0;
    bool duplicateOriginal = false;
};

struct ControlSplitLives {
    LiveValue sourceCC;
    LiveValue limitMin;
    LiveValue limitMax;
    LiveValue scaleMin;
    LiveValue scaleMax;
    LiveValue destCC;
    LiveValue channelValue;
};

using namespace parameters;
using Settings = ControlSplitSettings;
using Lives = ControlSplitLives;

constexpr std::array table{
    byte<&Settings::sourceCC>("sourceCC").port("Source CC", 0, 127).rides<&Lives::sourceCC>(),
    toggle<&Settings::fromChannelOnly>("fromChannelOnly"),
    byte<&Settings::fromChannel>("fromChannel"),
    toggle<&Settings::inverse>("inverse"),
    toggle<&Settings::limitEnabled>("limitEnabled"),
    byte<&Settings::limitMin>("limitMin").port("Limit Min", 0, 127).rides<&Lives::limitMin>(),
    byte<&Settings::limitMax>("limitMax").port("Limit Max", 0, 127).rides<&Lives::limitMax>(),
    toggle<&Settings::scaleEnabled>("scaleEnabled"),
    byte<&Settings::scaleMin>("scaleMin").port("Scale Min", 0, 127).rides<&Lives::scaleMin>(),
    byte<&Settings::scaleMax>("scaleMax").port("Scale Max", 0, 127).rides<&Lives::scaleMax>(),
    toggle<&Settings::setController>("setController"),
    byte<&Settings::destCC>("destCC").port("Dest CC", 0, 127).rides<&Lives::destCC>(),
    toggle<&Settings::setChannel>("setChannel"),
    byte<&Settings::channelValue>("channelValue").port("Channel", 0, 15).rides<&Lives::channelValue>(),
    toggle<&Settings::duplicateOriginal>("duplicateOriginal"),
};

class ControlSplitTool final : public ConfiguredTool<Settings, Lives> {
public:
    ControlSplitTool() : ConfiguredTool(controlSplitDefinition) {}

    void process(const ChainMessage& message, ToolChain& chain) override {
        if (!message.isController()) return chain.forward(message);
        const Settings& now = settingsInWalk();
        if (message.data1() != clampedLive(0, 127, live().sourceCC, now.sourceCC)) return chain.forward(message);
        if (now.fromChannelOnly && message.channel() != now.fromChannel) return chain.forward(message);

        const int low = clampedLive(0, 127, live().limitMin, now.limitMin);
        const int high = clampedLive(0, 127, live().limitMax, now.limitMax);
        const int value = now.inverse ? 127 - message.data2() : message.data2();
        if (now.limitEnabled && (value < low || value > high)) return chain.forward(message.dropped());
        const int scaled = now.scaleEnabled ? scale(value, low, high, now) : value;
        const int number = now.setController ? clampedLive(0, 127, live().destCC, now.destCC) : message.data1();
        const int channel = now.setChannel ? clampedLive(0, 15, live().channelValue, now.channelValue)  //
                                           : message.channel();
        const ShortMessage rewritten = ShortMessage::controller(static_cast<std::uint8_t>(channel),  //
                                                                static_cast<std::uint8_t>(number),
                                                                static_cast<std::uint8_t>(std::clamp(scaled, 0, 127)));
        if (now.duplicateOriginal) chain.forward(message);
        chain.forward(message.carrying(rewritten));
    }

private:
    int scale(int value, int low, int high, const Settings& now) const {
        const int first = clampedLive(0, 127, live().scaleMin, now.scaleMin);
        const int last = clampedLive(0, 127, live().scaleMax, now.scaleMax);
        return high > low ? first + (value - low) * (last - first) / (high - low) : first;
    }
};

}  // namespace

const ToolDefinition controlSplitDefinition{
    PipeToolType::controlSplit, "ControlSplitConfig", table,
    []() -> std::shared_ptr<PipeTool> { return std::make_shared<ControlSplitTool>(); }};

}  // namespace varnolex
