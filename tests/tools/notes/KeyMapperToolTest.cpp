#include <numeric>

#include "tools/Dialogue.hpp"

namespace varnolex::testing {
namespace {

TEST(KeyMapperTool, mapsNotesAndTheirPressure) {
    ChainProbe probe(PipeToolType::keyMapper);
    std::vector<std::int64_t> map(128);
    std::iota(map.begin(), map.end(), 0);
    map[60] = 72;
    map[61] = 200;
    probe.set("mapTable", ParameterValue(map));
    const std::vector<Exchange> mapped{
        {{0x90, 60, 100}, "90 48 64 |"},
        {{0x85, 60, 0}, "85 48 00 |"},
        {{0xA0, 60, 9}, "A0 48 09 |"},
        {{0x90, 60}, "90 48 |"},
        {{0x90, 61, 1}, "- |"},
        {{0xB0, 60, 9}, "B0 3C 09 |"},
        {{0xFE}, "FE |"},
    };
    expectDialogue(probe, mapped);
    probe.set("octaveShift", -6);
    expectDialogue(probe, {{{0x90, 60, 100}, "90 00 64 |"}, {{0x90, 59, 1}, "- |"}, {{0x90, 61, 1}, "- |"}});
    probe.set("octaveShift", -8);
    expectDialogue(probe, {{{0x90, 61, 1}, "90 68 01 |"}});
}

TEST(KeyMapperTool, refusesEntriesThatAreNoBytes) {
    ChainProbe probe(PipeToolType::keyMapper);
    EXPECT_THROW(probe.set("mapTable", ParameterValue(std::vector<std::int64_t>{256})), ParameterError);
    expectDialogue(probe, {{{0x90, 0, 100}, "90 00 64 |"}});
}

}  // namespace
}  // namespace varnolex::testing
