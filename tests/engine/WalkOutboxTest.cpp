#include <latch>
#include <thread>

#include "engine/ProbeTool.hpp"
#include "engine/WalkOutbox.hpp"

namespace varnolex::testing {
namespace {

using namespace std::chrono_literals;

class WalkOutboxTest : public ::testing::Test {
protected:
    void add(int number) {
        chain->enter([&] { outbox.inWalk().push_back(number); });
    }

    VirtualRuntime runtime;
    RuntimeScope scope{runtime};
    std::shared_ptr<ProbeTool> tool = std::make_shared<ProbeTool>();
    std::shared_ptr<ToolChain> chain = ToolChain::make({tool}, "outbox");
    std::vector<std::vector<int>> taken;
    WalkOutbox<std::vector<int>> outbox{*tool, [this](std::vector<int>& numbers) {
                                            taken.push_back(numbers);
                                            numbers.clear();
                                        }};
};

TEST_F(WalkOutboxTest, isTakenOnceForAllThatHasCome) {
    add(1);
    add(2);
    EXPECT_EQ(runtime.pendingItems(), 1u);
    runtime.settle();
    add(3);
    runtime.settle();
    runtime.settle();
    EXPECT_EQ(taken, (std::vector<std::vector<int>>{{1, 2}, {3}}));
}

TEST_F(WalkOutboxTest, waitsForNoWalk) {
    add(1);
    std::latch inside(1), done(1);
    std::thread walk([&] {
        chain->enter([&] {
            inside.count_down();
            done.wait();
            outbox.inWalk().push_back(2);
        });
    });
    inside.wait();
    runtime.settle();
    EXPECT_TRUE(taken.empty());
    done.count_down();
    walk.join();
    runtime.runFor(1ms);
    EXPECT_EQ(taken, (std::vector<std::vector<int>>{{1, 2}}));
}

TEST_F(WalkOutboxTest, asksAgainWhenTheWayToTheMainThreadWasFull) {
    while (runtime.postToMain([] {})) continue;
    add(1);
    EXPECT_TRUE(outbox.isRefused());
    runtime.settle();
    EXPECT_TRUE(taken.empty());
    add(2);
    EXPECT_FALSE(outbox.isRefused());
    runtime.settle();
    EXPECT_EQ(taken, (std::vector<std::vector<int>>{{1, 2}}));
}

}  // namespace
}  // namespace varnolex::testing
