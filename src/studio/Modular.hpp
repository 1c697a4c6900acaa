#pragma once

#include <memory>
#include <set>
#include <string>
#include <unordered_map>
#include <vector>

#include "engine/PipeTool.hpp"
#include "engine/ToolChain.hpp"
#include "platform/HostTime.hpp"
#include "platform/UUID.hpp"
#include "studio/Geometry.hpp"
#include "studio/ModularParticle.hpp"

namespace varnolex {

/// A MIDI cable.
struct ModularConnection {
    UUID id;
    UUID sourceNodeID;
    UUID targetNodeID;
    bool operator==(const ModularConnection&) const = default;
};

/// A value cable: it ends in a port of the target's tool.
struct ValueConnection {
    UUID id;
    UUID sourceNodeID;
    UUID targetNodeID;
    std::string targetPortID;
    bool operator==(const ValueConnection&) const = default;
};

/// One node of a graph: a tool with a place on the canvas and a chain of its own.
struct ModularNode {
    UUID id;
    std::shared_ptr<PipeTool> tool;
    /// The node's centre.
    Point position;
    Size size;
    /// Made by the first rebuild.
    std::shared_ptr<ToolChain> chain;
};

/// Lives from one wiring of a graph's value cables to the next.
struct ValueWiring {};

/// One studio graph. Its structure is written by `ModularEngine` alone, on the main thread; the processing road
/// sees only what a rebuild has made of it.
class Modular {
public:
    enum class DisplayMode { chains, modular };

    Modular(UUID graphID, std::string graphName);
    ~Modular();
    Modular(const Modular&) = delete;
    Modular& operator=(const Modular&) = delete;

    const UUID id;
    /// Shown, and the name of every chain.
    std::string name;
    bool isEnabled = true;

    // The order is the order of creation; it is stored, and it decides the order of fan-outs.
    std::vector<std::shared_ptr<ModularNode>> nodes;
    std::vector<ModularConnection> connections;
    std::vector<ValueConnection> valueConnections;

    Point canvasPan;
    double canvasZoom = 1.0;
    DisplayMode displayMode = DisplayMode::modular;
    /// The anchor nodes of the straight chains, top to bottom.
    std::vector<UUID> chainOrder;
    /// The nodes that are opened in the chains display.
    std::set<UUID> expandedNodeIDs;

    std::vector<ModularParticle> particles;
    /// Spawned, and not yet taken by the drawing layer.
    std::vector<ModularParticle> pendingParticles;
    ParticleSignal particleSignal;

    std::shared_ptr<ModularNode> node(const UUID& nodeID) const;

    /// The targets of the MIDI cables that leave the node, in the order of the cables.
    std::vector<UUID> downstreamNodeIDs(const UUID& nodeID) const;

    /// Whether a cable from `sourceNodeID` to `targetNodeID` would close a circle, over cables of the one kind only.
    bool wouldCreateCycle(const UUID& sourceNodeID, const UUID& targetNodeID) const;
    bool wouldCreateValueCycle(const UUID& sourceNodeID, const UUID& targetNodeID) const;

    /// Remove all cables of that kind with the node at either end.
    void removeConnections(const UUID& touchingNodeID);
    void removeValueConnections(const UUID& touchingNodeID);

    /// Adds a particle to a cable, unless it had one within the last 0.12 s.
    void spawnParticle(const UUID& connectionID, ModularParticle::Kind kind);

    /// Once a frame: takes what was spawned, drops what is older than 0.8 s, and keeps the newest 20.
    void pruneParticles();

    /// The lock of the graph's walks. All its chains share it, so that a walk takes it once, whatever its length.
    const std::shared_ptr<ChainLock> walkLock = std::make_shared<ChainLock>();

    /// Replaced whenever the value cables are wired anew, so that numbers on their way know that they come too late.
    std::shared_ptr<const ValueWiring> valueWiring;

private:
    /// Per cable, the host time of its last particle.
    std::unordered_map<UUID, HostTime> lastSpawnTime;
};

}  // namespace varnolex
