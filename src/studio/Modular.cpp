#include "studio/Modular.hpp"

#include <unordered_set>

#include "engine/ValueProducer.hpp"
#include "platform/Runtime.hpp"

namespace varnolex {
namespace {

constexpr HostTime spawnInterval = 120'000'000;
constexpr double particleLifetime = 0.8;
constexpr std::size_t mostParticles = 20;

/// Whether `wanted` can be reached from `start` over `cables`.
template <class Cable>
bool reaches(const std::vector<Cable>& cables, const UUID& start, const UUID& wanted) {
    std::unordered_multimap<UUID, UUID> targets;
    for (const Cable& cable : cables) targets.emplace(cable.sourceNodeID, cable.targetNodeID);

    std::vector<UUID> stack{start};
    std::unordered_set<UUID> visited;
    while (!stack.empty()) {
        const UUID at = stack.back();
        stack.pop_back();
        if (at == wanted) return true;
        if (!visited.insert(at).second) continue;
        const auto [first, last] = targets.equal_range(at);
        for (auto next = first; next != last; ++next) stack.push_back(next->second);
    }
    return false;
}

template <class Cable>
void removeTouching(std::vector<Cable>& cables, const UUID& nodeID) {
    std::erase_if(cables,
                  [&](const Cable& cable) { return cable.sourceNodeID == nodeID || cable.targetNodeID == nodeID; });
}

void keepNewest(std::vector<ModularParticle>& list) {
    if (list.size() > mostParticles) list.erase(list.begin(), list.end() - static_cast<std::ptrdiff_t>(mostParticles));
}

}  // namespace

Modular::Modular(UUID graphID, std::string graphName) : id(graphID), name(std::move(graphName)) {}

Modular::~Modular() {
    // Exits and deliveries hold the nodes downstream: without this they would go down one inside the other, as deep
    // as the graph is long.
    for (const auto& each : nodes) {
        if (each->chain) each->chain->setMessageDidExit(nullptr);
        if (ValueProducer* producer = each->tool->valueProducer()) producer->setOnValueChanged(nullptr);
    }
}

std::shared_ptr<ModularNode> Modular::node(const UUID& nodeID) const {
    for (const auto& each : nodes)
        if (each->id == nodeID) return each;
    return nullptr;
}

std::vector<UUID> Modular::downstreamNodeIDs(const UUID& nodeID) const {
    std::vector<UUID> ids;
    for (const ModularConnection& cable : connections)
        if (cable.sourceNodeID == nodeID) ids.push_back(cable.targetNodeID);
    return ids;
}

bool Modular::wouldCreateCycle(const UUID& sourceNodeID, const UUID& targetNodeID) const {
    return reaches(connections, targetNodeID, sourceNodeID);
}

bool Modular::wouldCreateValueCycle(const UUID& sourceNodeID, const UUID& targetNodeID) const {
    return reaches(valueConnections, targetNodeID, sourceNodeID);
}

void Modular::removeConnections(const UUID& touchingNodeID) { removeTouching(connections, touchingNodeID); }

void Modular::removeValueConnections(const UUID& touchingNodeID) { removeTouching(valueConnections, touchingNodeID); }

void Modular::spawnParticle(const UUID& connectionID, ModularParticle::Kind kind) {
    Runtime& runtime = Runtime::current();
    const HostTime now = runtime.hostTime();
    const auto [last, isFirst] = lastSpawnTime.try_emplace(connectionID, now);
    if (!isFirst && now - last->second < spawnInterval) return;
    last->second = now;
    pendingParticles.push_back({runtime.makeUUID(), connectionID, kind, runtime.mediaTime()});
    // A drawing layer that is asleep takes none: no more than it would keep are kept for it.
    keepNewest(pendingParticles);
    particleSignal.hasPending = true;
}

void Modular::pruneParticles() {
    particles.insert(particles.end(), pendingParticles.begin(), pendingParticles.end());
    pendingParticles.clear();
    particleSignal.hasPending = false;
    const double now = Runtime::current().mediaTime();
    std::erase_if(particles, [now](const ModularParticle& one) { return now - one.spawnTime > particleLifetime; });
    keepNewest(particles);
    particleSignal.particleCount = particles.size();
}

}  // namespace varnolex
