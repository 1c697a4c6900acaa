#include <algorithm>
#include <array>

#include "engine/ConfiguredTool.hpp"
#include "engine/ToolChain.hpp"
#include "tools/ToolDefinitions.hpp"

// Forces chosen values: the note, velocities, one controller's value, the program, pressures, the pitch wheel and the
// channel, each by a switch of its own. Can send the result twice.

namespace varnolex {
namespace {

struct SetSettings {
    bool overrideNote = false;
    std::uint8_t noteValue = 60;
    bool overrideOnVelocity = false;
    std::uint8_t onVelocityValue = 100;
    bool overrideOffVelocity = false;
    std::uint8_t offVelocityValue = 0;
    bool overrideCCValue = false;
    /// The controller whose value is forced.
    std::uint8_t ccController = 0;
    std::uint8_t ccValue = 0;
    bool overrideProgram = false;
    std::uint8_t programValue = 0;
    bool overridePressure = false;
    std::uint8_t pressureValue = 0;
    bool overridePitchWheel = false;
    /// 0 to 16383.
    std::uint16_t pitchWheelValue = 8192;
    bool overrideChannel = false;
    /// 0 to 15; its port counts from 1.
    std::uint8_t channelValue = 0;
    bool duplicate = false;

    static SetSettings fresh() {
        SetSettings settings;
        settings.offVelocityValue = 64;
        return settings;
    }
};

struct SetLives {
    LiveValue noteValue;
    LiveValue onVelocityValue;
    LiveValue offVelocityValue;
    LiveValue ccController;
    LiveValue ccValue;
    LiveValue channelValue;
};

using namespace parameters;
using Settings = SetSettings;
using Lives = SetLives;

constexpr std::array table{
    toggle<&Settings::overrideNote>("overrideNote"),
    byte<&Settings::noteValue>("noteValue").port("Note", 0, 127).rides<&Lives::noteValue>(),
    toggle<&Settings::overrideOnVelocity>("overrideOnVelocity"),
    byte<&Settings::onVelocityValue>("onVelocityValue").port("On Velocity", 0, 127).rides<&Lives::onVelocityValue>(),
    toggle<&Settings::overrideOffVelocity>("overrideOffVelocity"),
    byte<&Settings::offVelocityValue>("offVelocityValue")
        .port("Off Velocity", 0, 127)
        .rides<&Lives::offVelocityValue>(),
    toggle<&Settings::overrideCCValue>("overrideCCValue"),
    byte<&Settings::ccController>("ccController").port("CC #", 0, 127).rides<&Lives::ccController>(),
    byte<&Settings::ccValue>("ccValue").port("CC Value", 0, 127).rides<&Lives::ccValue>(),
    toggle<&Settings::overrideProgram>("overrideProgram"),
    byte<&Settings::programValue>("programValue"),
    toggle<&Settings::overridePressure>("overridePressure"),
    byte<&Settings::pressureValue>("pressureValue"),
    toggle<&Settings::overridePitchWheel>("overridePitchWheel"),
    word<&Settings::pitchWheelValue>("pitchWheelValue"),
    toggle<&Settings::overrideChannel>("overrideChannel"),
    byte<&Settings::channelValue>("channelValue").port("Channel", 1, 16).rides<&Lives::channelValue>(),
    toggle<&Settings::duplicate>("duplicate"),
};

/// Status and two data bytes, of which a shorter message uses the first.
using Bytes = std::array<std::uint8_t, 3>;

class SetTool final : public ConfiguredTool<Settings, Lives> {
public:
    SetTool() : ConfiguredTool(setDefinition) {}

    void process(const ChainMessage& message, ToolChain& chain) override {
        if (message.length == 0 || message.length > 3) return chain.forward(message);
        const Settings& now = settingsInWalk();
        Bytes bytes{message.status(), message.length > 1 ? message.data1() : std::uint8_t{0},
                    message.length > 2 ? message.data2() : std::uint8_t{0}};
        setValues(bytes, message.length == 3, now);
        if (now.overrideChannel && bytes[0] >= 0x80 && bytes[0] < 0xF0)
            bytes[0] = static_cast<std::uint8_t>((bytes[0] & 0xF0) | channel(now));
        const ChainMessage rewritten = message.carrying({bytes.data(), message.length});
        if (now.duplicate) chain.forward(rewritten.notLast());
        chain.forward(rewritten);
    }

private:
    void setValues(Bytes& bytes, bool isThreeBytes, const Settings& now) const {
        auto& [status, data1, data2] = bytes;
        switch (status & 0xF0) {
            case 0x80:
                if (now.overrideNote) data1 = ridden(live().noteValue, now.noteValue);
                if (now.overrideOffVelocity) data2 = ridden(live().offVelocityValue, now.offVelocityValue);
                break;
            case 0x90:
                if (now.overrideNote) data1 = ridden(live().noteValue, now.noteValue);
                if (now.overrideOnVelocity) data2 = ridden(live().onVelocityValue, now.onVelocityValue);
                break;
            case 0xA0:
                if (now.overrideNote) data1 = ridden(live().noteValue, now.noteValue);
                if (now.overridePressure) data2 = dataByte(now.pressureValue);
                break;
            case 0xB0:
                if (now.overrideCCValue && isThreeBytes && data1 == ridden(live().ccController, now.ccController))
                    data2 = ridden(live().ccValue, now.ccValue);
                break;
            case 0xC0:
                if (now.overrideProgram) data1 = dataByte(now.programValue);
                break;
            case 0xD0:
                if (now.overridePressure) data1 = dataByte(now.pressureValue);
                break;
            case 0xE0:
                if (!now.overridePitchWheel) break;
                data1 = now.pitchWheelValue & 0x7F;
                data2 = dataByte(now.pitchWheelValue / 128);
                break;
            default:
                break;
        }
    }

    static std::uint8_t dataByte(int value) { return static_cast<std::uint8_t>(std::min(value, 127)); }

    static std::uint8_t ridden(const LiveValue& live, std::uint8_t stored) {
        return static_cast<std::uint8_t>(clampedLive(0, 127, live, stored));
    }

    /// 0 to 15.
    int channel(const Settings& now) const { return clampedLive(1, 16, live().channelValue, now.channelValue + 1) - 1; }
};

}  // namespace

const ToolDefinition setDefinition{PipeToolType::set, "SetConfig", table,
                                   []() -> std::shared_ptr<PipeTool> { return std::make_shared<SetTool>(); }};

}  // namespace varnolex
