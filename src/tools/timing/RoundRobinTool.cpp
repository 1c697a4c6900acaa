#include <algorithm>
#include <array>
#include <utility>

#include "engine/ConfiguredTool.hpp"
#include "engine/ToolChain.hpp"
#include "engine/WalkState.hpp"
#include "tools/ToolDefinitions.hpp"
#include "tools/notes/NoteMap.hpp"

// Deals notes out to a pool of channels, in turn or to the one that was used longest ago. A note ends on the channel
// on which it began, whatever has changed meanwhile.

namespace varnolex {
namespace {

enum AllocationMode : std::int64_t { inTurn, leastRecentlyUsed };

struct RoundRobinSettings {
    std::int64_t poolSize = 4;
    /// The first channel of the pool, 1 to 16; those behind 16 begin again at 1.
    std::int64_t startChannel = 0;
    /// An `AllocationMode`.
    std::int64_t allocationMode = inTurn;

    static RoundRobinSettings fresh() { return {.startChannel = 1}; }
};

struct RoundRobinLives {
    LiveValue poolSize;
};

using namespace parameters;

constexpr std::array table{
    integer<&RoundRobinSettings::poolSize>("poolSize").port("Pool Size", 2, 16).rides<&RoundRobinLives::poolSize>(),
    integer<&RoundRobinSettings::startChannel>("startChannel"),
    integer<&RoundRobinSettings::allocationMode>("allocationMode"),
};

class RoundRobinTool final : public ConfiguredTool<RoundRobinSettings, RoundRobinLives> {
public:
    RoundRobinTool() : ConfiguredTool(roundRobinDefinition) {}

    void process(const ChainMessage& message, ToolChain& chain) override {
        if (message.isNoteOn()) return begin(message, chain);
        if (message.isNoteEnd()) return end(message, chain);
        chain.forward(message);
    }

private:
    struct State {
        std::size_t nextIndex = 0;
        NoteMap voiceMap;
        /// By place in the pool: the number of its last use, 0 for one never used.
        std::array<std::uint64_t, 16> lruCounter{};
        std::uint64_t useCount = 0;
    };

    void begin(const ChainMessage& message, ToolChain& chain) {
        const RoundRobinSettings& now = settingsInWalk();
        State& held = state.inWalk();
        const auto first = static_cast<std::size_t>((std::max<std::int64_t>(now.startChannel, 1) - 1) % 16);
        const auto channel = static_cast<std::uint8_t>((first + takeIndex(held, now)) % 16);
        held.voiceMap.put(message.noteKey(), {channel, 0});
        const ShortMessage note = ShortMessage::noteOn(channel, message.data1(), message.data2());
        chain.forward(message.carrying(note));
    }

    std::size_t takeIndex(State& held, const RoundRobinSettings& now) const {
        const auto pool = static_cast<std::size_t>(clampedLive(2, 16, live().poolSize, now.poolSize));
        if (now.allocationMode == leastRecentlyUsed) {
            const auto oldest = std::min_element(held.lruCounter.begin(), held.lruCounter.begin() + pool);
            *oldest = ++held.useCount;
            return static_cast<std::size_t>(oldest - held.lruCounter.begin());
        }
        const std::size_t index = held.nextIndex < pool ? held.nextIndex : held.nextIndex % pool;
        held.nextIndex = index + 1 < pool ? index + 1 : 0;
        return index;
    }

    void end(const ChainMessage& message, ToolChain& chain) {
        const auto voice = state.inWalk().voiceMap.take(message.noteKey());
        if (!voice) return chain.forward(message);
        const ShortMessage note(static_cast<std::uint8_t>(message.kind() | voice->channel), message);
        chain.forward(message.carrying(note));
    }

    WalkState<State> state;
};

}  // namespace

const ToolDefinition roundRobinDefinition{
    PipeToolType::roundRobin, "RoundRobinConfig", table,
    []() -> std::shared_ptr<PipeTool> { return std::make_shared<RoundRobinTool>(); }};

}  // namespace varnolex
