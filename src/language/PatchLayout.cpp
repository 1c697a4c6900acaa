#include "language/PatchLayout.hpp"

#include <algorithm>
#include <unordered_map>
#include <vector>

#include "studio/Modular.hpp"
#include "studio/WiringPlan.hpp"

namespace varnolex {
namespace {

// Points, wide and high enough for nearly every kind.
constexpr double columnWidth = 280;
constexpr double rowHeight = 220;

class Layout {
public:
    explicit Layout(Modular& graph) : modular(graph), count(graph.nodes.size()), depths(count, 0) {
        for (std::size_t index = 0; index < count; ++index) places[modular.nodes[index]->id] = index;
    }

    void place() {
        measureDepths();
        std::vector<bool> isSupport = findSupportNodes();
        std::unordered_map<std::size_t, std::size_t> rows;
        for (std::size_t index = 0; index < count; ++index)
            if (!isSupport[index]) put(index, depths[index], rows[depths[index]]++);
        const std::size_t below = tallest(rows);
        std::unordered_map<std::size_t, std::size_t> supportRows;
        for (std::size_t index = 0; index < count; ++index) {
            if (!isSupport[index]) continue;
            const std::size_t column = columnOfTarget(index);
            put(index, column, below + supportRows[column]++);
        }
    }

private:
    /// The longest way from a node that nothing feeds; by passing on along the cables until nothing moves, in an order
    /// in which every node comes after what feeds it.
    void measureDepths() {
        const WiringPlan plan(modular);
        std::vector<std::vector<std::size_t>> feeds(count);
        std::vector<std::size_t> waitsFor(count, 0);
        for (const ModularConnection& cable : modular.connections) {
            if (!plan.carries(cable)) continue;
            feeds[places.at(cable.sourceNodeID)].push_back(places.at(cable.targetNodeID));
            ++waitsFor[places.at(cable.targetNodeID)];
        }
        std::vector<std::size_t> ready;
        for (std::size_t index = 0; index < count; ++index)
            if (waitsFor[index] == 0) ready.push_back(index);
        while (!ready.empty()) {
            const std::size_t node = ready.back();
            ready.pop_back();
            for (const std::size_t target : feeds[node]) {
                depths[target] = std::max(depths[target], depths[node] + 1);
                if (--waitsFor[target] == 0) ready.push_back(target);
            }
        }
    }

    std::vector<bool> findSupportNodes() const {
        std::vector<bool> hasMIDI(count, false);
        std::vector<bool> givesValue(count, false);
        for (const ModularConnection& cable : modular.connections) {
            hasMIDI[places.at(cable.sourceNodeID)] = true;
            if (!givesNothingElse(places.at(cable.targetNodeID))) hasMIDI[places.at(cable.targetNodeID)] = true;
        }
        for (const ValueConnection& cable : modular.valueConnections) givesValue[places.at(cable.sourceNodeID)] = true;
        std::vector<bool> isSupport(count);
        for (std::size_t index = 0; index < count; ++index) isSupport[index] = givesValue[index] && !hasMIDI[index];
        return isSupport;
    }

    /// A reader that only listens in on the stream belongs to the values that it makes.
    bool givesNothingElse(std::size_t index) const { return modular.nodes[index]->tool->hasValueOutput(); }

    std::size_t columnOfTarget(std::size_t index) const {
        for (const ValueConnection& cable : modular.valueConnections)
            if (cable.sourceNodeID == modular.nodes[index]->id) return depths[places.at(cable.targetNodeID)];
        return 0;
    }

    static std::size_t tallest(const std::unordered_map<std::size_t, std::size_t>& rows) {
        std::size_t most = 0;
        for (const auto& [column, rowCount] : rows) most = std::max(most, rowCount);
        return most;
    }

    void put(std::size_t index, std::size_t column, std::size_t row) {
        modular.nodes[index]->position = {static_cast<double>(column) * columnWidth,
                                          static_cast<double>(row) * rowHeight};
    }

    Modular& modular;
    const std::size_t count;
    std::unordered_map<UUID, std::size_t> places;
    std::vector<std::size_t> depths;
};

}  // namespace

void layOutLeftToRight(Modular& modular) { Layout(modular).place(); }

}  // namespace varnolex
