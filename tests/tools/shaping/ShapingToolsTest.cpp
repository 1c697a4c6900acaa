#include <algorithm>
#include <cmath>
#include <set>

#include "tools/ToolCase.hpp"

namespace varnolex::testing {
namespace {

TEST(VelocityModifierTool, scalesShiftsAndLimits) {
    expectCases(
        PipeToolType::velocityModifier,
        {
            {{{"scalePercent", 50}},
             {},
             {{{0x90, 60, 101}, "90 3C 32 |"},
              {{0x80, 60, 101}, "80 3C 32 |"},
              {{0x90, 60, 0}, "90 3C 00 |"},
              {{0xA0, 60, 101}, "A0 3C 65 |"},
              {{0x80, 60}, "80 3C |"}}},
            {{{"scalePercent", 200}, {"maxValue", 120}}, {}, {{{0x90, 60, 101}, "90 3C 78 |"}}},
            {{{"scalePercent", 33}, {"shiftValue", -1}}, {}, {{{0x90, 60, 101}, "90 3C 20 |"}}},
            {{{"clipMode", 1}, {"minValue", 80}, {"maxValue", 120}},
             {},
             {{{0x90, 60, 127}, "90 3C 78 |"}, {{0x80, 60, 0}, "80 3C 50 |"}, {{0x90, 60, 64}, "90 3C 64 |"}}},
            {{{"clipMode", 1}, {"minValue", 120}, {"maxValue", 20}}, {}, {{{0x90, 60, 1}, "90 3C 78 |"}}},
            {{{"clipMode", 2}, {"minValue", 100}},
             {},
             {{{0x90, 60, 50}, "- |"}, {{0x80, 60, 64}, "- |"}, {{0x90, 60, 100}, "90 3C 64 |"}}},
            {{{"clipMode", 3}, {"minValue", 100}}, {}, {{{0x90, 60, 50}, "90 3C 32 |"}}},
            {{}, {{"scalePercent", -1e9}, {"shiftValue", 20.5}, {"minValue", NAN}}, {{{0x90, 60, 9}, "90 3C 00 |"}}},
        });
}

TEST(CurveTransformerTool, bendsWhatItIsAppliedTo) {
    struct Case {
        int curveType;
        double intensity;
        std::uint8_t value;
        int bent;
    };
    const std::vector<Case> cases{{0, 1, 32, 32},   {1, 0, 77, 77},    {1, 1, 32, 90}, {2, 1, 90, 32},
                                  {2, 1, 0, 0},     {3, 0.5, 64, 64},  {3, 1, 32, 8},  {4, 1, 1, 126},
                                  {4, 1, 126, 1},   {4, 1, 127, 127},  {4, 1, 0, 0},   {7, 1, 32, 32},
                                  {1, NAN, 32, 32}, {2, -1e9, 32, 32}, {2, 1e9, 32, 0}};
    ChainProbe probe(PipeToolType::curveTransformer);
    for (const Case& one : cases) {
        probe.set("curveType", one.curveType);
        probe.set("intensity", one.intensity);
        for (int round = 0; round < 2; ++round) {
            probe.taken();
            probe.send({0xB3, 7, one.value});
            EXPECT_EQ(probe.exited.at(0).bytes.at(2), one.bent)
                << int{one.value} << " on curve " << one.curveType << " by " << one.intensity;
        }
    }
}

TEST(CurveTransformerTool, leavesTheRestAlone) {
    const std::vector<Exchange> ends{{{0x80, 60, 1}, "80 3C 01 |"}, {{0xE0, 1, 1}, "E0 01 01 |"}, {{0xF8}, "F8 |"}};
    expectCases(
        PipeToolType::curveTransformer,
        {
            {{{"curveType", 4}},
             {},
             {{{0x90, 60, 1}, "90 3C 7E |"}, {{0xD5, 1}, "D5 7E |"}, {{0xD5, 1, 9}, "D5 7E 09 |"}}},
            {{{"curveType", 4}}, {}, ends},
            {{{"curveType", 4}, {"applyTo", 0}}, {}, {{{0x90, 60, 1}, "90 3C 7E |"}, {{0xB0, 1, 1}, "B0 01 01 |"}}},
            {{{"curveType", 4}, {"applyTo", 1}}, {}, {{{0x90, 60, 1}, "90 3C 01 |"}, {{0xA0, 1, 1}, "A0 01 7E |"}}},
            // The port counts in percent.
            {{{"curveType", 1}}, {{"intensity", 100}}, {{{0x90, 60, 32}, "90 3C 5A |"}}},
        });
}

TEST(SetTool, forcesWhatIsSwitchedOn) {
    const std::vector<ParameterAssignment> all{
        {"overrideNote", true},    {"overrideOnVelocity", true}, {"overrideOffVelocity", true},
        {"overrideProgram", true}, {"programValue", 200},        {"overridePressure", true},
        {"pressureValue", 5},      {"overridePitchWheel", true}, {"pitchWheelValue", 300},
        {"overrideChannel", true}, {"channelValue", 3}};
    expectCases(PipeToolType::set,
                {
                    {{}, {}, {{{0x90, 61, 1}, "90 3D 01 |"}, {{0xF0, 1, 2, 0xF7}, "F0 01 02 F7 |"}}},
                    {all,
                     {},
                     {{{0x90, 61, 0}, "93 3C 64 |"},
                      {{0x81, 61, 0}, "83 3C 40 |"},
                      {{0xA0, 61, 1}, "A3 3C 05 |"},
                      {{0xB0, 61, 1}, "B3 3D 01 |"},
                      {{0xC0, 61}, "C3 7F |"},
                      {{0xD0, 61}, "D3 05 |"},
                      {{0xE0, 61, 1}, "E3 2C 02 |"},
                      {{0xF8}, "F8 |"},
                      {{0x90, 61}, "93 3C |"}}},
                    {all, {{"channelValue", 1}, {"noteValue", 300}}, {{{0x94, 61, 1}, "90 7F 64 |"}}},
                    {{{"overrideCCValue", true}, {"ccController", 7}, {"ccValue", 9}},
                     {},
                     {{{0xB0, 7, 1}, "B0 07 09 |"}, {{0xB0, 8, 1}, "B0 08 01 |"}, {{0xB0, 7}, "B0 07 |"}}},
                    {{{"overrideNote", true}, {"duplicate", true}}, {}, {{{0x90, 61, 1}, "90 3C 01, 90 3C 01 |"}}},
                });
}

class RandomizerTool : public ::testing::Test {
protected:
    /// What one message becomes.
    std::vector<std::uint8_t> sent(const std::vector<std::uint8_t>& bytes) {
        probe.send(bytes);
        const std::vector<std::uint8_t> left = probe.exited.at(0).bytes;
        probe.exited.clear();
        return left;
    }

