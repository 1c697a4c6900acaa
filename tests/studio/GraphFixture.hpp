#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>

#include "platform/VirtualRuntime.hpp"
#include "studio/ModularEngine.hpp"
#include "support/ChainProbe.hpp"

namespace varnolex::testing {

inline const ToolDefinition earDefinition{PipeToolType::transpose, "", {}, nullptr};

/// A tool that says what it hears and hands it on.
class EarTool final : public PipeTool {
public:
    using Hear = std::function<void(const ChainMessage&)>;

    explicit EarTool(Hear onMessage) : PipeTool(earDefinition), hear(std::move(onMessage)) {}

    void process(const ChainMessage& message, ToolChain& chain) override {
        hear(message);
        chain.forward(message);
    }

    void chainWasWired(std::uint8_t index) override { pipeIndex = index; }

    int pipeIndex = -1;

private:
    const Hear hear;
};

/// Puts a node around a tool, into the graph's list alone: the next rebuild makes it run.
inline std::shared_ptr<ModularNode> placeNode(Modular& graph, std::shared_ptr<PipeTool> tool) {
    auto node = std::make_shared<ModularNode>();
    node->id = Runtime::current().makeUUID();
    node->tool = std::move(tool);
    graph.nodes.push_back(node);
    return node;
}

/// Puts a cable into the graph's list without any of the questions that an edit asks.
inline UUID placeCable(Modular& graph, const ModularNode& source, const ModularNode& target) {
    graph.connections.push_back({Runtime::current().makeUUID(), source.id, target.id});
    return graph.connections.back().id;
}

/// An engine with one graph, in virtual time.
class GraphFixture : public ::testing::Test {
protected:
    using Node = std::shared_ptr<ModularNode>;

    GraphFixture() : scope(runtime), graph(engine.createModular("Stage")) {}

    Node add(PipeToolType type) { return engine.addNode(type, {}, *graph); }

    /// A node that writes what it hears into `heard`, its name first.
    Node addEar(const std::string& name) {
        return addTool(std::make_shared<EarTool>([this, name](const ChainMessage& message) {
            heard.push_back(name + ' ' +
                            textOf({{message.bytes, message.bytes + message.length},
                                    message.isLastInBatch,
                                    message.timeStamp,
                                    runtime.hostTime()}));
        }));
    }

    Node addTool(std::shared_ptr<PipeTool> tool) {
        const Node node = placeNode(*graph, std::move(tool));
        engine.rebuildChains(*graph, ModularEngine::RebuildReason::restored);
        return node;
    }

    ModularConnection connect(const Node& source, const Node& target) {
        return engine.addConnection(source->id, target->id, *graph);
    }

    ValueConnection connectValue(const Node& source, const Node& target, std::string_view port) {
        return engine.addValueConnection(source->id, target->id, port, *graph);
    }

    void send(const Node& node, const std::vector<std::uint8_t>& bytes, bool isLastInBatch = true) {
        node->chain->send({bytes.data(), bytes.size(), runtime.hostTime(), isLastInBatch});
    }

    /// What the ears have heard since the last call.
    std::vector<std::string> taken() { return std::exchange(heard, {}); }

    VirtualRuntime runtime;
    RuntimeScope scope;
    ModularEngine engine;
    std::shared_ptr<Modular> graph;
    std::vector<std::string> heard;
};

}  // namespace varnolex::testing
