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
        const double scale = 1e9 / static_cast<double>(count);
        figures.push_back({"tool: " + std::string(kind.displayName), medians[0] * scale, "ns", "pass-through node, ns",
                           medians[1] * scale, Figure::Limit::ratio, 2.0, "this tool may stand anywhere in a patch"});
    }
}

}  // namespace varnolex::bench
