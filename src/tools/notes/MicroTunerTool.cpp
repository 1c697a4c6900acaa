#include <algorithm>
#include <array>
#include <limits>

#include "engine/ConfiguredTool.hpp"
#include "engine/ToolChain.hpp"
#include "tools/ToolDefinitions.hpp"

// Tunes each pitch class: ahead of a note whose class has an offset it sends the pitch bend that makes it. A class
// without an offset sends none, so the channel keeps the bend that it has.

namespace varnolex {
namespace {

constexpr int widestBendRange = 96;

struct MicroTunerSettings {
    /// Reduced to what makes a difference.
    struct Reduced {
        std::array<std::int16_t, 12> tuningCents;
        std::int16_t bendRange;
    };

    /// One a pitch class, from C.
    std::array<std::int64_t, 12> tuningCents{};
    /// In semitones.
    std::int64_t bendRange = 2;

    Reduced realTime() const {
        // Beyond the widest range an offset can only bend as far as the wheel goes.
        constexpr std::int64_t most = 2 * 100 * widestBendRange;
        Reduced reduced{};
        for (std::size_t index = 0; index < tuningCents.size(); ++index)
            reduced.tuningCents[index] = static_cast<std::int16_t>(std::clamp(tuningCents[index], -most, most));
        reduced.bendRange = static_cast<std::int16_t>(std::clamp<std::int64_t>(bendRange, 1, widestBendRange));
        return reduced;
    }
};

struct MicroTunerLives {
    LiveValue bendRange;
};

using namespace parameters;

constexpr std::int64_t lowest = std::numeric_limits<std::int64_t>::min();
constexpr std::int64_t highest = std::numeric_limits<std::int64_t>::max();

constexpr std::array table{
    list<&MicroTunerSettings::tuningCents, lowest, highest>("tuningCents"),
    integer<&MicroTunerSettings::bendRange>("bendRange").port("Bend Range", 1, 24).rides<&MicroTunerLives::bendRange>(),
};

class MicroTunerTool final : public ConfiguredTool<MicroTunerSettings, MicroTunerLives> {
public:
    MicroTunerTool() : ConfiguredTool(microTunerDefinition) {}

    void process(const ChainMessage& message, ToolChain& chain) override {
        if (message.isNoteOn()) sendBend(message, chain);
        chain.forward(message);
    }

private:
    void sendBend(const ChainMessage& message, ToolChain& chain) {
        const MicroTunerSettings::Reduced& now = settingsInWalk();
        const int cents = now.tuningCents[(message.data1() & 0x7F) % 12];
        if (cents == 0) return;
        const int range = clampedLive(1, widestBendRange, live().bendRange, now.bendRange);
        const int bend = std::clamp(8192 + cents * 8192 / (range * 100), 0, 16383);
        const ShortMessage wheel(static_cast<std::uint8_t>(0xE0 | message.channel()),
                                 static_cast<std::uint8_t>(bend & 0x7F), static_cast<std::uint8_t>(bend / 128));
        chain.forward(message.notLast().carrying(wheel));
    }
};

}  // namespace

const ToolDefinition microTunerDefinition{
    PipeToolType::microTuner, "MicroTunerConfig", table,
    []() -> std::shared_ptr<PipeTool> { return std::make_shared<MicroTunerTool>(); }};

}  // namespace varnolex
