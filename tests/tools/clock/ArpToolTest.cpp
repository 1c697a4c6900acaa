#include <cmath>
#include <map>

#include "tools/Dialogue.hpp"

namespace varnolex::testing {
namespace {

using namespace std::chrono_literals;

class ArpTool : public ::testing::Test {
protected:
    void hold(std::initializer_list<int> notes) {
        for (const int note : notes) probe.send({0x90, static_cast<std::uint8_t>(note), 100});
        probe.taken();
    }

    void release(int note) { probe.send({0x80, static_cast<std::uint8_t>(note), 0}); }

    /// Lets a clock of 120 BPM go on by so many ticks, each followed by its time.
    void tick(int count) {
        for (int index = 0; index < count; ++index) {
            probe.send({0xF8});
            probe.runtime.runFor(20'833us);
        }
    }

    /// The notes that begin in so many steps.
    std::vector<int> steps(int count) {
        const auto ticks = std::get<std::int64_t>(parameterOf(*probe.tool, "ticksPerStep"));
        probe.exited.clear();
        tick(static_cast<int>(ticks) * count);
        std::vector<int> notes;
        for (const Exited& one : probe.exited)
            if (one.bytes.size() == 3 && one.bytes[0] == 0x90) notes.push_back(one.bytes[1]);
        probe.exited.clear();
        return notes;
    }

    ChainProbe probe{PipeToolType::arp};
};

TEST_F(ArpTool, walksThePatterns) {
    struct Case {
        int pattern;
        int octaveRange;
        std::vector<int> held;
        std::vector<int> played;
    };
    const std::vector<Case> cases{
        {0, 1, {64, 60, 67}, {60, 64, 67, 60}},
        {-7, 1, {64, 60, 67}, {60, 64, 67, 60}},
        {1, 1, {64, 60, 67}, {67, 64, 60, 67}},
        {2, 1, {64, 60, 67}, {60, 64, 67, 64, 60, 64}},
        {2, 1, {60, 64}, {60, 64, 60}},
        {2, 1, {60}, {60, 60, 60}},
        {3, 1, {64, 60, 67}, {67, 64, 60, 64, 67}},
        {3, 1, {60}, {60, 60}},
        {5, 1, {64, 60, 67}, {64, 60, 67, 64}},
        {5, 1, {64, 60, 67, 64}, {60, 67, 64, 60}},
        {0, 2, {64, 60}, {60, 64, 72, 76, 60}},
        {5, 2, {64, 60}, {64, 60, 76, 72, 64}},
        {2, 2, {64, 60}, {60, 64, 72, 76, 72, 64, 60}},
        {0, 2, {120}, {120, 120}},
        {0, 100, {110}, {110, 122, 110}},
        {0, 0, {60}, {}},
        {0, 1, {}, {}},
    };
    for (const Case& one : cases) {
        probe.tool->stop();
        probe.set("pattern", one.pattern);
        probe.set("octaveRange", one.octaveRange);
        for (const int note : one.held) hold({note});
        const std::size_t count = std::max<std::size_t>(one.played.size(), 2);
        EXPECT_EQ(steps(static_cast<int>(count)), one.played) << "pattern " << one.pattern << " of " << one.held.size();
    }
}

TEST_F(ArpTool, swallowsItsKeysAndLetsTheRestPass) {
    expectDialogue(probe, {{{0x90, 60, 100}, "- |"},
                           {{0xB0, 1, 2}, "B0 01 02 |"},
                           {{0xC0, 1}, "C0 01 |"},
                           {{0xFA}, "FA |"},
                           {{0xF8}, "F8 |"},
                           {{0x80, 60, 0}, "- |"}});
}

TEST_F(ArpTool, playsAStepAheadOfItsTickAndEndsTheFormerNote) {
    probe.set("ticksPerStep", 1);
    probe.set("gatePercent", 100);
    probe.send({0x93, 60, 100});
    probe.send({0x93, 64, 90});
    probe.taken();
    expectDialogue(probe, {{{0xF8}, "93 3C 64 |, F8 |"}, {{0xF8}, "83 3C 00, 93 40 5A |, F8 |"}});
}

TEST_F(ArpTool, endsANoteAfterItsPartOfTheStep) {
    probe.set("gatePercent", 50);
    hold({60});
    tick(11);
    probe.exited.clear();
    const HostTime step = probe.runtime.hostTime();
    tick(11);
    std::vector<Exited> notes;
    for (const Exited& one : probe.exited)
        if (one.bytes.size() == 3) notes.push_back(one);
    ASSERT_EQ(notes.size(), 2u);
    EXPECT_EQ(textOf(notes[1]), "80 3C 00");
    // 12 ticks of 20.833 ms are 249 whole ms, of which a half are 124.
    EXPECT_EQ(notes[1].at - step, 124'000'000u);
    EXPECT_EQ(notes[1].timeStamp, step);
    EXPECT_EQ(probe.runtime.pendingItems(), 0u);
}

TEST_F(ArpTool, leavesTheEndOfAGateToTheBatchOfTheNextTick) {
    hold({60});
    tick(12);
    probe.taken();
    probe.runtime.runFor(1s);
    EXPECT_EQ(takenText(probe), "80 3C 00");
}

TEST_F(ArpTool, letsANoteLastWithoutATimerWhereNoneIsDue) {
    struct Case {
        int gate;
        std::optional<double> live;
        std::chrono::nanoseconds tick;
        bool isTimed;
    };
    for (const Case& one : {Case{100, {}, 20ms, false}, Case{99, {}, 20ms, true}, Case{0, {}, 20ms, false},
                            Case{1, {}, 8ms, false}, Case{1, {}, 9ms, true}, Case{100, 50.0, 20ms, true},
                            Case{50, NAN, 20ms, false}, Case{50, 1000.0, 20ms, false}, Case{50, {}, 0ms, false}}) {
        ChainProbe own(PipeToolType::arp);
        own.set("gatePercent", one.gate);
        own.tool->setLiveValue(one.live, "gatePercent");
        own.send({0x90, 60, 100});
        for (int count = 0; count < 12; ++count) {
            own.runtime.runFor(one.tick);
            own.send({0xF8});
        }
        EXPECT_EQ(own.runtime.pendingItems(), one.isTimed ? 1u : 0u) << one.gate;
    }
}

TEST_F(ArpTool, endsTheSoundingNoteInPlaceOfTheLastRelease) {
    probe.set("gatePercent", 100);
    hold({60, 64});
    tick(24);
    probe.taken();
    release(64);
    EXPECT_EQ(takenText(probe), "- |");
    release(60);
    EXPECT_EQ(takenText(probe), "80 40 00 |");
    EXPECT_EQ(probe.runtime.pendingItems(), 0u);
    // Once more for the last note that began, then nothing is left to end.
    release(60);
    EXPECT_EQ(takenText(probe), "80 40 00 |");
    release(60);
    EXPECT_EQ(takenText(probe), "- |");
}

TEST_F(ArpTool, keepsItsPlaceInTheCycleWhenAKeyGoes) {
    hold({60, 64, 67});
    EXPECT_EQ(steps(1), std::vector<int>{60});
    release(67);
    EXPECT_EQ(steps(2), (std::vector<int>{64, 60}));
    release(60);
    EXPECT_EQ(steps(1), std::vector<int>{64});
}

TEST_F(ArpTool, keepsReleasedKeysWhileItLatches) {
    probe.set("latch", true);
    hold({60});
    release(60);
    EXPECT_EQ(steps(2), (std::vector<int>{60, 60}));
    hold({64});
    EXPECT_EQ(steps(2), (std::vector<int>{60, 64}));
    probe.set("latch", false);
    EXPECT_EQ(steps(2), std::vector<int>{});
}

TEST_F(ArpTool, drawsRandomStepsFromAllThatIsHeld) {
    probe.set("pattern", 4);
    probe.set("octaveRange", 2);
    hold({60, 64});
    std::map<int, int> counts;
    for (const int note : steps(400)) ++counts[note];
    EXPECT_EQ(counts.size(), 4u);
    for (const auto& [note, count] : counts) EXPECT_NEAR(count, 100, 40) << note;
}

TEST_F(ArpTool, losesNoKeyWhenEveryOneOfEveryChannelIsHeld) {
    probe.set("pattern", 2);
    probe.set("octaveRange", 11);
    probe.set("ticksPerStep", 1);
    for (int channel = 0; channel < 16; ++channel)
        for (int note = 0; note < 128; ++note)
            probe.send({static_cast<std::uint8_t>(0x90 | channel), static_cast<std::uint8_t>(note), 1});
    probe.exited.clear();
    std::map<int, int> played;
    for (int step = 0; step < 16 * 748; ++step) probe.send({0xF8});
    for (const Exited& one : probe.exited)
        if (one.bytes.size() == 3 && one.bytes[0] >= 0x90) ++played[one.bytes[1]];
    EXPECT_EQ(played[0], 16);
    EXPECT_EQ(played[127], 16 * 11);
    EXPECT_EQ(played[120], 16 * 11);
}

TEST_F(ArpTool, leavesNothingBehindWhenItIsStoppedOrDisabled) {
    for (const bool disables : {false, true}) {
        hold({60, 64});
        tick(18);
        EXPECT_EQ(probe.runtime.pendingItems(), 1u);
        probe.taken();
        if (disables)
            probe.tool->setEnabled(false);
        else
            probe.tool->stop();
        EXPECT_EQ(probe.runtime.pendingItems(), 0u);
        EXPECT_EQ(takenText(probe), "");
        probe.tool->setEnabled(true);
        EXPECT_EQ(steps(2), std::vector<int>{});
        // A disabled arpeggiator still knows which note it left sounding.
        probe.taken();
        release(60);
        EXPECT_EQ(takenText(probe), disables ? "80 3C 00 |" : "- |");
    }
}

}  // namespace
}  // namespace varnolex::testing
