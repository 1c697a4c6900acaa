#include <algorithm>
#include <array>

#include "engine/ConfiguredTool.hpp"
#include "engine/ToolChain.hpp"
#include "tools/StoredChoice.hpp"
#include "tools/ToolDefinitions.hpp"

// Makes a switch of a note, a controller or the program changes: one message for on and one for off, by turns at each
// press, or for as long as the trigger is down. The switch keeps its place for the session.

namespace varnolex {
namespace {

/// One of the two messages, byte by byte as the user has put it down.
struct SwitchMessage {
    std::uint8_t status;
    std::uint8_t data1;
    std::uint8_t data2;
    /// 1 to 3.
    std::uint8_t size;
};

/// Three bytes or more make three, and what is neither three nor two makes one.
constexpr std::uint8_t sizeByte(std::int64_t stored) {
    return static_cast<std::uint8_t>(stored >= 3 ? 3 : stored == 2 ? 2 : 1);
}

struct ToggleSettings {
    struct Reduced {
        std::uint8_t mode;
        std::uint8_t triggerType;
        std::uint8_t triggerNote;
        std::uint8_t triggerCC;
        std::uint8_t triggerThreshold;
        bool changeChannel;
        std::uint8_t outputChannel;
        bool forwardOriginal;
        SwitchMessage on;
        SwitchMessage off;
    };

    /// A `Mode`.
    std::int64_t mode = 0;
    /// A `Trigger`.
    std::int64_t triggerType = 0;
    std::uint8_t triggerNote = 60;
    std::uint8_t triggerCC = 0;
    /// The least controller value that counts as pressed.
    std::uint8_t triggerThreshold = 64;
    std::uint8_t onStatus = 144;
    std::uint8_t onData1 = 60;
    std::uint8_t onData2 = 127;
    std::int64_t onSize = 3;
    std::uint8_t offStatus = 128;
    std::uint8_t offData1 = 60;
    std::uint8_t offData2 = 0;
    std::int64_t offSize = 3;
    /// Whether the messages leave on `outputChannel`; else on the trigger's channel.
    bool changeChannel = false;
    /// 0 to 15.
    std::uint8_t outputChannel = 0;
    bool forwardOriginal = true;

    Reduced realTime() const {
        return {choiceByte(mode),
                choiceByte(triggerType),
                triggerNote,
                triggerCC,
                triggerThreshold,
                changeChannel,
                outputChannel,
                forwardOriginal,
                {onStatus, onData1, onData2, sizeByte(onSize)},
                {offStatus, offData1, offData2, sizeByte(offSize)}};
    }

    static ToggleSettings fresh() {
        ToggleSettings settings;
        settings.triggerCC = 64;
        settings.onStatus = settings.offStatus = 176;
        settings.onData1 = settings.offData1 = 64;
        return settings;
    }
};

enum Mode : std::uint8_t { byTurns, momentary };
enum Trigger : std::uint8_t { noteTrigger, controllerTrigger, programTrigger };

struct ToggleLives {
    LiveValue triggerNote;
    LiveValue triggerCC;
    LiveValue triggerThreshold;
    LiveValue onData2;
    LiveValue offData2;
};

using namespace parameters;
using Settings = ToggleSettings;
using Lives = ToggleLives;

constexpr std::array table{
    integer<&Settings::mode>("mode"),
    integer<&Settings::triggerType>("triggerType"),
    byte<&Settings::triggerNote>("triggerNote").port("Trigger Note", 0, 127).rides<&Lives::triggerNote>(),
    byte<&Settings::triggerCC>("triggerCC").port("Trigger CC", 0, 127).rides<&Lives::triggerCC>(),
    byte<&Settings::triggerThreshold>("triggerThreshold").port("Threshold", 0, 127).rides<&Lives::triggerThreshold>(),
    byte<&Settings::onStatus>("onStatus"),
    byte<&Settings::onData1>("onData1"),
    byte<&Settings::onData2>("onData2").port("On Value", 0, 127).rides<&Lives::onData2>(),
    integer<&Settings::onSize>("onSize"),
    byte<&Settings::offStatus>("offStatus"),
    byte<&Settings::offData1>("offData1"),
    byte<&Settings::offData2>("offData2").port("Off Value", 0, 127).rides<&Lives::offData2>(),
    integer<&Settings::offSize>("offSize"),
    toggle<&Settings::changeChannel>("changeChannel"),
    byte<&Settings::outputChannel>("outputChannel"),
    toggle<&Settings::forwardOriginal>("forwardOriginal"),
};

enum class Gesture { none, press, release };

class ToggleTool final : public ConfiguredTool<Settings, Lives> {
public:
    ToggleTool() : ConfiguredTool(toggleDefinition) {}

    void process(const ChainMessage& message, ToolChain& chain) override {
        if (message.isEmptyCarrier()) return chain.forward(message);
        const Settings::Reduced& now = settingsInWalk();
        const Gesture gesture = gestureOf(message, now);
        const bool goesOn = now.forwardOriginal;
        const bool moves = gesture == Gesture::press || (gesture == Gesture::release && now.mode == momentary);
        if (moves) {
            isOn = gesture == Gesture::press && (now.mode == momentary || !isOn);
            emit(message, now, chain);
        }
        if (goesOn) return chain.forward(message);
        if (!moves) chain.forward(message.dropped());
    }

private:
    Gesture gestureOf(const ChainMessage& message, const Settings::Reduced& now) const {
        switch (now.triggerType) {
            case noteTrigger:
                if (!message.isNote() || message.data1() != clampedLive(0, 127, live().triggerNote, now.triggerNote))
                    return Gesture::none;
                return message.isNoteOn() ? Gesture::press : Gesture::release;
            case controllerTrigger:
                if (!message.isController() || message.data1() != clampedLive(0, 127, live().triggerCC, now.triggerCC))
                    return Gesture::none;
                return message.data2() >= clampedLive(0, 127, live().triggerThreshold, now.triggerThreshold)
                           ? Gesture::press
                           : Gesture::release;
            case programTrigger:
                return message.kind() == 0xC0 ? Gesture::press : Gesture::none;
            default:
                return Gesture::none;
        }
    }

    /// Sends what the switch stands at. It ends the batch when the trigger doesn't go on.
    void emit(const ChainMessage& trigger, const Settings::Reduced& now, ToolChain& chain) {
        const SwitchMessage& wanted = isOn ? now.on : now.off;
        const int channel = now.changeChannel ? now.outputChannel & 0x0F : trigger.channel();
        const int data2 = clampedLive(0, 127, isOn ? live().onData2 : live().offData2, wanted.data2);
        const std::array<std::uint8_t, 3> bytes{static_cast<std::uint8_t>((wanted.status & 0xF0) | channel),
                                                std::min<std::uint8_t>(wanted.data1, 127),
                                                static_cast<std::uint8_t>(data2)};
        ChainMessage emitted = trigger.carrying({bytes.data(), wanted.size});
        if (now.forwardOriginal) emitted.isLastInBatch = false;
        chain.forward(emitted);
    }

    /// Touched inside walks only.
    bool isOn = false;
};

}  // namespace

const ToolDefinition toggleDefinition{PipeToolType::toggle, "ToggleConfig", table,
                                      []() -> std::shared_ptr<PipeTool> { return std::make_shared<ToggleTool>(); }};

}  // namespace varnolex
