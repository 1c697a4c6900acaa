#include <algorithm>
#include <array>
#include <span>
#include <utility>

#include "engine/ConfiguredTool.hpp"
#include "tools/ToolDefinitions.hpp"
#include "tools/parameternumbers/ParameterNumberEvent.hpp"
#include "tools/timing/WalkTimer.hpp"

// Folds the four controllers of a parameter change into one event, each channel by itself. The first three are held
// back; when the next one doesn't come in time, or another controller comes instead, they leave as they were, so that
// nothing is lost. All other messages pass at once.

namespace varnolex {
namespace {

struct PNAssemblerSettings {
    /// How long a held controller waits for the next one.
    std::int64_t timeoutMs = 100;
    /// Whether the four controllers follow the event.
    bool passOriginal = false;

    static PNAssemblerSettings fresh() { return {50, false}; }
};

using namespace parameters;

constexpr std::array table{
    integer<&PNAssemblerSettings::timeoutMs>("timeoutMs"),
    toggle<&PNAssemblerSettings::passOriginal>("passOriginal"),
};

/// Beyond any wait that makes sense, and short of an overflow.
constexpr std::int64_t longestTimeout = 24 * 60 * 60 * 1000;

/// The part of a channel's sequence that has come so far.
struct ChannelState {
    std::uint8_t channel;
    WalkTimer timeout;
    /// Of the first controllers of the kind.
    std::array<std::uint8_t, 3> values{};
    std::size_t heldCount = 0;
};

class ParameterNumberAssembler : public ConfiguredTool<PNAssemblerSettings> {
public:
    ParameterNumberAssembler(const ToolDefinition& definition, const ParameterNumberKind& numbers,
                             const char* queueLabel)
        : ConfiguredTool(definition),
          kind(numbers),
          channels(channelsOn(Runtime::current().makeQueue(queueLabel, QueuePriority::timing),
                              std::make_index_sequence<16>())) {}

    void process(const ChainMessage& message, ToolChain& chain) override {
        if (!message.isController()) return chain.forward(message);
        ChannelState& state = channels[message.channel()];
        const std::size_t place = placeOf(message.data1());
        const bool isExpected = place <= state.heldCount;
        if (place == 0 || !isExpected) flush(state, chain);
        if (!isExpected) return chain.forward(message);
        place < state.values.size() ? hold(state, place, message, chain) : emit(state, message, chain);
    }

    /// What is held stays for the next controller; nobody waits for it any more.
    void stop() override {
        inWalkOf(*this, [this] {
            for (ChannelState& state : channels) state.timeout.cancel();
        });
    }

private:
    template <std::size_t... Channel>
    std::array<ChannelState, 16> channelsOn(const std::shared_ptr<Queue>& queue, std::index_sequence<Channel...>) {
        return {ChannelState{Channel, {*this, queue}}...};
    }

    /// In the sequence; of another controller, one that is never expected.
    std::size_t placeOf(std::uint8_t controller) const {
        return static_cast<std::size_t>(std::ranges::find(kind.controllers, controller) - kind.controllers.begin());
    }

    void hold(ChannelState& state, std::size_t place, const ChainMessage& message, ToolChain& chain) {
        state.values[place] = message.data2();
        state.heldCount = std::max(state.heldCount, place + 1);
        const auto wait = std::clamp<std::int64_t>(settingsInWalk().timeoutMs, 0, longestTimeout);
        state.timeout.startAfter(std::chrono::milliseconds(wait), [this, &state](ToolChain& owner) {
            if (isEnabled()) flush(state, owner);
        });
        chain.forward(message.dropped());
    }

    void emit(ChannelState& state, const ChainMessage& last, ToolChain& chain) {
        const auto values = state.values;
        state.heldCount = 0;
        state.timeout.cancel();
        const ParameterNumberEvent event{kind.status, last.channel(), values[0], values[1], values[2], last.data2()};
        if (!settingsInWalk().passOriginal) return chain.forward(last.carrying(event));
        chain.forward(last.notLast().carrying(event));
        forwardFirst(values, last.channel(), last.notLast(), chain);
        chain.forward(last);
    }

    void flush(ChannelState& state, ToolChain& chain) {
        const auto values = state.values;
        const std::size_t count = std::exchange(state.heldCount, 0);
        if (count == 0) return;
        state.timeout.cancel();
        const ChainMessage place{nullptr, 0, Runtime::current().hostTime(), true};
        forwardFirst(std::span(values).first(count), state.channel, place, chain);
    }

    /// The sequence's first controllers. The last of them has the given place in the batch.
    void forwardFirst(std::span<const std::uint8_t> values, std::uint8_t channel, const ChainMessage& place,
                      ToolChain& chain) {
        for (std::size_t index = 0; index < values.size(); ++index) {
            const ShortMessage controller = ShortMessage::controller(channel, kind.controllers[index], values[index]);
            chain.forward((index + 1 < values.size() ? place.notLast() : place).carrying(controller));
        }
    }

    const ParameterNumberKind& kind;

    // Touched inside walks only.
    std::array<ChannelState, 16> channels;
};

class NRPNAssemblerTool final : public ParameterNumberAssembler {
public:
    NRPNAssemblerTool() : ParameterNumberAssembler(nrpnAssemblerDefinition, nrpnKind, "com.varnolex.nrpnasm") {}
};

class RPNAssemblerTool final : public ParameterNumberAssembler {
public:
    RPNAssemblerTool() : ParameterNumberAssembler(rpnAssemblerDefinition, rpnKind, "com.varnolex.rpnasm") {}
};

}  // namespace

const ToolDefinition nrpnAssemblerDefinition{
    PipeToolType::nrpnAssembler, "PNAssemblerConfig", table,
    []() -> std::shared_ptr<PipeTool> { return std::make_shared<NRPNAssemblerTool>(); }};

const ToolDefinition rpnAssemblerDefinition{
    PipeToolType::rpnAssembler, "PNAssemblerConfig", table,
    []() -> std::shared_ptr<PipeTool> { return std::make_shared<RPNAssemblerTool>(); }};

}  // namespace varnolex
