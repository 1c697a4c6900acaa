#include <array>

#include "engine/ConfiguredTool.hpp"
#include "tools/ToolDefinitions.hpp"
#include "tools/timing/DelayedMessages.hpp"

// Sends everything on later, by the same time for all messages. At 0 it is a wire. Switching it off discards what is on
// its way.

namespace varnolex {
namespace {

constexpr int longestDelay = 5000;

struct DelaySettings {
    /// Milliseconds.
    std::int64_t delayMs = 100;

    static DelaySettings fresh() { return {.delayMs = 0}; }
};

struct DelayLives {
    LiveValue delayMs;
};

using namespace parameters;

constexpr std::array table{
    integer<&DelaySettings::delayMs>("delayMs").port("Delay (ms)", 0, 5000).rides<&DelayLives::delayMs>(),
};

class DelayTool final : public ConfiguredTool<DelaySettings, DelayLives> {
public:
    DelayTool() : ConfiguredTool(delayDefinition) {}

    void process(const ChainMessage& message, ToolChain& chain) override {
        const int wait = clampedLive(0, longestDelay, live().delayMs, settingsInWalk().delayMs);
        if (wait < 1 || message.isEmptyCarrier()) return chain.forward(message);
        delayed.forward(message.asLast(), std::chrono::milliseconds(wait), chain);
    }

    void stop() override {
        inWalkOf(*this, [this] { delayed.cancel(); });
    }

protected:
    void enabledDidChange(bool isOn) override {
        if (!isOn) stop();
    }

private:
    DelayedMessages delayed{*this, "com.varnolex.delay"};
};

}  // namespace

const ToolDefinition delayDefinition{PipeToolType::delay, "DelayConfig", table,
                                     []() -> std::shared_ptr<PipeTool> { return std::make_shared<DelayTool>(); }};

}  // namespace varnolex
