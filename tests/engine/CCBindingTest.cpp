#include <gmock/gmock.h>

#include <thread>

#include "engine/BindingApplication.hpp"
#include "engine/BypassToggleState.hpp"
#include "engine/CCBinding.hpp"
#include "engine/LiveValueTracker.hpp"
#include "engine/NotificationCenter.hpp"
#include "engine/ProbeTool.hpp"

namespace varnolex::testing {
namespace {

using ::testing::ElementsAre;

class CCBindingTest : public ::testing::Test {
protected:
    CCBindingTest() {
        observer = NotificationCenter::shared().observe(toolEnabledDidChangeViaCC,
                                                        [this](const UUID& object) { switched.push_back(object); });
    }
    ~CCBindingTest() override {
        NotificationCenter::shared().stopObserving(observer);
        CCBindingStore::shared().setBindings({});
        BypassToggleState::shared().reset(tool->id());
    }

    void bind(ToolBindings bindings) { CCBindingStore::shared().setBindings(tool->id(), std::move(bindings)); }

    void turn(std::uint8_t controller, std::uint8_t value) {
        const ShortMessage message = ShortMessage::controller(3, controller, value);
        chain->send(ChainMessage{}.carrying(message));
        runtime.settle();
    }

    VirtualRuntime runtime;
    RuntimeScope scope{runtime};
    std::shared_ptr<ProbeTool> tool = std::make_shared<ProbeTool>();
    std::shared_ptr<ToolChain> chain = ToolChain::make({tool}, "");
    std::vector<UUID> switched;

private:
    NotificationCenter::Token observer;
};

TEST_F(CCBindingTest, movesTheBoundParametersAndLetsTheControllerPass) {
    bind({{"level", {21, "level", 20, 100}}, {"width", {21, "width", 1, -1}}});
    turn(22, 64);
    EXPECT_EQ(tool->liveLevel(), std::nullopt);
    turn(21, 0);
    EXPECT_EQ(tool->liveLevel(), 20);
    EXPECT_EQ(tool->liveWidth(), 1);
    turn(21, 127);
    EXPECT_EQ(tool->liveLevel(), 100);
    EXPECT_EQ(tool->liveWidth(), -1);
    EXPECT_EQ(tool->seen.size(), 3u);
    EXPECT_EQ(LiveValueTracker::shared().recentValue(tool->id(), "level", std::chrono::seconds(1)), 100);
    EXPECT_EQ(tool->settings().level, 6);
}

TEST_F(CCBindingTest, takesEffectOnTheMainThreadOnly) {
    bind({{"level", {21, "level", 0, 127}}});
    const ShortMessage message = ShortMessage::controller(0, 21, 5);
    chain->send(ChainMessage{}.carrying(message));
    EXPECT_EQ(tool->liveLevel(), std::nullopt);
    runtime.settle();
    EXPECT_EQ(tool->liveLevel(), 5);
}

TEST_F(CCBindingTest, looksAtWholeControlChangesOnly) {
    bind({{"level", {21, "level", 0, 127}}});
    for (const std::vector<std::uint8_t>& bytes :
         {std::vector<std::uint8_t>{0xB0, 21}, std::vector<std::uint8_t>{0x90, 21, 5}})
        chain->send({bytes.data(), bytes.size(), 0, true});
    chain->send({nullptr, 0, 0, true});
    runtime.settle();
    EXPECT_EQ(tool->liveLevel(), std::nullopt);
}

TEST_F(CCBindingTest, ignoresPortsAndToolsThatAreNotThere) {
    bind({{"gone", {21, "gone", 0, 127}}, {"isLoud", {21, "isLoud", 0, 1}}});
    turn(21, 64);
    chain->send(ChainMessage{}.carrying(ShortMessage::controller(0, 21, 5)));
    EXPECT_EQ(tool->liveLevel(), std::nullopt);
    EXPECT_EQ(tool->liveWidth(), std::nullopt);
    const UUID id = tool->id();
    EXPECT_FALSE(CCBindingStore::shared().bindings(id).empty());
    bind({});
    EXPECT_FALSE(CCBindingStore::shared().bindings().contains(id));
}

TEST_F(CCBindingTest, tellsOfEveryChangeOfTheStore) {
    int changes = 0;
    const auto token = NotificationCenter::shared().observe(CCBindingStore::storeDidChange, [&](const UUID& object) {
        EXPECT_EQ(object, UUID{});
        ++changes;
    });
    bind({{"level", {1, "level", 0, 1}}});
    bind({});
    NotificationCenter::shared().stopObserving(token);
    bind({{"level", {1, "level", 0, 1}}});
    EXPECT_EQ(changes, 2);
}

TEST_F(CCBindingTest, losesNoChangeWhenSeveralThreadsMakeThem) {
    std::vector<UUID> tools(100);
    for (UUID& id : tools) id = runtime.makeUUID();
    {
        std::vector<std::jthread> threads;
        for (std::size_t first = 0; first < 2; ++first)
            threads.emplace_back([&tools, first] {
                for (std::size_t index = first; index < tools.size(); index += 2)
                    CCBindingStore::shared().setBindings(tools[index], {{"isEnabled", {1, "isEnabled", 0, 1}}});
            });
    }
    EXPECT_EQ(CCBindingStore::shared().bindings().size(), tools.size());
}

TEST_F(CCBindingTest, togglesByAButtonAlsoWhileTheToolIsDisabled) {
    bind({{"isEnabled", {30, "isEnabled", 0, 1}}});
    std::vector<bool> states;
    for (const std::uint8_t value : {127, 0, 127, 0, 127}) {
        turn(30, value);
        states.push_back(tool->isEnabled());
    }
    EXPECT_THAT(states, ElementsAre(true, true, false, false, true));
    EXPECT_THAT(switched, ElementsAre(tool->id(), tool->id()));
}

TEST_F(CCBindingTest, followsAKnobByItsLevelAndTellsOnlyOfChanges) {
    bind({{"isEnabled", {30, "isEnabled", 0, 1}}});
    std::vector<bool> states;
    for (const std::uint8_t value : {64, 100, 30, 60, 100}) {
        turn(30, value);
        states.push_back(tool->isEnabled());
    }
    EXPECT_THAT(states, ElementsAre(true, true, false, false, true));
    EXPECT_EQ(switched.size(), 2u);
    bind({});
    bind({{"isEnabled", {30, "isEnabled", 0, 1}}});
    turn(30, 0);
    EXPECT_TRUE(tool->isEnabled()) << "the first value of a new binding only fills the memory";
}

TEST(BypassToggleState, worksOutFromTheValuesWhatTheControllerIs) {
    using enum BypassToggleState::Result;
    struct Case {
        std::vector<std::uint8_t> values;
        std::vector<BypassToggleState::Result> results;
    };
    const std::vector<Case> cases{
        {{127, 0, 127, 0, 127}, {noChange, noChange, toggle, noChange, toggle}},
        {{127, 0, 71, 72, 127, 57, 72, 56, 72},
         {noChange, noChange, noChange, toggle, noChange, noChange, noChange, noChange, toggle}},
        {{64, 100, 30}, {noChange, on, off}},
        {{127, 1, 127, 0}, {noChange, off, on, off}},
        {{0, 0, 127, 0, 127}, {noChange, off, on, off, on}},
        {{0, 72, 71, 57, 56}, {noChange, on, noChange, noChange, off}},
    };
    const UUID id = UUID::fromText("6BA7B810-9DAD-11D1-80B4-00C04FD430C8").value();
    BypassToggleState state;
    for (const Case& one : cases) {
        state.reset(id);
        std::vector<BypassToggleState::Result> results;
        for (const std::uint8_t value : one.values) results.push_back(state.evaluate(id, value));
        EXPECT_EQ(results, one.results) << "from " << int{one.values[0]};
    }
}

}  // namespace
}  // namespace varnolex::testing
