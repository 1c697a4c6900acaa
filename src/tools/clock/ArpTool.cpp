#include <algorithm>
#include <array>
#include <utility>

#include "engine/ConfiguredTool.hpp"
#include "platform/Runtime.hpp"
#include "tools/ToolDefinitions.hpp"
#include "tools/clock/ArpSequence.hpp"
#include "tools/timing/WalkTimer.hpp"

// Plays the held keys one after another, a step every so many ticks of the incoming clock. The keys themselves go no
// further, and without a clock there is silence. A step's note ends after its part of the step or with the next one.

namespace varnolex {
namespace {

struct ArpSettings {
    /// An `ArpPattern`.
    std::int64_t pattern = arpUp;
    /// Clock ticks, 24 a quarter note.
    std::int64_t ticksPerStep = 12;
    /// The sounding part of a step.
    std::int64_t gatePercent = 80;
    std::int64_t octaveRange = 1;
    /// Whether keys stay held when they are released.
    bool latch = false;
};

struct ArpLives {
    LiveValue gatePercent;
};

using namespace parameters;

constexpr std::array table{
    integer<&ArpSettings::pattern>("pattern"),
    integer<&ArpSettings::ticksPerStep>("ticksPerStep"),
    integer<&ArpSettings::gatePercent>("gatePercent").rides<&ArpLives::gatePercent>(),
    integer<&ArpSettings::octaveRange>("octaveRange"),
    toggle<&ArpSettings::latch>("latch"),
};

class ArpTool final : public ConfiguredTool<ArpSettings, ArpLives> {
public:
    ArpTool() : ConfiguredTool(arpDefinition) {}

    void process(const ChainMessage& message, ToolChain& chain) override {
        if (message.isNoteOn()) return press(message, chain);
        if (message.isNoteEnd()) return release(message, chain);
        if (message.isClockTick()) countTick(message, chain);
        chain.forward(message);
    }

    void stop() override {
        inWalkOf(*this, [this] {
            gateTimer.cancel();
            sequence.clear();
            clockTick = 0;
            playing.reset();
            lastPlayed.reset();
        });
    }

protected:
    void settingsDidChange(const ArpSettings& before) override {
        const ArpSettings& now = settings();
        inWalkOf(*this, [&] {
            if (before.latch && !now.latch) sequence.clear();
            if (before.pattern != now.pattern || before.octaveRange != now.octaveRange) rebuild(now);
        });
    }

    void enabledDidChange(bool isOn) override {
        if (isOn) return;
        inWalkOf(*this, [this] {
            gateTimer.cancel();
            sequence.clear();
            clockTick = 0;
        });
    }

private:
    struct PlayingNote {
        std::uint8_t note;
        std::uint8_t channel;

        bool operator==(const PlayingNote&) const = default;
    };

    void rebuild(const ArpSettings& now) { sequence.rebuild(now.pattern, now.octaveRange); }

    void press(const ChainMessage& message, ToolChain& chain) {
        sequence.press({static_cast<std::uint8_t>(message.data1() & 0x7F),
                        static_cast<std::uint8_t>(message.data2() & 0x7F), message.channel()});
        rebuild(current());
        chain.forward(message.dropped());
    }

    void release(const ChainMessage& message, ToolChain& chain) {
        const ArpSettings now = current();
        if (now.latch) return chain.forward(message.dropped());
        sequence.release(message.data1() & 0x7F, message.channel());
        rebuild(now);
        if (sequence.hasHeldNotes()) return chain.forward(message.dropped());

        gateTimer.cancel();
        auto ended = std::exchange(playing, std::nullopt);
        if (!ended) ended = std::exchange(lastPlayed, std::nullopt);
        if (!ended) return chain.forward(message.dropped());
        const ShortMessage off = ShortMessage::noteOff(ended->channel, ended->note);
        chain.forward(message.carrying(off));
    }

    void countTick(const ChainMessage& tick, ToolChain& chain) {
        const HostTime now = Runtime::current().hostTime();
        const HostTime interval = lastTickTime != 0 && now > lastTickTime ? now - lastTickTime : 0;
        lastTickTime = now;
        const ArpSettings settingsNow = current();
        if (++clockTick < settingsNow.ticksPerStep) return;
        clockTick = 0;
        step(tick, interval, settingsNow, chain);
    }

    void step(const ChainMessage& tick, HostTime interval, const ArpSettings& now, ToolChain& chain) {
        const auto next = sequence.next();
        if (!next) return;
        gateTimer.cancel();
        if (const auto old = std::exchange(playing, std::nullopt)) {
            const ShortMessage off = ShortMessage::noteOff(old->channel, old->note);
            chain.forward(tick.notLast().carrying(off));
        }
        const ShortMessage on = ShortMessage::noteOn(next->channel, next->note, next->velocity);
        chain.forward(tick.carrying(on));
        playing = lastPlayed = PlayingNote{next->note, next->channel};
        if (const std::int64_t milliseconds = gateLength(interval, now)) scheduleGateEnd(milliseconds, tick.timeStamp);
    }

    /// In milliseconds; 0 when the note lasts until the next step.
    std::int64_t gateLength(HostTime interval, const ArpSettings& now) const {
        const int gate = clampedLive(0, 100, live().gatePercent, now.gatePercent);
        if (interval == 0 || gate == 100) return 0;
        // Far beyond any clock that is in use, and short of an overflow.
        const auto tickLength = static_cast<std::int64_t>(std::min<HostTime>(interval, 1000 * ticksPerSecond));
        const std::int64_t ticks = std::clamp<std::int64_t>(now.ticksPerStep, 0, 1'000'000);
        return tickLength * ticks / 1'000'000 * gate / 100;
    }

    void scheduleGateEnd(std::int64_t milliseconds, HostTime timeStamp) {
        gateTimer.startAfter(std::chrono::milliseconds(milliseconds),
                             [this, note = *playing, timeStamp](ToolChain& chain) { endGate(note, timeStamp, chain); });
    }

    void endGate(PlayingNote note, HostTime timeStamp, ToolChain& chain) {
        if (playing != note) return;
        playing.reset();
        const ShortMessage off = ShortMessage::noteOff(note.channel, note.note);
        // Leaves with the batch of the next tick, which comes within a 24th of a beat.
        const ChainMessage place{nullptr, 0, timeStamp, false};
        chain.forward(place.carrying(off));
    }

    // Touched inside walks only.
    ArpSequence sequence;
    std::int64_t clockTick = 0;
    HostTime lastTickTime = 0;
    std::optional<PlayingNote> playing;
    std::optional<PlayingNote> lastPlayed;
    WalkTimer gateTimer{*this, "com.varnolex.arp"};
};

}  // namespace

const ToolDefinition arpDefinition{PipeToolType::arp, "ArpConfig", table,
                                   []() -> std::shared_ptr<PipeTool> { return std::make_shared<ArpTool>(); }};

}  // namespace varnolex
