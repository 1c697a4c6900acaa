#include <algorithm>
#include <array>
#include <cmath>
#include <numbers>

#include "tools/ToolDefinitions.hpp"
#include "tools/timing/TickingTool.hpp"

// Sends a repeating wave as values of a controller, a hundred a second from a timer of its own, or one on every tick of
// the incoming clock. While it runs freely a clock ends here; everything else passes unchanged.

namespace varnolex {
namespace {

struct LFOSettings {
    /// What every message that passes reads.
    struct Passing {
        bool syncToMidiClock;
        bool triggeredMode;
    };

    /// Reduced to what makes a difference.
    struct Reduced {
        double rateHz;
        double phaseOffset;
        std::int32_t clockDivision;
        std::uint8_t waveform;
        std::uint8_t depthMin;
        std::uint8_t depthMax;
        std::uint8_t targetCC;
        Passing passing;
    };

    /// A `Waveform`; any other number rests in the middle.
    std::int64_t waveform = 0;
    /// Cycles a second, when it runs freely.
    double rateHz = 1;
    bool syncToMidiClock = false;
    /// Quarter notes a cycle, when it follows the clock.
    std::int64_t clockDivision = 4;
    /// The value at the wave's lowest and highest point; the former may be the greater one.
    std::uint8_t depthMin = 0;
    std::uint8_t depthMax = 127;
    /// The controller's number.
    std::uint8_t targetCC = 11;
    /// In cycles.
    double phaseOffset = 0;
    /// Whether a note begins the wave anew.
    bool triggeredMode = false;

    Reduced realTime() const {
        // Far beyond any piece of music, and short of an overflow.
        const auto quarters = static_cast<std::int32_t>(std::clamp<std::int64_t>(clockDivision, 1, 1'000'000));
        const auto wave = static_cast<std::uint8_t>(waveform < 0 || waveform > 255 ? 255 : waveform);
        return {rateHz, phaseOffset, quarters, wave, depthMin, depthMax, targetCC, {syncToMidiClock, triggeredMode}};
    }
};

struct LFOLives {
    LiveValue rateHz;
    LiveValue depthMin;
    LiveValue depthMax;
    LiveValue targetCC;
};

enum Waveform { sine, triangle, square, sawtooth, reverseSawtooth, randomSteps };

using namespace parameters;

constexpr std::array table{
    integer<&LFOSettings::waveform>("waveform"),
    real<&LFOSettings::rateHz>("rateHz").rides<&LFOLives::rateHz>(),
    toggle<&LFOSettings::syncToMidiClock>("syncToMidiClock"),
    integer<&LFOSettings::clockDivision>("clockDivision"),
    byte<&LFOSettings::depthMin>("depthMin").tolerant().port("Depth Min", 0, 127).rides<&LFOLives::depthMin>(),
    byte<&LFOSettings::depthMax>("depthMax").tolerant().port("Depth Max", 0, 127).rides<&LFOLives::depthMax>(),
    byte<&LFOSettings::targetCC>("targetCC").tolerant().port("Target CC", 0, 127).rides<&LFOLives::targetCC>(),
    real<&LFOSettings::phaseOffset>("phaseOffset"),
    toggle<&LFOSettings::triggeredMode>("triggeredMode"),
};

constexpr int tickHz = 100;
constexpr Nanoseconds tickPeriod(ticksPerSecond / tickHz);
constexpr std::int64_t ticksPerQuarter = 24;

/// What the wave is worth, 0 to 1, at a phase of 0 up to 1.
double waveAt(std::int64_t waveform, double phase, int randomValue) {
    switch (waveform) {
        case sine:
            return (std::sin(2 * std::numbers::pi * phase) + 1) / 2;
        case triangle:
            return phase < 0.5 ? 2 * phase : 2 * (1 - phase);
        case square:
            return phase < 0.5 ? 1 : 0;
        case sawtooth:
            return phase;
        case reverseSawtooth:
            return 1 - phase;
        case randomSteps:
            return randomValue / 127.0;
        default:
            return 0.5;
    }
}

class LFOTool final : public TickingTool<LFOSettings, LFOLives> {
public:
    LFOTool() : TickingTool(lfoDefinition, "com.varnolex.lfo", tickPeriod, Nanoseconds(0)) {}

