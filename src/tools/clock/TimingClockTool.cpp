#include <algorithm>
#include <array>
#include <cmath>

#include "engine/ConfiguredTool.hpp"
#include "engine/ToolChain.hpp"
#include "platform/Runtime.hpp"
#include "tools/ToolDefinitions.hpp"

// Sends MIDI Timing Clock, 24 ticks a quarter note, from a timer of its own, with Start and Stop around it if wanted.
// It runs only when asked to; messages pass it unchanged. A new tempo begins with a tick at once.

namespace varnolex {
namespace {

struct TimingClockSettings {
    /// Quarter notes a minute.
    double bpm = 120;
    bool sendStart = false;
    bool sendStop = false;

    static TimingClockSettings fresh() { return {120, true, true}; }
};

struct TimingClockLives {
    LiveValue bpm;
};

using namespace parameters;

constexpr std::array table{
    real<&TimingClockSettings::bpm>("bpm").port("BPM", 20, 300).rides<&TimingClockLives::bpm>(),
    toggle<&TimingClockSettings::sendStart>("sendStart"),
    toggle<&TimingClockSettings::sendStop>("sendStop"),
};

constexpr std::uint8_t clockStatus = 0xF8;
constexpr std::uint8_t startStatus = 0xFA;
constexpr std::uint8_t stopStatus = 0xFC;

/// The time between two ticks, in whole microseconds.
Nanoseconds tickInterval(double bpm) {
    if (!std::isfinite(bpm) || bpm < 1) return std::chrono::microseconds(2'500'000);
    const double microseconds = 60 / (std::min(bpm, 999.0) * 24) * 1'000'000;
    return std::chrono::microseconds(static_cast<std::int64_t>(microseconds));
}

class TimingClockTool final : public ConfiguredTool<TimingClockSettings, TimingClockLives>, public Transport {
public:
    TimingClockTool()
        : ConfiguredTool(timingClockDefinition),
          clockQueue(Runtime::current().makeQueue("com.varnolex.clock", QueuePriority::timing)) {}

    void process(const ChainMessage& message, ToolChain& chain) override { chain.forward(message); }

    Transport* transport() override { return this; }
    bool isPlaying() const override { return running.get(); }

    void startPlaying() override {
        const auto activeChain = chain();
        if (!isEnabled() || !activeChain) return;
        timer.reset();
        activeChain->enter([&] {
            running.set(true);
            ++run;
            if (settings().sendStart) send(startStatus, *activeChain);
        });
        schedule();
    }

    void stopPlaying() override {
        timer.reset();
        if (!running.get()) return;
        const auto activeChain = chain();
        if (!activeChain) return running.set(false);
        // Inside a walk, so that no tick follows the Stop.
        activeChain->enter([&] {
            running.set(false);
            if (settings().sendStop) send(stopStatus, *activeChain);
        });
    }

    void stop() override { stopPlaying(); }

protected:
    void enabledDidChange(bool isOn) override {
        if (!isOn) stopPlaying();
    }

    void settingsDidChange(const TimingClockSettings&) override { tempoMayHaveChanged(); }
    void liveValueDidChange() override { tempoMayHaveChanged(); }

private:
    Nanoseconds wantedInterval() const { return tickInterval(live().bpm.get().value_or(settings().bpm)); }

    void tempoMayHaveChanged() {
        if (running.get() && wantedInterval() != interval) schedule();
    }

    void schedule() {
        interval = wantedInterval();
        timer = clockQueue->repeating(0, interval, [self = weak_from_this(), forRun = run] {
            if (const auto tool = self.lock()) static_cast<TimingClockTool&>(*tool).tick(forRun);
        });
    }

    void tick(std::uint64_t forRun) {
        const auto activeChain = chain();
        if (!activeChain) return;
        activeChain->enter([&] {
            if (running.get() && forRun == run) send(clockStatus, *activeChain);
        });
    }

    static void send(std::uint8_t status, ToolChain& activeChain) {
        const ShortMessage message(status);
        const std::span<const std::uint8_t> bytes = message;
        activeChain.forward({bytes.data(), bytes.size(), Runtime::current().hostTime(), true});
    }

    const std::shared_ptr<Queue> clockQueue;
    SharedValue<bool> running{false};
    /// Counts the starts; changed and compared inside a walk, so that a tick which was under way at a stop and a new
    /// start is left out.
    std::uint64_t run = 0;

    // Main thread.
    RepeatingTimer timer;
    Nanoseconds interval{};
};

}  // namespace

const ToolDefinition timingClockDefinition{
    PipeToolType::timingClock, "TimingClockConfig", table,
    []() -> std::shared_ptr<PipeTool> { return std::make_shared<TimingClockTool>(); }};

}  // namespace varnolex
