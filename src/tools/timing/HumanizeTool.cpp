#include <algorithm>
#include <array>

#include "engine/ConfiguredTool.hpp"
#include "tools/ToolDefinitions.hpp"
#include "tools/timing/DelayedMessages.hpp"

// Draws each Note On a velocity around the played one and a delay. Everything else passes at once, note ends included.

namespace varnolex {
namespace {

struct HumanizeSettings {
    std::int64_t velocitySpread = 10;
    /// Milliseconds, the middle of the delays.
    std::int64_t timingSpread = 20;
};

struct HumanizeLives {
    LiveValue velocitySpread;
    LiveValue timingSpread;
};

using namespace parameters;
using Settings = HumanizeSettings;
using Lives = HumanizeLives;

constexpr std::array table{
    integer<&Settings::velocitySpread>("velocitySpread").port("Vel Spread", 0, 127).rides<&Lives::velocitySpread>(),
    integer<&Settings::timingSpread>("timingSpread").port("Time Spread", 0, 500).rides<&Lives::timingSpread>(),
};

class HumanizeTool final : public ConfiguredTool<Settings, Lives> {
public:
    HumanizeTool() : ConfiguredTool(humanizeDefinition) {}

    void process(const ChainMessage& message, ToolChain& chain) override {
        if (!message.isNoteOn()) return chain.forward(message);
        const Settings now = current();
        const int velocitySpread = clampedLive(0, 127, live().velocitySpread, now.velocitySpread);
        const int timingSpread = clampedLive(0, 1000, live().timingSpread, now.timingSpread);
        const ShortMessage note(message.status(), message.data1(), drawVelocity(message.data2(), velocitySpread));
        const std::chrono::milliseconds wait(Runtime::current().randomInteger(0, 2 * timingSpread));
        if (wait.count() == 0) return chain.forward(message.carrying(note));
        delayed.forward(message.asLast().carrying(note), wait, chain);
    }

    void stop() override {
        inWalkOf(*this, [this] { delayed.cancel(); });
    }

private:
    static std::uint8_t drawVelocity(std::uint8_t played, int spread) {
        if (spread == 0) return played;
        const auto drawn = played + Runtime::current().randomInteger(-spread, spread);
        return static_cast<std::uint8_t>(std::clamp<std::int64_t>(drawn, 1, 127));
    }

    DelayedMessages delayed{*this, "com.varnolex.humanize"};
};

}  // namespace

const ToolDefinition humanizeDefinition{PipeToolType::humanize, "HumanizeConfig", table,
                                        []() -> std::shared_ptr<PipeTool> { return std::make_shared<HumanizeTool>(); }};

}  // namespace varnolex
