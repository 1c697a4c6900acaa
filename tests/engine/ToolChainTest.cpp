#include <gmock/gmock.h>

#include "engine/ProbeTool.hpp"

namespace varnolex::testing {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

constexpr std::array<std::uint8_t, 3> noteOn{0x90, 60, 100};

class ToolChainTest : public ::testing::Test {
protected:
    struct Left {
        std::size_t length;
        bool isLast;
        bool operator==(const Left&) const = default;
    };

    class Ears final : public ChainExit {
    public:
        explicit Ears(std::vector<Left>& list) : into(list) {}
        void deliver(const ChainMessage& message) noexcept override {
            into.push_back({message.length, message.isLastInBatch});
        }

    private:
        std::vector<Left>& into;
    };

    std::shared_ptr<ProbeTool> add(ProbeTool::Action action = {}) {
        const auto tool = std::make_shared<ProbeTool>(std::move(action));
        tools.push_back(tool);
        return tool;
    }

    ToolChain& chain() {
        if (!made) {
            made = ToolChain::make({tools.begin(), tools.end()}, "pipe");
            made->setMessageDidExit(std::make_unique<Ears>(left));
        }
        return *made;
    }

    void send(bool isLast = true) { chain().send({noteOn.data(), noteOn.size(), 0, isLast}); }

    VirtualRuntime runtime;
    RuntimeScope scope{runtime};
    std::vector<std::shared_ptr<ProbeTool>> tools;
    std::vector<Left> left;

private:
    std::shared_ptr<ToolChain> made;
};

TEST_F(ToolChainTest, walksAMessageThroughItsToolsToTheExit) {
    for (int count = 0; count < 3; ++count) add();
    send();
    for (std::size_t index = 0; index < tools.size(); ++index) {
        EXPECT_EQ(tools[index]->seen.size(), 1u);
        EXPECT_THAT(tools[index]->places, ElementsAre(index));
        EXPECT_EQ(tools[index]->chain().get(), &chain());
    }
    EXPECT_THAT(left, ElementsAre(Left{3, true}));
    EXPECT_EQ(chain().currentIndex(), 0u);
    EXPECT_EQ(chain().pipeName(), "pipe");
}

TEST_F(ToolChainTest, stepsOverDisabledToolsWhereverTheyStand) {
    for (const std::size_t disabled : {0u, 1u, 2u}) {
        const auto first = add(), second = add(), third = add();
        const std::vector<std::shared_ptr<ProbeTool>> own{first, second, third};
        own[disabled]->setEnabled(false);
        const auto chainOfThree = ToolChain::make({own.begin(), own.end()}, "");
        left.clear();
        chainOfThree->setMessageDidExit(std::make_unique<Ears>(left));
        chainOfThree->send({noteOn.data(), noteOn.size(), 0, true});
        for (std::size_t index = 0; index < own.size(); ++index)
            EXPECT_EQ(own[index]->seen.size(), index == disabled ? 0u : 1u);
        EXPECT_THAT(left, ElementsAre(Left{3, true}));
    }
}

TEST_F(ToolChainTest, startsAtTheNextToolForEachOfSeveralMessages) {
    add([](const ChainMessage& message, ToolChain& chain) {
        chain.forward(message.notLast());
        chain.forward(message.notLast());
        chain.forward(message);
    });
    const auto second = add();
    add();
    send();
    EXPECT_THAT(second->places, ElementsAre(1, 1, 1));
    EXPECT_THAT(left, ElementsAre(Left{3, false}, Left{3, false}, Left{3, true}));
}

TEST_F(ToolChainTest, carriesABatchEndWithoutAMessageToTheExit) {
    add([](const ChainMessage& message, ToolChain& chain) { chain.forward(message.dropped()); });
    const auto second = add();
    send(false);
    EXPECT_THAT(left, IsEmpty());
    send(true);
    EXPECT_THAT(left, ElementsAre(Left{0, true}));
    EXPECT_THAT(second->seen, ElementsAre(IsEmpty(), IsEmpty()));
}

TEST_F(ToolChainTest, endsAMessageWhereNobodyIsThere) {
    send();
    EXPECT_THAT(left, IsEmpty());

    const auto only = add();
    const auto deaf = ToolChain::make({only}, "");
    deaf->send({noteOn.data(), noteOn.size(), 0, true});
    EXPECT_EQ(only->seen.size(), 1u);
    EXPECT_EQ(deaf->currentIndex(), 0u);
}

TEST_F(ToolChainTest, goesOnBehindTheFirstToolFromOutsideAnyWalk) {
    const auto first = add(), second = add();
    chain().forward({noteOn.data(), noteOn.size(), 0, true});
    EXPECT_THAT(first->seen, IsEmpty());
    EXPECT_EQ(second->seen.size(), 1u);
    chain().sendToExit({noteOn.data(), 2, 0, true});
    EXPECT_THAT(left, ElementsAre(Left{3, true}, Left{2, true}));
}

TEST_F(ToolChainTest, keepsTheOuterWalksPlaceWhenAToolEntersAtTheTop) {
    add();
    add([](const ChainMessage& message, ToolChain& chain) {
        if (message.data2() == 100) {
            const ShortMessage again = ShortMessage::noteOn(0, 60, 1);
            chain.send(message.carrying(again));
        }
        chain.forward(message);
    });
    const auto third = add();
    send();
    EXPECT_THAT(third->places, ElementsAre(2, 2));
    EXPECT_THAT(third->seen, ElementsAre(ElementsAre(0x90, 60, 1), ElementsAre(0x90, 60, 100)));
}

TEST_F(ToolChainTest, replacesItsExitWhileAWalkIsUnderWay) {
    std::vector<Left> other;
    add([&](const ChainMessage& message, ToolChain& chain) {
        chain.setMessageDidExit(std::make_unique<Ears>(other));
        chain.forward(message);
    });
    send();
    EXPECT_THAT(left, IsEmpty());
    EXPECT_THAT(other, ElementsAre(Left{3, true}));
    EXPECT_TRUE(chain().reclaimExits());
}

}  // namespace
}  // namespace varnolex::testing
