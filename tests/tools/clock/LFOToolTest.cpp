#include <algorithm>
#include <cmath>

#include "tools/Dialogue.hpp"

namespace varnolex::testing {
namespace {

using namespace std::chrono_literals;

class LFOTool : public ::testing::Test {
protected:
    /// The controller values that have left since the last call.
    std::vector<int> values() {
        std::vector<int> list;
        for (const Exited& one : probe.exited)
            if (one.bytes.size() == 3 && (one.bytes[0] & 0xF0) == 0xB0) list.push_back(one.bytes[2]);
        probe.exited.clear();
        return list;
    }

    void clock(int ticks) {
        for (int count = 0; count < ticks; ++count) probe.send({0xF8});
    }

    ChainProbe probe{PipeToolType::lfo};
};

TEST_F(LFOTool, sendsAHundredValuesASecondFromTheBeginning) {
    probe.set("waveform", 3);
    probe.runtime.runFor(999ms);
    const std::vector<int> sent = values();
    ASSERT_EQ(sent.size(), 100u);
    EXPECT_EQ(sent[0], 1);
    EXPECT_EQ(sent[49], 64);
    EXPECT_EQ(sent[98], 126);
    EXPECT_EQ(sent[99], 0);
}

TEST_F(LFOTool, keepsItsPhaseWhenTheGraphIsRebuilt) {
    probe.set("waveform", 3);
    probe.runtime.runFor(105ms);
    values();
    probe.tool->chainWasWired(3);
    probe.runtime.runFor(10ms);
    EXPECT_EQ(values(), std::vector<int>{15});
    EXPECT_EQ(probe.runtime.pendingItems(), 1u);
}

TEST_F(LFOTool, drawsItsWaves) {
    struct Case {
        int waveform;
        double offset;
        /// At the beginning and after each quarter of a cycle.
        std::vector<int> quarters;
    };
    const std::vector<Case> cases{
        {0, 0, {64, 127, 64, 0}},   {1, 0, {0, 64, 127, 64}},    {2, 0, {127, 127, 0, 0}},
        {3, 0, {0, 32, 64, 95}},    {4, 0, {127, 95, 64, 32}},   {9, 0, {64, 64, 64, 64}},
        {3, 0.25, {32, 64, 95, 0}}, {3, -1.25, {95, 0, 32, 64}}, {3, NAN, {0, 0, 0, 0}},
    };
    probe.set("syncToMidiClock", true);
    probe.set("clockDivision", 1);
    for (const Case& one : cases) {
        probe.set("waveform", one.waveform);
        probe.set("phaseOffset", one.offset);
        clock(24);
        const std::vector<int> sent = values();
        ASSERT_EQ(sent.size(), 24u);
        EXPECT_EQ((std::vector<int>{sent[23], sent[5], sent[11], sent[17]}), one.quarters)
            << one.waveform << " by " << one.offset;
    }
}

TEST_F(LFOTool, climbsThroughACycleOfClockTicks) {
    probe.set("waveform", 3);
    probe.set("syncToMidiClock", true);
    EXPECT_EQ(probe.runtime.pendingItems(), 0u);
    probe.send({0x92, 60, 1});
    probe.taken();
    expectDialogue(probe, {{{0xF8}, "B2 0B 01 |, F8 |"}});
    clock(96);
    const std::vector<int> sent = values();
    EXPECT_EQ(sent[93], 126);
    EXPECT_EQ(sent[94], 0);
    EXPECT_EQ(sent[95], 1);
}

TEST_F(LFOTool, invertsTheWaveWhenTheDepthsAreSwapped) {
    probe.set("waveform", 3);
    probe.set("depthMin", 100);
    probe.set("depthMax", 20);
    probe.runtime.runFor(5ms);
    EXPECT_EQ(values(), std::vector<int>{99});
    probe.tool->setLiveValue(300, "depthMin");
    probe.tool->setLiveValue(-4, "depthMax");
    probe.tool->setLiveValue(7.5, "targetCC");
    probe.runtime.runFor(10ms);
    EXPECT_EQ(takenText(probe), "B0 08 7C |");
}

TEST_F(LFOTool, drawsRandomValuesWithinItsDepths) {
    probe.set("waveform", 5);
    probe.set("syncToMidiClock", true);
    clock(300);
    std::vector<int> sent = values();
    EXPECT_LT(*std::ranges::min_element(sent), 10);
    EXPECT_GT(*std::ranges::max_element(sent), 117);
    std::ranges::sort(sent);
    EXPECT_GT(std::unique(sent.begin(), sent.end()) - sent.begin(), 60);

    // Before its first new value a free wave rests on 0.
    ChainProbe free(PipeToolType::lfo);
    free.set("waveform", 5);
    free.runtime.runFor(5ms);
    EXPECT_EQ(takenText(free), "B0 0B 00 |");
}

TEST_F(LFOTool, limitsItsRate) {
    struct Case {
        double rate;
        int third;
    };
    probe.set("waveform", 3);
    for (const Case& one : {Case{0, 0}, Case{10, 38}, Case{1000, 0}, Case{NAN, 4}, Case{-INFINITY, 4}}) {
        ChainProbe own(PipeToolType::lfo);
        own.set("waveform", 3);
        own.tool->setLiveValue(one.rate, "rateHz");
        own.runtime.runFor(25ms);
        ASSERT_EQ(own.exited.size(), 3u);
        EXPECT_EQ(own.exited[2].bytes[2], one.third) << one.rate;
    }
}

TEST_F(LFOTool, endsTheClockOnlyWhileItRunsFreely) {
    expectDialogue(probe,
                   {{{0xF8}, "- |"}, {{0x90, 60, 1}, "90 3C 01 |"}, {{0xFA}, "FA |"}, {{0xB0, 1, 2}, "B0 01 02 |"}});
}

TEST_F(LFOTool, beginsAnewAtANote) {
    probe.set("waveform", 3);
    probe.set("triggeredMode", true);
    probe.runtime.runFor(495ms);
    probe.send({0x80, 60, 0});
    probe.send({0x90, 60, 0});
    probe.send({0xB0, 60, 1});
    values();
    probe.runtime.runFor(10ms);
    EXPECT_EQ(values(), std::vector<int>{65});
    probe.send({0x91, 60, 1}, true, 77);
    EXPECT_EQ(takenText(probe), "91 3C 01 |");
    probe.runtime.runFor(10ms);
    ASSERT_EQ(probe.exited.size(), 1u);
    EXPECT_EQ(textOf(probe.exited[0]), "B1 0B 01 |");
    EXPECT_EQ(probe.exited[0].timeStamp, 77u);
}

TEST_F(LFOTool, runsItsTimerOnlyWhileItIsOfUse) {
    const auto timers = [this] { return probe.runtime.pendingItems(); };
    EXPECT_EQ(timers(), 1u);
    probe.tool->setEnabled(false);
    EXPECT_EQ(timers(), 0u);
    probe.set("syncToMidiClock", true);
    probe.set("syncToMidiClock", false);
    probe.tool->chainWasWired(0);
    EXPECT_EQ(timers(), 0u);
    probe.tool->setEnabled(true);
    EXPECT_EQ(timers(), 1u);
    probe.set("syncToMidiClock", true);
    EXPECT_EQ(timers(), 0u);
    probe.set("syncToMidiClock", false);
    EXPECT_EQ(timers(), 1u);
    probe.tool->stop();
    EXPECT_EQ(timers(), 0u);
    probe.set("rateHz", 2.0);
    EXPECT_EQ(timers(), 0u);
    probe.tool->chainWasWired(0);
    EXPECT_EQ(timers(), 1u);
}

}  // namespace
}  // namespace varnolex::testing
