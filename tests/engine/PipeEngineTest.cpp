#include <gtest/gtest.h>

#include "engine/PipeEngine.hpp"
#include "engine/ProbeTool.hpp"

namespace varnolex::testing {
namespace {

TEST(PipeEngine, runsAMessageThroughItsToolsAndTellsTheListenerWithThePipesName) {
    VirtualRuntime runtime;
    const RuntimeScope scope(runtime);
    const auto pipe = std::make_shared<Pipe>("Lead");
    std::vector<std::string> heard;
    {
        PipeEngine engine;
        engine.pipes.push_back(pipe);
        engine.setRoutedMessageHandler([&](const ChainMessage& message, const std::string& name) {
            heard.push_back(name + " " + std::to_string(message.length));
        });
        pipe->tools = {std::make_shared<ProbeTool>(), std::make_shared<ProbeTool>()};
        engine.rewire(*pipe);
        const ShortMessage note = ShortMessage::noteOn(0, 60, 1);
        pipe->chain->send(ChainMessage{}.carrying(note));
        pipe->chain->send(ChainMessage{});
        EXPECT_TRUE(heard.empty()) << "ahead of the main thread";
        runtime.settle();
        EXPECT_EQ(heard, (std::vector<std::string>{"Lead 3", "Lead 0"}));
        EXPECT_EQ(pipe->chain->tools().size(), 2u);

        pipe->name = "Bass";
        pipe->tools.pop_back();
        EXPECT_EQ(pipe->chain->tools().size(), 2u);
        engine.rewire(*pipe);
        EXPECT_EQ(pipe->chain->tools().size(), 1u);
        pipe->chain->send(ChainMessage{}.carrying(note));
        runtime.settle();
        EXPECT_EQ(heard.back(), "Bass 3");
        pipe->chain->send(ChainMessage{});
    }
    runtime.settle();
    EXPECT_EQ(heard.size(), 3u) << "nothing behind the engine's end";
}

}  // namespace
}  // namespace varnolex::testing
