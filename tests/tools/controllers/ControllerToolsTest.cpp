#include <cmath>

#include "tools/ToolCase.hpp"

namespace varnolex::testing {
namespace {

TEST(ControlSplitTool, rewritesItsController) {
    expectCases(PipeToolType::controlSplit,
                {
                    {{{"sourceCC", 1}, {"scaleEnabled", true}, {"inverse", true}},
                     {},
                     {{{0xB0, 1, 100}, "B0 01 1B |"}, {{0xB0, 2, 100}, "B0 02 64 |"}, {{0x90, 1, 9}, "90 01 09 |"}}},
                    {{{"limitEnabled", true}, {"limitMin", 20}, {"limitMax", 100}},
                     {},
                     {{{0xB0, 0, 10}, "- |"}, {{0xB0, 0, 101}, "- |"}, {{0xB0, 0, 100}, "B0 00 64 |"}}},
                    // The value is turned over before it is judged.
                    {{{"limitEnabled", true}, {"limitMin", 20}, {"inverse", true}}, {}, {{{0xB0, 0, 120}, "- |"}}},
                    {{{"scaleEnabled", true}, {"limitMin", 27}, {"scaleMin", 100}, {"scaleMax", 1}},
                     {},
                     {{{0xB0, 0, 28}, "B0 00 64 |"}, {{0xB0, 0, 29}, "B0 00 63 |"}, {{0xB0, 0, 0}, "B0 00 7E |"}}},
                    {{{"scaleEnabled", true}, {"scaleMin", 9}}, {{"limitMin", 127}}, {{{0xB0, 0, 50}, "B0 00 09 |"}}},
                    {{{"fromChannelOnly", true}, {"fromChannel", 2}, {"setChannel", true}, {"channelValue", 200}},
                     {{"destCC", 5}},
                     {{{0xB0, 0, 1}, "B0 00 01 |"}, {{0xB2, 0, 1}, "BF 00 01 |"}}},
                    {{{"setController", true}, {"destCC", 200}, {"duplicateOriginal", true}},
                     {{"sourceCC", 3.4}},
                     {{{0xB0, 3, 1}, "B0 03 01 |, B0 7F 01 |"}}},
                });
}

TEST(CCMapTool, mapsOneControllerOrAll) {
    expectCases(PipeToolType::ccMap,
                {
                    {{}, {}, {{{0xB0, 3, 1}, "B0 0B 01 |"}, {{0xB5, 99, 2}, "B5 0B 02 |"}, {{0xC0, 3}, "C0 03 |"}}},
                    {{{"sourceCC", 200}}, {}, {{{0xB0, 3, 1}, "B0 0B 01 |"}}},
                    {{{"sourceCC", -1}}, {}, {{{0xB0, 0, 1}, "B0 00 01 |"}}},
                    {{{"sourceCC", 3}, {"passOriginal", true}},
                     {},
                     {{{0xB0, 3, 1}, "B0 03 01, B0 0B 01 |"}, {{0xB0, 4, 1}, "B0 04 01 |"}}},
                    {{{"scalePercent", 200}}, {}, {{{0xB0, 3, 100}, "B0 0B 7F |"}, {{0xB0, 3, 9}, "B0 0B 12 |"}}},
                    {{{"outputMin", 90}, {"outputMax", 20}}, {}, {{{0xB0, 3, 100}, "B0 0B 5A |"}}},
                    {{},
                     {{"sourceCC", 4}, {"scalePercent", -50}},
                     {{{0xB0, 4, 9}, "B0 0B 00 |"}, {{0xB0, 3, 9}, "B0 03 09 |"}}},
                });
}

TEST(ToggleTool, switchesByTurnsOrForAsLongAsItIsPressed) {
    const ParameterAssignment alone{"forwardOriginal", false};
    expectCases(
        PipeToolType::toggle,
        {
            {{},
             {},
             {{{0x92, 60, 1}, "B2 40 7F, 92 3C 01 |"},
              {{0x82, 60, 1}, "82 3C 01 |"},
              {{0x90, 61, 1}, "90 3D 01 |"},
              {{0x92, 60, 1}, "B2 40 00, 92 3C 01 |"}}},
            {{alone},
             {{"triggerNote", 61}, {"onData2", 70.5}},
             {{{0x90, 60, 1}, "- |"}, {{0x90, 61, 1}, "B0 40 47 |"}, {{0x80, 61, 1}, "- |"}, {{0xF8}, "- |"}}},
            {{alone, {"mode", 1}, {"triggerType", 1}, {"changeChannel", true}, {"outputChannel", 9}},
             {{"offData2", 3}},
             {{{0xB0, 64, 64}, "B9 40 7F |"},
              {{0xB0, 64, 65}, "B9 40 7F |"},
              {{0xB0, 64, 63}, "B9 40 03 |"},
              {{0xB0, 63, 99}, "- |"}}},
            {{alone, {"triggerType", 2}, {"onStatus", 0xCF}, {"onSize", 2}, {"offStatus", 0xFA}, {"offSize", 0}},
             {},
             {{{0xC8, 1}, "C8 40 |"}, {{0xC8, 1}, "F8 |"}, {{0x90, 60, 1}, "- |"}}},
            {{alone, {"triggerType", 9}}, {}, {{{0x90, 60, 1}, "- |"}}},
        });
}

TEST(ThresholdTool, judgesAndSpreads) {
    const auto only = [](int mode) -> std::vector<ParameterAssignment> { return {{"mode", mode}}; };
    const auto spread = [](int mode) -> std::vector<ParameterAssignment> {
        return {{"mode", mode}, {"remapOutput", true}, {"remapMin", 100}, {"remapMax", 0}};
    };
    const auto in = [](std::uint8_t value) { return std::vector<std::uint8_t>{0xB0, 1, value}; };
    expectCases(
        PipeToolType::threshold,
        {
            {only(0), {}, {{in(31), "- |"}, {in(32), "B0 01 20 |"}, {in(127), "B0 01 7F |"}}},
            {only(1), {}, {{in(96), "- |"}, {in(95), "B0 01 5F |"}, {{0x90, 1, 99}, "90 01 63 |"}}},
            {only(2), {}, {{in(31), "- |"}, {in(32), "B0 01 20 |"}, {in(95), "B0 01 5F |"}, {in(96), "- |"}}},
            {only(3), {}, {{in(31), "B0 01 1F |"}, {in(32), "- |"}, {in(95), "- |"}, {in(96), "B0 01 60 |"}}},
            {only(4), {}, {{in(50), "B0 01 32 |"}}},
            {spread(0), {}, {{in(32), "B0 01 64 |"}, {in(127), "B0 01 00 |"}, {in(33), "B0 01 62 |"}}},
            {spread(1), {}, {{in(0), "B0 01 64 |"}, {in(95), "B0 01 00 |"}}},
            {spread(3), {}, {{in(0), "B0 01 64 |"}, {in(127), "B0 01 00 |"}}},
            {{{"remapOutput", true}}, {}, {{in(32), "B0 01 00 |"}, {in(64), "B0 01 40 |"}, {in(95), "B0 01 7F |"}}},
            {{{"remapOutput", true}, {"remapMin", 7}}, {{"highThreshold", 32}}, {{in(32), "B0 01 07 |"}}},
        });
}

TEST(EventConverterTool, makesOneTypeOfAnother) {
    const auto types = [](int input, int output) -> std::vector<ParameterAssignment> {
        return {{"inputType", input}, {"outputType", output}, {"outputCC", 9}};
    };
    expectCases(PipeToolType::eventConverter,
                {
                    {types(0, 1), {}, {{{0x93, 60, 5}, "B3 09 05 |"}, {{0x83, 60, 6}, "B3 09 06 |"}}},
                    {types(1, 0), {}, {{{0xB2, 60, 0}, "92 3C 00 |"}, {{0x90, 60, 5}, "90 3C 05 |"}}},
                    {types(1, 0), {{"inputCC", 4}}, {{{0xB2, 60, 0}, "B2 3C 00 |"}, {{0xB2, 4, 1}, "92 04 01 |"}}},
                    {types(0, 4), {}, {{{0x90, 60, 5}, "E0 3C 05 |"}}},
                    {types(2, 3), {}, {{{0xA0, 60, 5}, "D0 05 |"}}},
                    {types(3, 2), {}, {{{0xD0, 60}, "A0 3C 00 |"}}},
                    {types(4, 5), {}, {{{0xE0, 60, 5}, "C0 3C |"}, {{0xF8}, "F8 |"}}},
                    {types(5, 1), {{"outputCC", 1e9}}, {{{0xC0, 60}, "B0 7F 00 |"}}},
                    {types(5, 6), {}, {{{0xC0, 60}, "C0 3C |"}}},
                    {{{"exchange", true}, {"duplicate", true}}, {}, {{{0x90, 60, 5}, "90 3C 05 |, B0 00 3C |"}}},
                });
}

TEST(PNMapperTool, mapsPrograms) {
    ChainProbe probe(PipeToolType::pnMapper);
    probe.set("mapTable", std::vector<std::int64_t>{5, 200});
    expectDialogue(
        probe, {{{0xC4, 0}, "C4 05 |"}, {{0xC4, 1}, "C4 7F |"}, {{0xC4, 2}, "C4 02 |"}, {{0xB0, 0, 1}, "B0 00 01 |"}});
}

}  // namespace
}  // namespace varnolex::testing
