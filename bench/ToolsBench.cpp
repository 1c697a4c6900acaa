#include <algorithm>
#include <array>

#include "bench/Figures.hpp"
#include "bench/TestGraph.hpp"
#include "engine/Catalogue.hpp"
#include "tools/ToolFactory.hpp"

namespace varnolex::bench {
namespace {

/// The end of a chain that only looks that something came.
class Sink final : public ChainExit {
public:
    void deliver(const ChainMessage& message) noexcept override { keep(message); }
};

std::shared_ptr<ToolChain> chainOver(std::shared_ptr<PipeTool> tool) {
    auto chain = ToolChain::make({std::move(tool)}, "Tools");
    chain->setMessageDidExit(std::make_unique<Sink>());
    return chain;
}

/// The end of a chain that counts what comes. An empty carrier moves on like a message.
class CountingSink final : public ChainExit {
public:
    explicit CountingSink(std::size_t& number) : count(number) {}
    void deliver(const ChainMessage& message) noexcept override { ++count, keep(message); }

private:
    std::size_t& count;
};

/// How many messages a new tool of this kind has to do with when so many come in: these, or those that it hands on when
/// they are more, since one that makes a chord of a note moves each of the chord's notes.
std::size_t messagesHandled(const ToolKind& kind, std::size_t comingIn) {
    std::size_t handedOn = 0;
    const auto chain = chainOver(makeTool(kind.type));
    chain->setMessageDidExit(std::make_unique<CountingSink>(handedOn));
    varnolexBenchWalk(*chain, comingIn);
    return std::max(comingIn, handedOn);
}

/// What one node more in a walk costs: the walk is entered once for all messages.
std::function<void()> insideAWalk(std::shared_ptr<ToolChain> chain, std::size_t messages) {
    return [chain = std::move(chain), messages] { chain->enter([&] { varnolexBenchWalk(*chain, messages); }); };
}

/// The ends belong to MIDI services, and what keeps notes back answers later.
bool answersWithinTheCall(const ToolKind& kind) {
    constexpr std::array others{PipeToolType::midiIn,      PipeToolType::midiOut,  PipeToolType::arp,
                                PipeToolType::strum,       PipeToolType::humanize, PipeToolType::quantize,
                                PipeToolType::durationTool};
    return kind.hasInput && kind.hasOutput && std::ranges::find(others, kind.type) == others.end();
}

}  // namespace

void measureTools(const Effort& effort, Figures& figures) {
    const TestRuntime scope;
    const std::size_t count = effort.messages / 2;
    for (const ToolKind& kind : allToolKinds()) {
        if (!answersWithinTheCall(kind)) continue;
        const std::vector<double> medians = mediansOf(
            effort.passes,
            {insideAWalk(chainOver(makeTool(kind.type)), count), insideAWalk(chainOver(makePassThrough()), count)});
        const auto perMessage = [](double seconds, std::size_t messages) {
            return seconds * 1e9 / static_cast<double>(messages);
        };
        figures.push_back({"tool: " + std::string(kind.displayName),
                           perMessage(medians[0], messagesHandled(kind, count)), "ns", "pass-through node, ns",
                           perMessage(medians[1], count), Figure::Limit::ratio, 2.0,
                           "per message taken in or handed on, whichever are more: this tool may stand anywhere"});
    }
}

}  // namespace varnolex::bench