    ChainProbe probe{PipeToolType::randomizer};
};

TEST_F(RandomizerTool, drawsWithinItsLimits) {
    for (const char* key : {"randomizeVelocity", "randomizeCCValue", "randomizePressure"}) probe.set(key, true);
    for (const char* kind : {"ccValue", "pressure"}) {
        probe.set(std::string(kind) + "Min", 10);
        probe.set(std::string(kind) + "Max", 12);
    }
    probe.set("velocityMin", 10);
    probe.tool->setLiveValue(12, "velocityMax");
    const std::set<int> all{10, 11, 12};
    for (const std::vector<std::uint8_t>& bytes :
         {std::vector<std::uint8_t>{0x90, 60, 1}, {0xA0, 60, 1}, {0xB0, 60, 1}, {0xD0, 1}}) {
        std::set<int> seen;
        for (int count = 0; count < 200; ++count) seen.insert(sent(bytes).back());
        EXPECT_EQ(seen, all) << int{bytes[0]};
    }
    probe.set("velocityMin", 99);
    expectDialogue(probe, {{{0x90, 60, 1}, "90 3C 63 |"}, {{0x90, 60, 0}, "90 3C 00 |"}, {{0xE0, 1, 2}, "E0 01 02 |"}});
    probe.set("pressureMax", 10);
    expectDialogue(probe, {{{0xD0, 1, 5}, "D0 0A 05 |"}});
}

TEST_F(RandomizerTool, endsOverlappingNotesInReverseOrder) {
    probe.set("randomizeNote", true);
    std::vector<int> begun;
    for (int count = 0; count < 20; ++count) begun.push_back(sent({0x91, 60, 100})[1]);
    EXPECT_GT(std::set<int>(begun.begin(), begun.end()).size(), 5u);
    expectDialogue(probe, {{{0x80, 60, 1}, "80 3C 01 |"}});
    // What sounds ends where it began, whatever has been switched since.
    probe.set("randomizeNote", false);
    std::vector<int> ended;
    for (int count = 0; count < 20; ++count)
        ended.push_back(sent({static_cast<std::uint8_t>(count % 2 ? 0x91 : 0x81), 60, 0})[1]);
    std::ranges::reverse(ended);
    EXPECT_EQ(ended, begun);
    expectDialogue(probe, {{{0x81, 60, 1}, "81 3C 01 |"}});
}

TEST_F(RandomizerTool, goesOnWhenNotesNeverEnd) {
    probe.set("randomizeNote", true);
    std::vector<int> begun;
    for (int count = 0; count < 100'000; ++count) begun.push_back(sent({0x90, 60, 100})[1]);
    for (int count = 0; count < 20; ++count, begun.pop_back()) EXPECT_EQ(sent({0x80, 60, 0})[1], begun.back());
}

}  // namespace
}  // namespace varnolex::testing
