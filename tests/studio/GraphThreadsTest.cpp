#include <array>
#include <thread>

#include "platform/RealRuntime.hpp"
#include "studio/GraphFixture.hpp"

namespace varnolex::testing {
namespace {

constexpr std::size_t senderCount = 4;
constexpr std::size_t nodeCount = 200;
constexpr std::uint32_t batches = 1500;

/// What the end of one sender's path has heard. Written by walks of that sender alone.
struct Arrivals {
    std::uint32_t messages = 0;
    std::uint32_t batchEnds = 0;
    std::uint32_t outOfOrder = 0;
    std::uint32_t expected = 0;

    void hear(const ChainMessage& message) {
        batchEnds += message.isLastInBatch;
        if (message.isEmptyCarrier()) return;
        ++messages;
        outOfOrder += message.data1() != expected++ % 128;
    }
};

class GraphThreadsTest : public ::testing::Test {
protected:
    GraphThreadsTest() : scope(runtime), graph(engine.createModular("Stage")) {
        for (std::size_t sender = 0; sender < senderCount; ++sender) paths[sender] = makePath(arrivals[sender]);
        while (graph->nodes.size() < nodeCount) side.push_back(placeNode(*graph, makeTool(PipeToolType::transpose)));
        engine.startAll();
    }

    /// A chain of tools with an ear at its end; returns its nodes.
    std::vector<std::shared_ptr<ModularNode>> makePath(Arrivals& end) {
        std::vector<std::shared_ptr<ModularNode>> path;
        for (int step = 0; step < 24; ++step) {
            path.push_back(placeNode(*graph, makeTool(PipeToolType::transpose)));
            if (step > 0) placeCable(*graph, *path[path.size() - 2], *path.back());
        }
        const auto ear =
            placeNode(*graph, std::make_shared<EarTool>([&end](const ChainMessage& message) { end.hear(message); }));
        placeCable(*graph, *path.back(), *ear);
        return path;
    }

    void play(std::size_t sender) {
        ToolChain& entry = *paths[sender].front()->chain;
        std::uint32_t number = 0;
        for (std::uint32_t batch = 0; batch < batches; ++batch) {
            for (int index = 0; index < 3; ++index, ++number) {
                const std::uint8_t bytes[]{static_cast<std::uint8_t>(0xB0 | sender),
                                           static_cast<std::uint8_t>(number % 128), 1};
                entry.send({bytes, sizeof bytes, 1, false});
            }
            entry.send({nullptr, 0, 1, true});
        }
        playing.add(-1);
    }

    /// One edit beside the paths, or on a branch that leaves one of them.
    void edit(std::size_t turn) {
        const auto& leaving = turn % 3 ? side[turn % (side.size() / 2)] : paths[turn % senderCount][turn % 24];
        const auto& entered = side[side.size() / 2 + turn % (side.size() / 2)];
        cables.push_back(engine.addConnection(leaving->id, entered->id, *graph).id);
        if (turn % 2) {
            engine.removeConnection(cables.front(), *graph);
            cables.erase(cables.begin());
        }
        if (turn % 16 == 0) engine.rebuildChains(*graph, ModularEngine::RebuildReason::restored);
        if (turn % 16 == 8) {
            const auto added = engine.addNode(PipeToolType::transpose, {}, *graph);
            engine.addConnection(paths[0][3]->id, added->id, *graph);
            engine.removeNode(added, *graph);
        }
        if (cables.size() < 12) return;
        for (const UUID& cable : std::exchange(cables, {})) engine.removeConnection(cable, *graph);
    }

    std::array<Arrivals, senderCount> arrivals;
    RealRuntime runtime;
    RuntimeScope scope;
    ModularEngine engine;
    std::shared_ptr<Modular> graph;
    std::array<std::vector<std::shared_ptr<ModularNode>>, senderCount> paths;
    std::vector<std::shared_ptr<ModularNode>> side;
    std::vector<UUID> cables;
    SharedValue<int> playing{static_cast<int>(senderCount)};
};

TEST_F(GraphThreadsTest, NothingIsLostOnAPathWhileTheGraphAroundItChanges) {
    std::vector<std::thread> threads;
    for (std::size_t sender = 0; sender < senderCount; ++sender) threads.emplace_back([this, sender] { play(sender); });
    std::size_t turns = 0;
    for (; playing.get() > 0; ++turns) {
        edit(turns);
        runtime.pollMain();
    }
    for (std::thread& thread : threads) thread.join();
    EXPECT_GT(turns, 0u);
    for (const Arrivals& end : arrivals) {
        EXPECT_EQ(end.messages, batches * 3);
        EXPECT_EQ(end.batchEnds, batches);
        EXPECT_EQ(end.outOfOrder, 0u);
    }
}

}  // namespace
}  // namespace varnolex::testing
