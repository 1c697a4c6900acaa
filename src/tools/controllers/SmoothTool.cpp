#include <algorithm>
#include <array>
#include <cmath>

#include "tools/KeySet.hpp"
#include "tools/ToolDefinitions.hpp"
#include "tools/timing/TickingTool.hpp"

// Lets the values of each controller glide to where they are sent, sixty steps a second at one speed for all distances.
// A controller's first value, and one that is no further than the threshold from where it stands, pass at once.

namespace varnolex {
namespace {

struct SmoothSettings {
    struct Reduced {
        std::int16_t slewMs;
        std::uint8_t threshold;
    };

    /// Milliseconds for the whole range, up to 2000.
    std::int64_t slewMs = 200;
    std::int64_t threshold = 5;

    Reduced realTime() const {
        return {static_cast<std::int16_t>(std::clamp<std::int64_t>(slewMs, 0, longestSlew)),
                static_cast<std::uint8_t>(std::clamp<std::int64_t>(threshold, 0, 127))};
    }

    static SmoothSettings fresh() {
        SmoothSettings settings;
        settings.threshold = 0;
        return settings;
    }

    static constexpr int longestSlew = 2000;
};

struct SmoothLives {
    LiveValue slewMs;
    LiveValue threshold;
};

using namespace parameters;

constexpr std::array table{
    integer<&SmoothSettings::slewMs>("slewMs").port("Slew ms", 0, 2000).rides<&SmoothLives::slewMs>(),
    integer<&SmoothSettings::threshold>("threshold").port("Threshold", 0, 127).rides<&SmoothLives::threshold>(),
};

constexpr int tickHz = 60;
constexpr Nanoseconds tickPeriod(ticksPerSecond / tickHz);

class SmoothTool final : public TickingTool<SmoothSettings, SmoothLives> {
public:
    SmoothTool() : TickingTool(smoothDefinition, "com.varnolex.smooth", tickPeriod, tickPeriod) {}

    void process(const ChainMessage& message, ToolChain& chain) override {
        if (!message.isController()) return chain.forward(message);
        if (passesAtOnce(message.noteKey(), message.data2() & 0x7F)) return chain.forward(message);
        if (!isTicking()) startTicks();
        chain.forward(message.dropped());
    }

protected:
    // A glide that a stop or a switch has held goes on afterwards.
    bool wantsTicks() const override { return !gliding.isEmpty(); }

    void tick(ToolChain& chain) override {
        const double step = 127 * 1000.0 / (effectiveSlew() * tickHz);
        const HostTime now = Runtime::current().hostTime();
        gliding.forEach([&](std::uint16_t key) {
            if (hasArrived(glides[key], step)) gliding.remove(key);
            emit(key, glides[key].current, now, chain);
        });
    }

private:
    struct Glide {
        double current = 0;
        double target = 0;
        /// Whether there has been a value yet.
        bool isKnown = false;
    };

    /// Takes a controller's new value; if it doesn't pass, it is where the controller is to glide.
    bool passesAtOnce(std::uint16_t key, int value) {
        Glide& glide = glides[key];
        const int threshold = clampedLive(0, 127, live().threshold, settingsInWalk().threshold);
        const bool passes = !glide.isKnown || static_cast<int>(std::abs(value - glide.current)) <= threshold;
        glide = {passes ? value : glide.current, static_cast<double>(value), true};
        if (passes)
            gliding.remove(key);
        else
            gliding.insert(key);
        return passes;
    }

    /// Moves a glide by a step, and says whether it has come to its end.
    static bool hasArrived(Glide& glide, double step) {
        // More than what many steps lose by rounding.
        constexpr double slack = 1e-6;
        const double distance = glide.target - glide.current;
        const bool arrives = std::abs(distance) < 0.5 || std::abs(distance) <= step + slack;
        glide.current = arrives ? glide.target : glide.current + std::copysign(step, distance);
        return arrives;
    }

    /// Whole milliseconds, at least 1. What isn't a number counts as the shortest time.
    double effectiveSlew() const {
        const double ridden = live().slewMs.get().value_or(settingsInWalk().slewMs);
        if (std::isnan(ridden)) return 1;
        return std::max(1.0, std::trunc(std::clamp(ridden, 0.0, double{SmoothSettings::longestSlew})));
    }

    static void emit(std::uint16_t key, double value, HostTime now, ToolChain& chain) {
        const ShortMessage control =
            ShortMessage::controller(static_cast<std::uint8_t>(key / 128), static_cast<std::uint8_t>(key % 128),
                                     static_cast<std::uint8_t>(std::lround(value)));
        chain.sendToExit(ChainMessage{nullptr, 0, now, true}.carrying(control));
    }

    // Touched inside walks only.
    KeySet gliding;
    /// By controller + 128 x channel.
    std::array<Glide, 16 * 128> glides;
};

}  // namespace

const ToolDefinition smoothDefinition{PipeToolType::smooth, "SmoothConfig", table,
                                      []() -> std::shared_ptr<PipeTool> { return std::make_shared<SmoothTool>(); }};

}  // namespace varnolex