    void process(const ChainMessage& message, ToolChain& chain) override {
        lastTimeStamp = message.timeStamp;
        if (message.isClockTick()) return countTick(message, chain);
        const LFOSettings::Passing& now = settingsInWalk().passing;
        if (!now.syncToMidiClock && !isTicking()) [[unlikely]]
            startTicks();
        if (!message.isEmptyCarrier()) listen(message, now);
        chain.forward(message);
    }

protected:
    void settingsDidChange(const LFOSettings& before) override {
        if (before.syncToMidiClock != settings().syncToMidiClock) inWalkOf(*this, [this] { updateTicks(); });
    }

    bool wantsTicks() const override { return !settingsInWalk().passing.syncToMidiClock; }

    void tick(ToolChain& chain) override {
        const LFOSettings::Reduced now = current();
        phase += effectiveRate(now) / tickHz;
        if (phase >= 1) {
            phase -= 1;
            if (now.waveform == randomSteps) drawRandomValue(now);
        }
        emit(now, lastTimeStamp, chain);
    }

private:
    struct Depths {
        int low;
        int high;
    };

    [[gnu::noinline]] void countTick(const ChainMessage& tick, ToolChain& chain) {
        const LFOSettings::Reduced now = current();
        if (!now.passing.syncToMidiClock) return chain.forward(tick.dropped());
        const std::int64_t cycle = now.clockDivision * ticksPerQuarter;
        ++clockTickCount;
        phase = static_cast<double>(clockTickCount % cycle) / static_cast<double>(cycle);
        if (now.waveform == randomSteps) drawRandomValue(now);
        emit(now, tick.timeStamp, chain);
        chain.forward(tick);
    }

    void listen(const ChainMessage& message, const LFOSettings::Passing& now) {
        const std::uint8_t voice = message.kind();
        if (voice == 0x80 || voice == 0x90 || voice == 0xB0) lastChannel = message.channel();
        if (!now.triggeredMode || !message.isNoteOn()) return;
        phase = 0;
        clockTickCount = 0;
    }

    /// Cycles a second. What isn't a number leaves the stored rate in force.
    double effectiveRate(const LFOSettings::Reduced& now) const {
        const double ridden = live().rateHz.get().value_or(now.rateHz);
        const double rate = std::isfinite(ridden) ? ridden : now.rateHz;
        return std::isfinite(rate) ? std::clamp(rate, 0.01, 100.0) : 0.01;
    }

    Depths depths(const LFOSettings::Reduced& now) const {
        return {clampedLive(0, 127, live().depthMin, now.depthMin), clampedLive(0, 127, live().depthMax, now.depthMax)};
    }

    void drawRandomValue(const LFOSettings::Reduced& now) {
        const Depths ends = depths(now);
        const auto [least, greatest] = std::minmax(ends.low, ends.high);
        randomValue = static_cast<int>(Runtime::current().randomInteger(least, greatest));
    }

    void emit(const LFOSettings::Reduced& now, HostTime timeStamp, ToolChain& chain) {
        const Depths ends = depths(now);
        const double shifted = phase + now.phaseOffset;
        const double wave = waveAt(now.waveform, shifted - std::floor(shifted), randomValue);
        const int value = clampedInt(0, 127, ends.low + wave * (ends.high - ends.low));
        const int number = clampedLive(0, 127, live().targetCC, now.targetCC);
        const ShortMessage control =
            ShortMessage::controller(lastChannel, static_cast<std::uint8_t>(number), static_cast<std::uint8_t>(value));
        chain.sendToExit(ChainMessage{nullptr, 0, timeStamp, true}.carrying(control));
    }

    // Touched inside walks only.
    double phase = 0;
    std::int64_t clockTickCount = 0;
    int randomValue = 0;
    HostTime lastTimeStamp = 0;
    std::uint8_t lastChannel = 0;
};

}  // namespace

const ToolDefinition lfoDefinition{PipeToolType::lfo, "LFOConfig", table,
                                   []() -> std::shared_ptr<PipeTool> { return std::make_shared<LFOTool>(); }};

}  // namespace varnolex
