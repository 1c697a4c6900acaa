#include "studio/GraphExits.hpp"

#include "platform/Runtime.hpp"

namespace varnolex {
namespace {

constexpr Nanoseconds restTime = std::chrono::milliseconds(120);

}  // namespace

ParticleReporter::ParticleReporter(std::weak_ptr<Modular> graph, std::vector<UUID> connectionIDs)
    : modular(std::move(graph)), connIDs(std::move(connectionIDs)) {}

void ParticleReporter::post(std::uint8_t statusByte) noexcept {
    if (resting.exchange(true)) return;
    const auto kind = ModularParticle::kindOf(statusByte);
    if (!Runtime::current().postToMain([self = shared_from_this(), kind] { self->spawn(kind); })) resting.set(false);
}

void ParticleReporter::spawn(ModularParticle::Kind kind) {
    if (const auto graph = modular.lock())
        for (const UUID& connection : connIDs) graph->spawnParticle(connection, kind);
    Runtime::current().mainQueue().after(restTime, [weakSelf = weak_from_this()] {
        if (const auto self = weakSelf.lock()) self->resting.set(false);
    });
}

ForwardingExit::ForwardingExit(std::vector<std::shared_ptr<ToolChain>> chains,
                               std::shared_ptr<ParticleReporter> reporter)
    : downstreamChains(std::move(chains)), last(downstreamChains.back().get()), particles(std::move(reporter)) {}

void ForwardingExit::deliver(const ChainMessage& message) noexcept {
    if (particles && !message.isEmptyCarrier()) particles->report(message.status());
    if (downstreamChains.size() > 1) feedAllButLast(message);
    // The last call, most often the only one, takes this one's place on the stack.
    last->sendInWalk(message);
}

[[gnu::noinline]] void ForwardingExit::feedAllButLast(const ChainMessage& message) noexcept {
    for (std::size_t index = 0; index + 1 < downstreamChains.size(); ++index)
        downstreamChains[index]->sendInWalk(message);
}

}  // namespace varnolex
