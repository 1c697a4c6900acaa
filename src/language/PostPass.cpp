#include "language/PostPass.hpp"

#include <set>
#include <string_view>
#include <utility>

namespace varnolex {

namespace {

// Clocks times arpeggiators is the one product in the language; a hostile text must not fill the memory with it.
constexpr std::size_t mostClockCables = 1'000'000;

std::vector<std::size_t> indexesOf(const std::vector<DSLCompiledNode>& nodes, std::string_view toolType) {
    std::vector<std::size_t> indexes;
    for (std::size_t index = 0; index < nodes.size(); ++index) {
        if (nodes[index].toolType == toolType) indexes.push_back(index);
    }
    return indexes;
}

using Pairs = std::set<std::pair<std::size_t, std::size_t>>;

/// The existing cables that leave a clock.
Pairs clockCables(const std::vector<DSLCompiledNode>& nodes, const std::vector<DSLConnection>& connections) {
    Pairs pairs;
    for (const auto& cable : connections) {
        if (nodes[cable.from].toolType == "TimingClock") pairs.emplace(cable.from, cable.to);
    }
    return pairs;
}

}  // namespace

void connectClocksToArpeggiators(const std::vector<DSLCompiledNode>& nodes, std::vector<DSLConnection>& connections) {
    const auto clocks = indexesOf(nodes, "TimingClock");
    const auto arpeggiators = indexesOf(nodes, "Arp");
    if (clocks.empty() || arpeggiators.empty()) return;
    const auto existing = clockCables(nodes, connections);
    std::size_t added = 0;
    for (const auto clock : clocks) {
        for (const auto arpeggiator : arpeggiators) {
            if (existing.contains({clock, arpeggiator})) continue;
            if (++added > mostClockCables) return;
            connections.push_back({clock, arpeggiator});
        }
    }
}

void synchroniseClockedLFOs(std::vector<DSLCompiledNode>& nodes, const std::vector<DSLConnection>& connections) {
    for (const auto& cable : connections) {
        auto& target = nodes[cable.to];
        if (target.toolType == "LFO" && nodes[cable.from].toolType == "TimingClock") {
            target.config["syncToMidiClock"] = true;
        }
    }
}

void insertDisassemblers(std::vector<DSLCompiledNode>& nodes, std::vector<DSLConnection>& connections) {
    const auto written = connections.size();
    for (std::size_t index = 0; index < written; ++index) {
        const auto [from, to] = connections[index];
        if (nodes[from].toolType != "NRPNAssembler" || nodes[to].toolType != "MidiOut") continue;
        const auto between = nodes.size();
        nodes.push_back({"NRPNDisassembler", {}});
        connections[index].to = between;
        connections.push_back({between, to});
    }
}

}  // namespace varnolex
