#include <array>

#include "engine/ConfiguredTool.hpp"
#include "engine/ToolChain.hpp"
#include "tools/StoredChoice.hpp"
#include "tools/ToolDefinitions.hpp"

// Makes messages of another type out of those of one, on the same channel: their data bytes, or the two exchanged,
// become the other type's. A Note Off counts as a note, and a note that is made is always a Note On.

namespace varnolex {
namespace {

struct EventConverterSettings {
    struct Reduced {
        /// Bit n: whether statuses whose high nibble is n are to be converted.
        std::uint16_t inputKinds;
        bool takesControllers;
        std::uint8_t outputType;
        std::uint8_t inputCC;
        std::uint8_t outputCC;
        bool duplicate;
        bool exchange;
    };

    /// Both an `EventType`; with any other number nothing is converted.
    std::int64_t inputType = 0;
    std::int64_t outputType = 1;
    /// The controller to convert; 0 for all.
    std::uint8_t inputCC = 0;
    std::uint8_t outputCC = 0;
    /// Whether the original goes ahead of what is made of it.
    bool duplicate = false;
    bool exchange = false;

    Reduced realTime() const;
};

enum EventType : std::uint8_t { note, controller, keyPressure, channelPressure, pitchBend, program };

struct EventConverterLives {
    LiveValue inputCC;
    LiveValue outputCC;
};

using namespace parameters;
using Settings = EventConverterSettings;
using Lives = EventConverterLives;

constexpr std::array table{
    integer<&Settings::inputType>("inputType"),
    integer<&Settings::outputType>("outputType"),
    byte<&Settings::inputCC>("inputCC").port("Input CC", 0, 127).rides<&Lives::inputCC>(),
    byte<&Settings::outputCC>("outputCC").port("Output CC", 0, 127).rides<&Lives::outputCC>(),
    toggle<&Settings::duplicate>("duplicate"),
    toggle<&Settings::exchange>("exchange"),
};

/// By the status byte's high nibble, for each type.
constexpr std::array<std::uint16_t, 6> kindsOfType{
    1 << 0x8 | 1 << 0x9, 1 << 0xB, 1 << 0xA, 1 << 0xD, 1 << 0xE, 1 << 0xC};

Settings::Reduced EventConverterSettings::realTime() const {
    const std::uint8_t type = choiceByte(inputType);
    const std::uint16_t kinds = type < kindsOfType.size() ? kindsOfType[type] : std::uint16_t{0};
    return {kinds, type == controller, choiceByte(outputType), inputCC, outputCC, duplicate, exchange};
}

class EventConverterTool final : public ConfiguredTool<Settings, Lives> {
public:
    EventConverterTool() : ConfiguredTool(eventConverterDefinition) {}

    void process(const ChainMessage& message, ToolChain& chain) override {
        const Settings::Reduced& now = settingsInWalk();
        if (!accepts(message, now)) return chain.forward(message);
        const bool isKnown = now.outputType <= program;
        const ShortMessage made = convert(message, now);
        if (now.duplicate) chain.forward(message);
        chain.forward(isKnown ? message.carrying(made) : message);
    }

private:
    bool accepts(const ChainMessage& message, const Settings::Reduced& now) const {
        if (message.length < 2 || (now.inputKinds >> (message.status() >> 4) & 1) == 0) return false;
        if (!now.takesControllers) return true;
        const int wanted = clampedLive(0, 127, live().inputCC, now.inputCC);
        return wanted == 0 || message.data1() == wanted;
    }

    ShortMessage convert(const ChainMessage& message, const Settings::Reduced& now) const {
        const std::uint8_t data1 = message.data1() & 0x7F;
        const std::uint8_t data2 = message.length > 2 ? message.data2() & 0x7F : 0;
        const std::uint8_t first = now.exchange ? data2 : data1;
        const std::uint8_t second = now.exchange ? data1 : data2;
        const auto status = [&](int voice) { return static_cast<std::uint8_t>(voice | message.channel()); };
        switch (now.outputType) {
            case note:
                return {status(0x90), first, second};
            case controller:
                return {status(0xB0), static_cast<std::uint8_t>(clampedLive(0, 127, live().outputCC, now.outputCC)),
                        second};
            case keyPressure:
                return {status(0xA0), first, second};
            case channelPressure:
                return {status(0xD0), second};
            case pitchBend:
                return {status(0xE0), first, second};
            default:
                return {status(0xC0), first};
        }
    }
};

}  // namespace

const ToolDefinition eventConverterDefinition{
    PipeToolType::eventConverter, "EventConverterConfig", table,
    []() -> std::shared_ptr<PipeTool> { return std::make_shared<EventConverterTool>(); }};

}  // namespace varnolex
