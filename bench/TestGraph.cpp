#include "bench/TestGraph.hpp"

#include "bench/Music.hpp"
#include "tools/ToolDefinitions.hpp"

namespace varnolex::bench {
namespace {

class PassThrough final : public PipeTool {
public:
    PassThrough() : PipeTool(channelFilterDefinition) {}
    void process(const ChainMessage& message, ToolChain& chain) override { chain.forward(message); }
};

}  // namespace

std::shared_ptr<PipeTool> makePassThrough() { return std::make_shared<PassThrough>(); }

TestGraph::TestGraph(std::size_t nodes) : TestGraph() {
    modular = std::make_shared<Modular>(Runtime::current().makeUUID(), "Walk");
    for (std::size_t index = 0; index < nodes; ++index) {
        add();
        if (index > 0)
            modular->connections.push_back(
                {Runtime::current().makeUUID(), modular->nodes[index - 1]->id, modular->nodes[index]->id});
    }
    finish();
}

TestGraph TestGraph::fanOut(std::size_t branches) {
    TestGraph graph;
    graph.modular = std::make_shared<Modular>(Runtime::current().makeUUID(), "Fan-out");
    graph.add();
    for (std::size_t index = 0; index < branches; ++index) {
        graph.add();
        graph.modular->connections.push_back(
            {Runtime::current().makeUUID(), graph.modular->nodes.front()->id, graph.modular->nodes.back()->id});
    }
    graph.finish();
    return graph;
}

void TestGraph::add() {
    auto node = std::make_shared<ModularNode>();
    node->id = Runtime::current().makeUUID();
    node->tool = makePassThrough();
    modular->nodes.push_back(std::move(node));
}

void TestGraph::finish() {
    engine->adoptModular(modular);
    engine->startNodes(*modular);
}

}  // namespace varnolex::bench

void varnolexBenchWalk(varnolex::ToolChain& chain, std::size_t messages) {
    constexpr std::size_t variety = 64;
    static const auto played = varnolex::bench::playedMessages(variety);
    for (std::size_t index = 0; index < messages; ++index) {
        const auto& bytes = played[index % variety];
        chain.send({bytes.data(), bytes.size(), varnolex::VirtualRuntime::epoch, true});
    }
}
