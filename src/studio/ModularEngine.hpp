#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "engine/PipeToolType.hpp"
#include "engine/RoutedMessageTap.hpp"
#include "studio/ConnectionError.hpp"
#include "studio/Modular.hpp"

namespace varnolex {

/// Owns all graphs of the open document, is the only writer of their structure, and turns it into what runs: a
/// graph has no scheduler, each node's chain feeds the chains downstream. Main thread.
class ModularEngine {
public:
    /// Why a graph was rebuilt.
    enum class RebuildReason : std::uint8_t {
        graphStarted,
        nodeAdded,
        nodeRemoved,
        cableAdded,
        cableRemoved,
        nodesSwitched,
        modularSwitched,
        restored,
    };

    ModularEngine() = default;
    ~ModularEngine();
    ModularEngine(const ModularEngine&) = delete;
    ModularEngine& operator=(const ModularEngine&) = delete;

    const std::vector<std::shared_ptr<Modular>>& modulars() const { return graphs; }
    std::shared_ptr<Modular> modular(const UUID& modularID) const;

    /// The client of the MIDI service, 0 until there is one.
    std::uint32_t clientRef = 0;

    /// Whether cables report what passes, for a display that draws it. Takes effect with the next rebuild.
    bool showsParticles = true;

    /// Where a copy of every message goes that leaves a terminal node; usually nobody listens.
    void setRoutedMessageHandler(RoutedMessageTap::Handler handler) { tap->setHandler(std::move(handler)); }

    /// A new graph; without a name it is "Studio " with the next number.
    std::shared_ptr<Modular> createModular(std::optional<std::string> name = std::nullopt);

    /// Takes over a graph that was filled by hand. `startAll` or `startNodes` brings it to life.
    void adoptModular(std::shared_ptr<Modular> modular);

    /// Stops the graph's tools and lets it go.
    void removeModular(Modular& modular);

    std::shared_ptr<ModularNode> addNode(PipeToolType type, Point position, Modular& modular);
    void removeNode(const std::shared_ptr<ModularNode>& node, Modular& modular);

    /// Throws `ConnectionError`, with the graph as it was.
    ModularConnection addConnection(const UUID& sourceNodeID, const UUID& targetNodeID, Modular& modular);
    void removeConnection(const UUID& connectionID, Modular& modular);

    /// Throws `ValueConnectionError`, with the graph as it was.
    ValueConnection addValueConnection(const UUID& sourceNodeID, const UUID& targetNodeID, std::string_view portID,
                                       Modular& modular);
    void removeValueConnection(const UUID& connectionID, Modular& modular);

    /// Makes the running form of the graph anew, value wiring included. Traffic goes on meanwhile: a message that
    /// is under way ends its walk as it began it.
    void rebuildChains(Modular& modular, RebuildReason reason);

    /// The value wiring alone. Every cable brings its source's present number to its target.
    void rewireValueConnections(Modular& modular);

    /// Rebuilds and starts all graphs.
    void startAll();

    /// Rebuilds and starts one graph.
    void startNodes(Modular& modular);

    void startTool(PipeTool& tool);
    void stopTool(PipeTool& tool);

    /// Switches a whole graph: switching off turns every tool off, switching on brings back what was on before.
    void setEnabled(bool enabled, Modular& modular);

private:
    std::uint8_t pipeIndexOf(const Modular& modular) const;
    void wireExits(Modular& modular);

    std::vector<std::shared_ptr<Modular>> graphs;
    std::shared_ptr<RoutedMessageTap> tap = std::make_shared<RoutedMessageTap>();

    /// For each graph that is switched off, which of its tools were on before, by node.
    std::map<UUID, std::map<UUID, bool>> preDisableToolState;
};

}  // namespace varnolex
