#include <algorithm>
#include <array>

#include "engine/ConfiguredTool.hpp"
#include "tools/ToolDefinitions.hpp"
#include "tools/notes/NoteMap.hpp"
#include "tools/timing/DelayedMessages.hpp"

// Sends a copy behind every message of three bytes: on another channel, transposed, louder or softer, or later. A note
// whose copy would leave the range of MIDI has none, and neither has its end.

namespace varnolex {
namespace {

struct DuplicateSettings {
    /// 1 to 16; 0 for the channel of the original.
    std::int64_t outputChannel = 0;
    std::int64_t transposeSteps = 0;
    /// Percent.
    std::int64_t velocityScale = 100;
    /// Milliseconds.
    std::int64_t delayMs = 0;
};

struct DuplicateLives {
    LiveValue transposeSteps;
    LiveValue velocityScale;
    LiveValue delayMs;
};

using namespace parameters;
using Settings = DuplicateSettings;
using Lives = DuplicateLives;

constexpr std::array table{
    integer<&Settings::outputChannel>("outputChannel"),
    integer<&Settings::transposeSteps>("transposeSteps").port("Transpose", -24, 24).rides<&Lives::transposeSteps>(),
    integer<&Settings::velocityScale>("velocityScale").port("Vel Scale", 0, 200).rides<&Lives::velocityScale>(),
    integer<&Settings::delayMs>("delayMs").port("Delay (ms)", 0, 5000).rides<&Lives::delayMs>(),
};

class DuplicateTool final : public ConfiguredTool<Settings, Lives> {
public:
    DuplicateTool() : ConfiguredTool(duplicateDefinition) {}

    void process(const ChainMessage& message, ToolChain& chain) override {
        if (message.length != 3) return chain.forward(message);
        const Settings& now = settingsInWalk();
        int first = message.data1();
        int second = message.data2();
        if (message.isNote()) {
            const int steps = clampedLive(-127, 127, live().transposeSteps, now.transposeSteps);
            first += steps;
            if (steps != 0 && !isNote(first)) return chain.forward(message);
            const int scale = clampedLive(0, 1000, live().velocityScale, now.velocityScale);
            if (scale != 100) second = std::min(127, second * scale / 100);
        }
        const ShortMessage copy(copyStatus(message, now), static_cast<std::uint8_t>(first),
                                static_cast<std::uint8_t>(second));
        const int wait = clampedLive(0, 60000, live().delayMs, now.delayMs);
        chain.forward(message.notLast());
        forwardCopy(message.carrying(copy), wait, chain);
    }

    void stop() override {
        inWalkOf(*this, [this] { delayed.cancel(); });
    }

private:
    /// A system message belongs to no channel.
    static std::uint8_t copyStatus(const ChainMessage& message, const Settings& now) {
        if (now.outputChannel <= 0 || message.kind() == 0xF0) return message.status();
        const auto channel = std::min<std::int64_t>(now.outputChannel, 16) - 1;
        return static_cast<std::uint8_t>(message.kind() | channel);
    }

    /// `wait` in milliseconds.
    void forwardCopy(const ChainMessage& copy, int wait, ToolChain& chain) {
        if (wait < 1) return chain.forward(copy);
        delayed.forward(copy, std::chrono::milliseconds(wait), chain);
        // The original doesn't wait for its copy.
        chain.forward(copy.dropped());
    }

    DelayedMessages delayed{*this, "com.varnolex.duplicate", DelayedMessages::WhenDisabled::vanishes};
};

}  // namespace

const ToolDefinition duplicateDefinition{
    PipeToolType::duplicate, "DuplicateConfig", table,
    []() -> std::shared_ptr<PipeTool> { return std::make_shared<DuplicateTool>(); }};

}  // namespace varnolex
