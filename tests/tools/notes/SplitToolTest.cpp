#include "tools/Dialogue.hpp"

namespace varnolex::testing {
namespace {

TEST(SplitTool, movesTheSplitKeyAndWhatLiesAboveIt) {
    ChainProbe probe(PipeToolType::split);
    probe.set("outputChannel", 4);
    expectDialogue(probe, {
                              {{0x90, 60, 100}, "94 3C 64 |"},
                              {{0x90, 59, 100}, "90 3B 64 |"},
                              {{0x90, 60, 0}, "94 3C 00 |"},
                              {{0x80, 59, 7}, "80 3B 07 |"},
                              {{0x80, 100, 7}, "80 64 07 |"},
                              {{0xE0, 1, 2}, "E0 01 02 |"},
                          });
}

TEST(SplitTool, movesWhatLiesBelowTheSplitKey) {
    ChainProbe probe(PipeToolType::split);
    probe.set("isHigh", false);
    probe.set("outputChannel", 4);
    expectDialogue(probe, {{{0x90, 60, 100}, "90 3C 64 |"}, {{0x90, 59, 100}, "94 3B 64 |"}});
}

TEST(SplitTool, endsNotesWhereTheyBeganWhateverHasMoved) {
    ChainProbe probe(PipeToolType::split);
    probe.set("outputChannel", 4);
    expectDialogue(probe, {{{0x90, 59, 100}, "90 3B 64 |"}, {{0x90, 70, 100}, "94 46 64 |"}});
    probe.set("splitKey", 0);
    probe.tool->setLiveValue(9, "outputChannel");
    expectDialogue(probe,
                   {{{0x80, 59, 0}, "80 3B 00 |"}, {{0x80, 70, 0}, "84 46 00 |"}, {{0x90, 59, 1}, "99 3B 01 |"}});
}

TEST(SplitTool, shiftsWhatItMovesAndDropsWhatLeavesTheRange) {
    ChainProbe probe(PipeToolType::split);
    probe.set("transposeSteps", 12);
    expectDialogue(probe, {{{0x90, 60, 100}, "90 3C 64 |"}, {{0x80, 60, 0}, "80 3C 00 |"}});
    probe.set("transposeMoved", true);
    expectDialogue(probe, {
                              {{0x90, 60, 100}, "90 48 64 |"},
                              {{0x80, 60, 0}, "80 48 00 |"},
                              {{0x90, 116, 100}, "- |"},
                              // Nothing was remembered, so the end passes as it is.
                              {{0x80, 116, 0}, "80 74 00 |"},
                          });
    probe.tool->setLiveValue(-11.5, "transposeSteps");
    expectDialogue(probe, {{{0x90, 60, 100}, "90 30 64 |"}});
}

TEST(SplitTool, limitsWhatIsBeyondItsRanges) {
    ChainProbe probe(PipeToolType::split);
    probe.tool->setLiveValue(500, "splitKey");
    probe.tool->setLiveValue(99, "outputChannel");
    expectDialogue(probe, {{{0x90, 126, 100}, "90 7E 64 |"}, {{0x90, 127, 100}, "9F 7F 64 |"}});
}

}  // namespace
}  // namespace varnolex::testing
