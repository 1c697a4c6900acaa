#include <algorithm>
#include <array>

#include "engine/ConfiguredTool.hpp"
#include "engine/ToolChain.hpp"
#include "engine/WalkState.hpp"
#include "platform/Runtime.hpp"
#include "tools/ToolDefinitions.hpp"
#include "tools/shaping/NoteStacks.hpp"

// Puts random numbers within limits in the place of notes, velocities, controller values and pressures. A note ends
// where it began, also when notes are no longer drawn by then; overlapping notes of one key end in reverse order.

namespace varnolex {
namespace {

struct RandomizerSettings {
    bool randomizeNote = false;
    std::uint8_t noteMin = 0;
    std::uint8_t noteMax = 127;
    bool randomizeVelocity = false;
    std::uint8_t velocityMin = 0;
    std::uint8_t velocityMax = 127;
    bool randomizeCCValue = false;
    std::uint8_t ccValueMin = 0;
    std::uint8_t ccValueMax = 127;
    bool randomizePressure = false;
    std::uint8_t pressureMin = 0;
    std::uint8_t pressureMax = 127;

    static RandomizerSettings fresh() {
        RandomizerSettings settings;
        settings.velocityMin = 1;
        return settings;
    }
};

struct RandomizerLives {
    LiveValue noteMin;
    LiveValue noteMax;
    LiveValue velocityMin;
    LiveValue velocityMax;
};

using namespace parameters;
using Settings = RandomizerSettings;
using Lives = RandomizerLives;

constexpr std::array table{
    toggle<&Settings::randomizeNote>("randomizeNote"),
    byte<&Settings::noteMin>("noteMin").port("Note Min", 0, 127).rides<&Lives::noteMin>(),
    byte<&Settings::noteMax>("noteMax").port("Note Max", 0, 127).rides<&Lives::noteMax>(),
    toggle<&Settings::randomizeVelocity>("randomizeVelocity"),
    byte<&Settings::velocityMin>("velocityMin").port("Vel Min", 0, 127).rides<&Lives::velocityMin>(),
    byte<&Settings::velocityMax>("velocityMax").port("Vel Max", 0, 127).rides<&Lives::velocityMax>(),
    toggle<&Settings::randomizeCCValue>("randomizeCCValue"),
    byte<&Settings::ccValueMin>("ccValueMin"),
    byte<&Settings::ccValueMax>("ccValueMax"),
    toggle<&Settings::randomizePressure>("randomizePressure"),
    byte<&Settings::pressureMin>("pressureMin"),
    byte<&Settings::pressureMax>("pressureMax"),
};

/// `low` when `high` isn't above it.
std::uint8_t draw(int low, int high) {
    return static_cast<std::uint8_t>(Runtime::current().randomInteger(std::min(low, 127), std::min(high, 127)));
}

class RandomizerTool final : public ConfiguredTool<Settings, Lives> {
public:
    RandomizerTool() : ConfiguredTool(randomizerDefinition) {}

    void process(const ChainMessage& message, ToolChain& chain) override {
        const Settings& now = settingsInWalk();
        if (message.isNoteOn()) return begin(message, now, chain);
        if (message.isNoteEnd()) return end(message, chain);
        if (message.isController() && now.randomizeCCValue)
            return forwardAs(message.data1(), draw(now.ccValueMin, now.ccValueMax), message, chain);
        if (message.isThreeBytes(0xA0) && now.randomizePressure)
            return forwardAs(message.data1(), draw(now.pressureMin, now.pressureMax), message, chain);
        if (message.isChannelPressure() && now.randomizePressure) {
            const auto pressure = ShortMessage::withData1(draw(now.pressureMin, now.pressureMax), message);
            return chain.forward(message.carrying(pressure));
        }
        chain.forward(message);
    }

private:
    void begin(const ChainMessage& message, const Settings& now, ToolChain& chain) {
        std::uint8_t note = message.data1();
        std::uint8_t velocity = message.data2();
        if (now.randomizeNote) {
            note = draw(clampedLive(0, 127, live().noteMin, now.noteMin),
                        clampedLive(0, 127, live().noteMax, now.noteMax));
            soundingNotes.inWalk().push(message.noteKey(), note);
        }
        if (now.randomizeVelocity)
            velocity = draw(clampedLive(0, 127, live().velocityMin, now.velocityMin),
                            clampedLive(0, 127, live().velocityMax, now.velocityMax));
        forwardAs(note, velocity, message, chain);
    }

    void end(const ChainMessage& message, ToolChain& chain) {
        const auto began = soundingNotes.inWalk().pop(message.noteKey());
        forwardAs(began.value_or(message.data1()), message.data2(), message, chain);
    }

    static void forwardAs(std::uint8_t data1, std::uint8_t data2, const ChainMessage& message, ToolChain& chain) {
        const ShortMessage drawn(message.status(), data1, data2);
        chain.forward(message.carrying(drawn));
    }

    /// What each sounding key became.
    WalkState<NoteStacks> soundingNotes;
};

}  // namespace

const ToolDefinition randomizerDefinition{
    PipeToolType::randomizer, "RandomizerConfig", table,
    []() -> std::shared_ptr<PipeTool> { return std::make_shared<RandomizerTool>(); }};

}  // namespace varnolex
