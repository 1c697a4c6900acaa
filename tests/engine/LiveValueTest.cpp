#include <gtest/gtest.h>

#include <cmath>

#include "engine/LiveValueTracker.hpp"
#include "engine/ProbeTool.hpp"

namespace varnolex::testing {
namespace {

using namespace std::chrono_literals;

TEST(LiveValueTracker, knowsAValueUntilItHasGrownOldAndThenAsksForARedraw) {
    VirtualRuntime runtime;
    const RuntimeScope scope(runtime);
    LiveValueTracker tracker;
    const UUID id = runtime.makeUUID();
    EXPECT_EQ(tracker.recentValue(id, "level", 1s), std::nullopt);
    tracker.record(id, "level", 5);
    runtime.runFor(500ms);
    tracker.record(id, "width", 6);
    EXPECT_EQ(tracker.revision(), 2u);
    runtime.runFor(499ms);
    EXPECT_EQ(tracker.recentValue(id, "level", 1s), 5);
    EXPECT_EQ(tracker.recentValue(runtime.makeUUID(), "level", 1s), std::nullopt);
    runtime.runFor(1ms);
    EXPECT_EQ(tracker.recentValue(id, "level", 1s), std::nullopt);
    EXPECT_EQ(tracker.recentValue(id, "width", 1s), 6);
    // One timer serves all: 1.05 seconds after the last value.
    runtime.runFor(549ms);
    EXPECT_EQ(tracker.revision(), 2u);
    runtime.runFor(1ms);
    EXPECT_EQ(tracker.revision(), 3u);
    EXPECT_EQ(runtime.pendingItems(), 0u);
}

TEST(LiveValues, areRoundedAndLimited) {
    struct Case {
        int low;
        int high;
        double value;
        int result;
    };
    for (const Case& one : {Case{0, 127, NAN, 0}, Case{-127, 127, 63.5, 64}, Case{-127, 127, -0.5, -1},
                            Case{0, 127, 1e300, 127}, Case{0, 127, -INFINITY, 0}, Case{1, 96, 0.2, 1}})
        EXPECT_EQ(clampedInt(one.low, one.high, one.value), one.result) << one.value;

    LiveValue live;
    EXPECT_EQ(roundedLive(live, 3), 3);
    EXPECT_EQ(clampedLive(0, 2, live, 3), 2);
    live.set(-2.5);
    EXPECT_EQ(roundedLive(live, 3), -3);
    live.set(NAN);
    EXPECT_TRUE(live.get().has_value());
    EXPECT_EQ(roundedLive(live, 3), 3);
}

}  // namespace
}  // namespace varnolex::testing
