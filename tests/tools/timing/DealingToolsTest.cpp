#include "tools/Timeline.hpp"

namespace varnolex::testing {
namespace {

TEST(RoundRobinTool, dealsNotesOutInTurn) {
    ChainProbe probe(PipeToolType::roundRobin);
    probe.set("startChannel", 15);
    EXPECT_EQ(play(probe, "0: 93 3C 01, 1: 93 3D 01, 2: 93 3E 01, 3: 93 3C 00, 4: 93 3F 01, 5: 93 40 01, 6: 83 63 04"),
              "0: 9E 3C 01, 1: 9F 3D 01, 2: 90 3E 01, 3: 9E 3C 00, 4: 91 3F 01, 5: 9E 40 01, 6: 83 63 04");
    probe.tool->setLiveValue(0, "poolSize");
    EXPECT_EQ(play(probe, "0: 90 01 01, 1: 90 02 01, 2: 83 3D 07"), "0: 9F 01 01, 1: 9E 02 01, 2: 8F 3D 07");
}

TEST(RoundRobinTool, canDealToTheChannelUsedLongestAgo) {
    ChainProbe probe(PipeToolType::roundRobin);
    probe.set("allocationMode", 1);
    probe.set("poolSize", 2);
    EXPECT_EQ(play(probe, "0: 90 3C 01, 1: 90 3D 01, 2: 90 3E 01"), "0: 90 3C 01, 1: 91 3D 01, 2: 90 3E 01");
    probe.set("poolSize", 3);
    EXPECT_EQ(play(probe, "0: 90 3F 01, 1: 90 40 01, 2: 81 40 01"), "0: 92 3F 01, 1: 91 40 01, 2: 81 40 01");
}

class QuantizeTest : public ::testing::Test {
protected:
    /// Ticks, and the number of the tick (from 1) with which each note left, in the order in which they did.
    std::string ticksOfNotes(int ticks) {
        std::string text;
        for (int tick = 1; tick <= ticks; ++tick) {
            probe.send({0xF8});
            EXPECT_EQ(textOf(probe.exited.back()), "F8 |");
            probe.exited.pop_back();
            for (const std::string& note : probe.taken()) text += std::to_string(tick) + ": " + note + "; ";
        }
        return text;
    }

    ChainProbe probe{PipeToolType::quantize};
};

TEST_F(QuantizeTest, holdsNotesUntilTheLine) {
    EXPECT_EQ(ticksOfNotes(5), "");
    EXPECT_EQ(probe.answer({0x90, 60, 1}), std::vector<std::string>{"- |"});
    EXPECT_EQ(probe.answer({0x90, 61, 1}, false), std::vector<std::string>{});
    EXPECT_EQ(ticksOfNotes(1), "");
    probe.answer({0x90, 62, 1});
    EXPECT_EQ(probe.answer({0x80, 60, 0}), std::vector<std::string>{"80 3C 00 |"});
    EXPECT_EQ(ticksOfNotes(18), "6: 90 3C 01; 6: 90 3D 01; 18: 90 3E 01 |; ");
}

TEST_F(QuantizeTest, drawsTheBorderByTheLookahead) {
    // Grid, lookahead, ticks before the note, and with which further tick it leaves.
    const std::vector<std::array<int, 4>> cases{{1, 0, 11, 1}, {1, 100, 0, 24}, {0, 50, 12, 36}, {3, 50, 1, 2},
                                                {3, 50, 2, 4}, {9, 0, 0, 18},   {5, 10, 17, 19}, {4, -900, 7, 1}};
    for (const auto& [grid, lookahead, ticksBefore, line] : cases) {
        ChainProbe fresh(PipeToolType::quantize);
        fresh.set("gridIndex", grid);
        fresh.set("lookahead", lookahead);
        for (int tick = 0; tick < ticksBefore; ++tick) fresh.send({0xF8});
        fresh.send({0x90, 60, 1});
        for (int tick = 1; tick <= line; ++tick)
            EXPECT_EQ(fresh.answer({0xF8}).size(), tick == line ? 2U : 1U) << grid << " " << lookahead << " " << tick;
    }
}

TEST_F(QuantizeTest, passesAtNoStrengthAndForgetsWhenItStops) {
    for (const double strength : {0.4, -3.0, std::numeric_limits<double>::quiet_NaN()}) {
        probe.tool->setLiveValue(strength, "strength");
        EXPECT_EQ(probe.answer({0x90, 60, 1}), std::vector<std::string>{"90 3C 01 |"}) << strength;
    }
    probe.tool->setLiveValue(0.5, "strength");
    probe.answer({0x90, 60, 1});
    probe.tool->stop();
    EXPECT_EQ(ticksOfNotes(24), "");
    int passed = 0;
    for (int count = 0; count < 300; ++count) passed += probe.answer({0x90, 60, 1})[0] != "- |";
    EXPECT_EQ(passed, 300 - 256) << "what finds no room passes";
}

}  // namespace
}  // namespace varnolex::testing
