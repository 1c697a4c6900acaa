#include "studio/ModularEngine.hpp"

#include <algorithm>
#include <unordered_map>

#include "engine/ValueProducer.hpp"
#include "platform/DiagnosticLog.hpp"
#include "platform/Runtime.hpp"
#include "studio/CableRules.hpp"
#include "studio/GraphExits.hpp"
#include "studio/NodeSize.hpp"
#include "studio/ValueWiring.hpp"
#include "studio/WiringPlan.hpp"
#include "tools/ToolFactory.hpp"

namespace varnolex {
namespace {

/// How long the engine waits before it looks again whether a walk has left an exit that was replaced.
constexpr Nanoseconds reclaimInterval = std::chrono::milliseconds(5);

/// A walk that was inside an exit when it was replaced may keep it for a moment; nothing else waits for that.
void reclaimExits(const std::shared_ptr<Modular>& modular) {
    bool allReclaimed = true;
    for (const auto& node : modular->nodes)
        if (node->chain) allReclaimed &= node->chain->reclaimExits();
    if (allReclaimed) return;
    Runtime::current().mainQueue().after(reclaimInterval, [weakModular = std::weak_ptr(modular)] {
        if (const auto alive = weakModular.lock()) reclaimExits(alive);
    });
}

}  // namespace

ModularEngine::~ModularEngine() {
    while (!graphs.empty()) removeModular(*graphs.back());
}

std::shared_ptr<Modular> ModularEngine::modular(const UUID& modularID) const {
    for (const auto& each : graphs)
        if (each->id == modularID) return each;
    return nullptr;
}

std::shared_ptr<Modular> ModularEngine::createModular(std::optional<std::string> name) {
    auto made = std::make_shared<Modular>(Runtime::current().makeUUID(),
                                          name ? std::move(*name) : "Studio " + std::to_string(graphs.size() + 1));
    graphs.push_back(made);
    return made;
}

void ModularEngine::adoptModular(std::shared_ptr<Modular> modular) { graphs.push_back(std::move(modular)); }

void ModularEngine::removeModular(Modular& modular) {
    for (const auto& node : modular.nodes) stopTool(*node->tool);
    const UUID gone = modular.id;
    preDisableToolState.erase(gone);
    std::erase_if(graphs, [&](const auto& each) { return each->id == gone; });
}

std::shared_ptr<ModularNode> ModularEngine::addNode(PipeToolType type, Point position, Modular& modular) {
    auto tool = makeTool(type);
    startTool(*tool);
    auto node = std::make_shared<ModularNode>();
    node->id = Runtime::current().makeUUID();
    node->size = newNodeSize(type, tool->name());
    node->position = position;
    node->tool = std::move(tool);
    modular.nodes.push_back(node);
    rebuildChains(modular, RebuildReason::nodeAdded);
    return node;
}

void ModularEngine::removeNode(const std::shared_ptr<ModularNode>& node, Modular& modular) {
    stopTool(*node->tool);
    modular.removeConnections(node->id);
    modular.removeValueConnections(node->id);
    std::erase_if(modular.nodes, [&](const auto& each) { return each->id == node->id; });
    if (node->chain) node->chain->setMessageDidExit(nullptr);
    unwireValues(*node->tool);
    rebuildChains(modular, RebuildReason::nodeRemoved);
}

ModularConnection ModularEngine::addConnection(const UUID& sourceNodeID, const UUID& targetNodeID, Modular& modular) {
    using Reason = ConnectionError::Reason;
    const auto source = modular.node(sourceNodeID);
    const auto target = modular.node(targetNodeID);
    if (!source || !target) throw ConnectionError(Reason::nodeNotFound);
    requireMIDIPorts(*source, *target);
    for (const ModularConnection& cable : modular.connections)
        if (cable.sourceNodeID == sourceNodeID && cable.targetNodeID == targetNodeID)
            throw ConnectionError(Reason::duplicate);
    if (modular.wouldCreateCycle(sourceNodeID, targetNodeID)) throw ConnectionError(Reason::wouldCycle);

    const ModularConnection made{Runtime::current().makeUUID(), sourceNodeID, targetNodeID};
    modular.connections.push_back(made);
    rebuildChains(modular, RebuildReason::cableAdded);
    return made;
}

void ModularEngine::removeConnection(const UUID& connectionID, Modular& modular) {
    std::erase_if(modular.connections, [&](const auto& cable) { return cable.id == connectionID; });
    rebuildChains(modular, RebuildReason::cableRemoved);
}

ValueConnection ModularEngine::addValueConnection(const UUID& sourceNodeID, const UUID& targetNodeID,
                                                  std::string_view portID, Modular& modular) {
    using Reason = ValueConnectionError::Reason;
    const auto source = modular.node(sourceNodeID);
    const auto target = modular.node(targetNodeID);
    if (!source || !target) throw ValueConnectionError(Reason::nodeNotFound);
    requireValuePorts(*source, *target, portID);
    const auto endsInPort = [&](const ValueConnection& cable) {
        return cable.targetNodeID == targetNodeID && cable.targetPortID == portID;
    };
    for (const ValueConnection& cable : modular.valueConnections)
        if (endsInPort(cable) && cable.sourceNodeID == sourceNodeID) throw ValueConnectionError(Reason::duplicate);
    if (std::ranges::any_of(modular.valueConnections, endsInPort)) throw ValueConnectionError(Reason::portOccupied);
    if (modular.wouldCreateValueCycle(sourceNodeID, targetNodeID)) throw ValueConnectionError(Reason::wouldCycle);

    const ValueConnection made{Runtime::current().makeUUID(), sourceNodeID, targetNodeID, std::string(portID)};
    modular.valueConnections.push_back(made);
    rewireValueConnections(modular);
    return made;
}

void ModularEngine::removeValueConnection(const UUID& connectionID, Modular& modular) {
    std::erase_if(modular.valueConnections, [&](const auto& cable) { return cable.id == connectionID; });
    rewireValueConnections(modular);
}

void ModularEngine::rebuildChains(Modular& modular, RebuildReason reason) {
    const std::uint8_t pipeIndex = pipeIndexOf(modular);
    DiagnosticLog* const recorder = DiagnosticLog::shared();
    if (recorder) recorder->rebuildStarted(pipeIndex, static_cast<std::uint8_t>(reason), modular.nodes.size());
    for (const auto& node : modular.nodes) {
        if (node->chain)
            node->chain->setPipeName(modular.name);
        else
            node->chain = ToolChain::make({node->tool}, modular.name, modular.walkLock);
    }
    wireExits(modular);
    for (std::size_t index = 0; index < modular.nodes.size(); ++index) {
        PipeTool& tool = *modular.nodes[index]->tool;
        if (recorder)
            recorder->tool(pipeIndex, index, static_cast<std::uint8_t>(indexOf(tool.toolType())), tool.isEnabled());
        tool.chainWasWired(pipeIndex);
    }
    if (recorder) recorder->rebuildEnded(pipeIndex, modular.nodes.size(), modular.connections.size());
    rewireValueConnections(modular);
}

/// Each exit is replaced in one step, old by new, so that what passes meanwhile arrives by the one or the other.
void ModularEngine::wireExits(Modular& modular) {
    struct Downstream {
        std::vector<UUID> connIDs;
        std::vector<std::shared_ptr<ToolChain>> chains;
    };
    const WiringPlan plan(modular);
    std::unordered_map<UUID, std::shared_ptr<ToolChain>> chains;
    for (const auto& node : modular.nodes) chains[node->id] = node->chain;
    std::unordered_map<UUID, Downstream> downstream;
    for (const ModularConnection& cable : modular.connections) {
        const auto target = chains.find(cable.targetNodeID);
        if (target == chains.end() || !plan.carries(cable)) continue;
        Downstream& fed = downstream[cable.sourceNodeID];
        fed.connIDs.push_back(cable.id);
        fed.chains.push_back(target->second);
    }

    const auto self = this->modular(modular.id);
    const auto graphName = std::make_shared<const std::string>(modular.name);
    for (const auto& node : modular.nodes) {
        const auto fed = downstream.find(node->id);
        if (fed == downstream.end()) {
            node->chain->setMessageDidExit(std::make_unique<TerminalExit>(tap, graphName));
            continue;
        }
        std::shared_ptr<ParticleReporter> reporter;
        if (showsParticles && self) reporter = std::make_shared<ParticleReporter>(self, std::move(fed->second.connIDs));
        node->chain->setMessageDidExit(
            std::make_unique<ForwardingExit>(std::move(fed->second.chains), std::move(reporter)));
    }
    if (self) reclaimExits(self);
}

void ModularEngine::rewireValueConnections(Modular& modular) { wireValues(modular); }

void ModularEngine::startAll() {
    for (const auto& each : graphs) startNodes(*each);
}

void ModularEngine::startNodes(Modular& modular) {
    rebuildChains(modular, RebuildReason::graphStarted);
    for (const auto& node : modular.nodes) startTool(*node->tool);
}

void ModularEngine::startTool(PipeTool& tool) { tool.start(clientRef); }

void ModularEngine::stopTool(PipeTool& tool) { tool.stop(); }

void ModularEngine::setEnabled(bool enabled, Modular& modular) {
    modular.isEnabled = enabled;
    auto saved = preDisableToolState.find(modular.id);
    if (!enabled && saved == preDisableToolState.end()) {
        saved = preDisableToolState.try_emplace(modular.id).first;
        for (const auto& node : modular.nodes) saved->second[node->id] = node->tool->isEnabled();
    }
    for (const auto& node : modular.nodes) {
        bool isOn = enabled;
        if (enabled && saved != preDisableToolState.end()) {
            const auto before = saved->second.find(node->id);
            isOn = before == saved->second.end() || before->second;
        }
        node->tool->setEnabled(isOn);
    }
    rebuildChains(modular, RebuildReason::modularSwitched);
    if (enabled) preDisableToolState.erase(modular.id);
}

/// Graphs beyond the range of the index share its last number.
std::uint8_t ModularEngine::pipeIndexOf(const Modular& modular) const {
    const auto found = std::ranges::find_if(graphs, [&](const auto& each) { return each->id == modular.id; });
    if (found == graphs.end()) return 0;
    return static_cast<std::uint8_t>(std::min<std::ptrdiff_t>(found - graphs.begin(), 254));
}

}  // namespace varnolex
