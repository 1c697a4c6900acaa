#pragma once

#include <cstddef>
#include <vector>

#include "studio/Modular.hpp"

namespace varnolex {

/// Which of a graph's cables may carry anything. The editing operations refuse circles, but a file may hold them,
/// or a chain of nodes so long that a walk would run out of stack: the cables that close a circle, and those that
/// would make a walk longer than `longestWalk` nodes, stay in the graph and carry nothing.
class WiringPlan {
public:
    static constexpr std::size_t longestWalk = 1000;

    explicit WiringPlan(const Modular& modular);

    bool carries(const ModularConnection& cable) const;
    bool carries(const ValueConnection& cable) const;

    /// The cables that carry nothing although both their ends exist, by position in the graph's lists.
    const std::vector<std::size_t>& silentConnections() const { return silentMIDI; }
    const std::vector<std::size_t>& silentValueConnections() const { return silentValue; }

private:
    const Modular& graph;
    std::vector<std::size_t> silentMIDI;
    std::vector<std::size_t> silentValue;
};

}  // namespace varnolex
