#pragma once

#include <memory>

#include "engine/ToolChain.hpp"
#include "platform/Runtime.hpp"
#include "platform/VirtualRuntime.hpp"
#include "studio/ModularEngine.hpp"

/// Sends the messages of a player into the chain. A function of its own name, so that a profiler can be told to collect
/// in here.
extern "C" void varnolexBenchWalk(varnolex::ToolChain& chain, std::size_t messages);

namespace varnolex::bench {

struct TestRuntime {
    VirtualRuntime runtime;
    RuntimeScope scope{runtime};
};

/// A graph of nodes that let everything pass, as the application builds and wires it, display included.
class TestGraph {
public:
    /// Nodes one behind the other.
    explicit TestGraph(std::size_t nodes);

    /// One node that feeds `branches` others.
    static TestGraph fanOut(std::size_t branches);

    ToolChain& entry() { return *modular->nodes.front()->chain; }

private:
    TestGraph() = default;
    void add();
    void finish();

    std::unique_ptr<ModularEngine> engine = std::make_unique<ModularEngine>();
    std::shared_ptr<Modular> modular;
};

/// A new tool that hands on what it gets.
std::shared_ptr<PipeTool> makePassThrough();

}  // namespace varnolex::bench
