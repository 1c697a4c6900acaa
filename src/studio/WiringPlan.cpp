#include "studio/WiringPlan.hpp"

#include <algorithm>
#include <unordered_map>

namespace varnolex {
namespace {

/// The cables that leave a node, by position in the list.
using Leaving = std::vector<std::vector<std::size_t>>;

class Search {
public:
    template <class Cable>
    Search(const Modular& modular, const std::vector<Cable>& cables) {
        std::unordered_map<UUID, std::size_t> places;
        for (std::size_t index = 0; index < modular.nodes.size(); ++index) places[modular.nodes[index]->id] = index;
        leaving.resize(modular.nodes.size());
        targets.resize(cables.size(), 0);
        for (std::size_t index = 0; index < cables.size(); ++index) {
            const auto source = places.find(cables[index].sourceNodeID);
            const auto target = places.find(cables[index].targetNodeID);
            if (source == places.end() || target == places.end()) continue;
            leaving[source->second].push_back(index);
            targets[index] = target->second;
        }
        findCircles();
        measureDepths();
        std::ranges::sort(silent);
    }

    std::vector<std::size_t> silent;

private:
    enum class Mark : char { unseen, open, done };

    /// Walks depth first, with a stack of its own. A cable into a node that is still open closes a circle.
    void findCircles() {
        struct Visit {
            std::size_t node;
            std::size_t nextCable;
        };
        std::vector<Mark> marks(leaving.size(), Mark::unseen);
        std::vector<Visit> path;
        for (std::size_t start = 0; start < leaving.size(); ++start) {
            if (marks[start] != Mark::unseen) continue;
            path.push_back({start, 0});
            marks[start] = Mark::open;
            while (!path.empty()) {
                Visit& visit = path.back();
                if (visit.nextCable == leaving[visit.node].size()) {
                    marks[visit.node] = Mark::done;
                    finished.push_back(visit.node);
                    path.pop_back();
                    continue;
                }
                const std::size_t cable = leaving[visit.node][visit.nextCable++];
                const std::size_t target = targets[cable];
                if (marks[target] == Mark::open) {
                    silent.push_back(cable);
                } else if (marks[target] == Mark::unseen) {
                    marks[target] = Mark::open;
                    path.push_back({target, 0});
                }
            }
        }
    }

    /// Nodes finish after everything that they feed, so the reverse order meets each before what it feeds.
    void measureDepths() {
        std::vector<bool> closesCircle(targets.size(), false);
        for (const std::size_t cable : silent) closesCircle[cable] = true;
        std::vector<std::size_t> depths(leaving.size(), 1);
        for (auto node = finished.rbegin(); node != finished.rend(); ++node)
            for (const std::size_t cable : leaving[*node]) {
                if (closesCircle[cable]) continue;
                if (depths[*node] >= WiringPlan::longestWalk)
                    silent.push_back(cable);
                else
                    depths[targets[cable]] = std::max(depths[targets[cable]], depths[*node] + 1);
            }
    }

    Leaving leaving;
    std::vector<std::size_t> targets;
    std::vector<std::size_t> finished;
};

template <class Cable>
bool isCarried(const std::vector<Cable>& cables, const std::vector<std::size_t>& silent, const Cable& cable) {
    const auto index = static_cast<std::size_t>(&cable - cables.data());
    return !std::ranges::binary_search(silent, index);
}

}  // namespace

WiringPlan::WiringPlan(const Modular& modular)
    : graph(modular),
      silentMIDI(Search(modular, modular.connections).silent),
      silentValue(Search(modular, modular.valueConnections).silent) {}

bool WiringPlan::carries(const ModularConnection& cable) const {
    return isCarried(graph.connections, silentMIDI, cable);
}

bool WiringPlan::carries(const ValueConnection& cable) const {
    return isCarried(graph.valueConnections, silentValue, cable);
}

}  // namespace varnolex
