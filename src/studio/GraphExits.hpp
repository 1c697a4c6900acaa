#pragma once

#include <memory>
#include <vector>

#include "engine/ToolChain.hpp"
#include "studio/Modular.hpp"

namespace varnolex {

/// Makes particles for the cables behind one node's exit, at most one each 0.12 s, whatever passes.
class ParticleReporter : public std::enable_shared_from_this<ParticleReporter> {
public:
    ParticleReporter(std::weak_ptr<Modular> graph, std::vector<UUID> connectionIDs);

    /// Processing road: one look at a flag, most of the time.
    void report(std::uint8_t statusByte) noexcept {
        if (!resting.get()) post(statusByte);
    }

private:
    void post(std::uint8_t statusByte) noexcept;
    void spawn(ModularParticle::Kind kind);

    const std::weak_ptr<Modular> modular;
    const std::vector<UUID> connIDs;
    /// Set from a report until the cables may spawn again.
    SharedValue<bool> resting{false};
};

/// Feeds the chains downstream, in the order of the cables, each to its end before the next.
class ForwardingExit final : public ChainExit {
public:
    /// There is at least one chain; `reporter` may be empty.
    ForwardingExit(std::vector<std::shared_ptr<ToolChain>> chains, std::shared_ptr<ParticleReporter> reporter);

    void deliver(const ChainMessage& message) noexcept override;

private:
    void feedAllButLast(const ChainMessage& message) noexcept;

    const std::vector<std::shared_ptr<ToolChain>> downstreamChains;
    ToolChain* const last;
    const std::shared_ptr<ParticleReporter> particles;
};

}  // namespace varnolex
