#include <algorithm>
#include <array>

#include "engine/ConfiguredTool.hpp"
#include "engine/ToolChain.hpp"
#include "engine/ValueProducer.hpp"
#include "tools/ToolDefinitions.hpp"

// Counts the messages of one kind that pass, between two limits, and puts the count on its value cables. A note can
// set it back. The count lasts for the session.

namespace varnolex {
namespace {

enum class TriggerType : std::uint8_t { any, noteOn, noteOff, cc };

constexpr std::array<std::string_view, 4> triggerTexts{"any", "noteOn", "noteOff", "cc"};

struct CounterSettings {
    /// What decides whether a message counts: all that most messages read.
    struct Trigger {
        TriggerType type;
        std::uint8_t cc;
        std::uint8_t threshold;
        bool resetEnabled;
        std::uint8_t resetNote;
    };

    struct RealTime {
        double minValue;
        double maxValue;
        double step;
        bool wrapMode;
        Trigger trigger;
    };

    double minValue = 0;
    double maxValue = 127;
    double step = 1;
    bool wrapMode = true;
    TriggerType triggerType = TriggerType::noteOn;
    std::uint8_t triggerCC = 0;
    std::uint8_t triggerThreshold = 64;
    bool resetEnabled = false;
    std::uint8_t resetNote = 0;

    RealTime realTime() const {
        return {
            minValue, maxValue, step, wrapMode, {triggerType, triggerCC, triggerThreshold, resetEnabled, resetNote}};
    }

    static CounterSettings fresh() {
        CounterSettings settings;
        settings.maxValue = 7;
        settings.triggerThreshold = 0;
        return settings;
    }
};

using namespace parameters;

constexpr std::array table{
    real<&CounterSettings::minValue>("minValue"),
    real<&CounterSettings::maxValue>("maxValue"),
    real<&CounterSettings::step>("step"),
    toggle<&CounterSettings::wrapMode>("wrapMode"),
    choice<&CounterSettings::triggerType>("triggerType", triggerTexts, static_cast<std::size_t>(TriggerType::noteOn)),
    byte<&CounterSettings::triggerCC>("triggerCC"),
    byte<&CounterSettings::triggerThreshold>("triggerThreshold"),
    toggle<&CounterSettings::resetEnabled>("resetEnabled"),
    byte<&CounterSettings::resetNote>("resetNote"),
};

/// At any velocity, so that a reset note's end, sent as a Note On of velocity 0, isn't counted either.
constexpr bool isReset(CounterSettings::Trigger now, const ChainMessage& message) {
    return now.resetEnabled && message.isThreeBytes(0x90) && message.data1() == now.resetNote;
}

/// `message` has at least two bytes.
constexpr bool isTrigger(CounterSettings::Trigger now, const ChainMessage& message) {
    switch (now.type) {
        case TriggerType::any:
            return true;
        case TriggerType::noteOn:
            return message.isNoteOn();
        case TriggerType::noteOff:
            return message.kind() == 0x80 || message.isNoteEnd();
        case TriggerType::cc:
            return message.isController() && message.data1() == now.cc && message.data2() >= now.threshold;
    }
    return false;
}

double nextCount(const CounterSettings::RealTime& now, double count) {
    const double next = count + now.step;
    if (!now.wrapMode) return std::max(now.minValue, std::min(next, now.maxValue));
    if (next > now.maxValue) return now.minValue;
    return next < now.minValue ? now.maxValue : next;
}

class CounterTool final : public ConfiguredTool<CounterSettings>, public ValueProducer {
public:
    CounterTool() : ConfiguredTool(counterDefinition) {}

    void process(const ChainMessage& message, ToolChain& chain) override {
        if (message.length >= 2) {
            const CounterSettings::Trigger& trigger = settingsInWalk().trigger;
            if (isReset(trigger, message) || isTrigger(trigger, message)) count(message);
        }
        chain.forward(message);
    }

    ValueProducer* valueProducer() override { return this; }
    double outputValue() const override { return currentValue.get(); }

private:
    // Kept out of the way of the messages that only pass.
    [[gnu::noinline]] void count(const ChainMessage& message) {
        const CounterSettings::RealTime& now = settingsInWalk();
        if (isReset(now.trigger, message))
            take(now.minValue);
        else if (isTrigger(now.trigger, message))
            take(nextCount(now, currentValue.get()));
    }

    void take(double next) {
        currentValue.set(next);
        fire(next);
    }

    /// Written under the walk's lock.
    SharedValue<double> currentValue{0};
};

}  // namespace

const ToolDefinition counterDefinition{PipeToolType::counter, "CounterConfig", table,
                                       []() -> std::shared_ptr<PipeTool> { return std::make_shared<CounterTool>(); }};

}  // namespace varnolex
