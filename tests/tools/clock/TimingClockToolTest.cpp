#include <cmath>

#include "tools/Dialogue.hpp"

namespace varnolex::testing {
namespace {

using namespace std::chrono_literals;

class TimingClockTool : public ::testing::Test {
protected:
    Transport& clock() { return *probe.tool->transport(); }

    /// The times at which ticks have left since the last call, in microseconds of the session.
    std::vector<std::uint64_t> tickTimes() {
        std::vector<std::uint64_t> times;
        for (const Exited& one : probe.exited)
            if (one.bytes == std::vector<std::uint8_t>{0xF8}) times.push_back((one.at - VirtualRuntime::epoch) / 1000);
        probe.exited.clear();
        return times;
    }

    ChainProbe probe{PipeToolType::timingClock};
};

TEST_F(TimingClockTool, ticksOnAGridOfWholeMicrosecondsBetweenStartAndStop) {
    probe.runtime.runFor(1s);
    EXPECT_EQ(takenText(probe), "");
    clock().startPlaying();
    EXPECT_TRUE(clock().isPlaying());
    EXPECT_EQ(takenText(probe), "FA |");
    probe.runtime.runFor(42ms);
    EXPECT_EQ(tickTimes(), (std::vector<std::uint64_t>{1'000'000, 1'020'833, 1'041'666}));
    probe.runtime.runFor(60s);
    EXPECT_EQ(tickTimes().size(), 2880u);
    clock().stopPlaying();
    EXPECT_FALSE(clock().isPlaying());
    EXPECT_EQ(takenText(probe), "FC |");
    clock().stopPlaying();
    probe.runtime.runFor(1s);
    EXPECT_EQ(takenText(probe), "");
    EXPECT_EQ(probe.runtime.pendingItems(), 0u);
}

TEST_F(TimingClockTool, stampsATickWithTheTimeAtWhichItRan) {
    clock().startPlaying();
    probe.runtime.runFor(30ms);
    for (const Exited& one : probe.exited) EXPECT_EQ(one.timeStamp, one.at);
    EXPECT_EQ(probe.exited.size(), 3u);
}

TEST_F(TimingClockTool, leavesOutStartAndStopWhenToldTo) {
    probe.set("sendStart", false);
    probe.set("sendStop", false);
    clock().startPlaying();
    clock().stopPlaying();
    probe.runtime.runFor(1s);
    EXPECT_EQ(takenText(probe), "");
}

TEST_F(TimingClockTool, beginsAnewWhenItIsStartedWhileRunning) {
    clock().startPlaying();
    probe.runtime.runFor(10ms);
    takenText(probe);
    clock().startPlaying();
    EXPECT_EQ(takenText(probe), "FA |");
    probe.runtime.runFor(21ms);
    EXPECT_EQ(tickTimes(), (std::vector<std::uint64_t>{10'000, 30'833}));
    EXPECT_EQ(probe.runtime.pendingItems(), 1u);
}

TEST_F(TimingClockTool, takesANewTempoWithATickAtOnce) {
    clock().startPlaying();
    probe.runtime.runFor(5ms);
    tickTimes();
    probe.set("bpm", 250.0);
    probe.runtime.runFor(15ms);
    EXPECT_EQ(tickTimes(), (std::vector<std::uint64_t>{5'000, 15'000}));
    probe.tool->setLiveValue(125, "bpm");
    probe.set("sendStop", false);
    probe.runtime.runFor(20ms);
    EXPECT_EQ(tickTimes(), (std::vector<std::uint64_t>{20'000, 40'000}));
    EXPECT_EQ(probe.runtime.pendingItems(), 1u);
}

TEST_F(TimingClockTool, limitsItsTempo) {
    struct Case {
        double bpm;
        std::uint64_t interval;
    };
    for (const Case& one : {Case{0, 2'500'000}, Case{-3, 2'500'000}, Case{INFINITY, 2'500'000}, Case{NAN, 2'500'000},
                            Case{1, 2'500'000}, Case{999, 2502}, Case{2000, 2502}, Case{100, 25'000}}) {
        probe.tool->setLiveValue(one.bpm, "bpm");
        clock().startPlaying();
        probe.runtime.runFor(3s);
        const auto times = tickTimes();
        ASSERT_GE(times.size(), 2u);
        EXPECT_EQ(times[1] - times[0], one.interval) << one.bpm;
    }
}

TEST_F(TimingClockTool, doesntRunWhileItIsDisabled) {
    clock().startPlaying();
    probe.runtime.settle();
    takenText(probe);
    probe.tool->setEnabled(false);
    EXPECT_EQ(takenText(probe), "FC |");
    EXPECT_EQ(probe.runtime.pendingItems(), 0u);
    clock().startPlaying();
    EXPECT_FALSE(clock().isPlaying());
    probe.tool->setEnabled(true);
    probe.runtime.runFor(1s);
    EXPECT_EQ(takenText(probe), "");
}

TEST_F(TimingClockTool, ticksIntoTheChainThatItHasNow) {
    clock().startPlaying();
    std::vector<Exited> elsewhere;
    const auto rebuilt = ToolChain::make({probe.tool}, "rebuilt");
    rebuilt->setMessageDidExit(std::make_unique<RecordingExit>(elsewhere));
    probe.runtime.runFor(30ms);
    EXPECT_EQ(takenText(probe), "FA |");
    EXPECT_EQ(elsewhere.size(), 2u);
}

TEST(TimingClockWithoutAChain, refusesToStart) {
    VirtualRuntime runtime;
    const RuntimeScope scope(runtime);
    const auto tool = makeTool(PipeToolType::timingClock);
    tool->transport()->startPlaying();
    EXPECT_FALSE(tool->transport()->isPlaying());
    EXPECT_EQ(runtime.pendingItems(), 0u);
}

}  // namespace
}  // namespace varnolex::testing
