#include "tools/Dialogue.hpp"

namespace varnolex::testing {
namespace {

TEST(LatchTool, endsANoteAtTheSecondPress) {
    ChainProbe probe(PipeToolType::latch);
    expectDialogue(probe, {{{0x90, 60, 100}, "90 3C 64 |"},
                           {{0x80, 60, 0}, "- |"},
                           {{0x91, 60, 100}, "91 3C 64 |"},
                           {{0x90, 60, 90}, "80 3C 00 |"},
                           {{0x90, 60, 0}, "- |"},
                           {{0x90, 60, 80}, "90 3C 50 |"}});
}

TEST(LatchTool, playsAgainWithoutToggling) {
    ChainProbe probe(PipeToolType::latch);
    probe.set("toggleMode", false);
    expectDialogue(probe, {{{0x90, 60, 100}, "90 3C 64 |"}, {{0x90, 60, 90}, "90 3C 5A |"}});
}

TEST(LatchTool, endsTheOthersWhenOneNoteExcludesThem) {
    ChainProbe probe(PipeToolType::latch);
    expectDialogue(probe, {{{0x9F, 127, 100}, "9F 7F 64 |"}, {{0x90, 0, 100}, "90 00 64 |"}});
    probe.set("exclusiveMode", true);
    expectDialogue(probe, {{{0x90, 64, 90}, "80 00 00, 8F 7F 00, 90 40 5A |"}, {{0x90, 64, 90}, "80 40 00 |"}});
}

TEST(LatchTool, releasesEverythingAheadOfAllNotesOff) {
    ChainProbe probe(PipeToolType::latch);
    expectDialogue(probe, {{{0x90, 60, 100}, "90 3C 64 |"},
                           {{0xB0, 122, 0}, "B0 7A 00 |"},
                           {{0xB5, 123, 0}, "80 3C 00, B5 7B 00 |"},
                           {{0xB5, 123, 0}, "B5 7B 00 |"}});
}

TEST(LatchTool, forgetsWhatItLatchedWhenItIsDisabled) {
    ChainProbe probe(PipeToolType::latch);
    expectDialogue(probe, {{{0x90, 60, 100}, "90 3C 64 |"}});
    probe.tool->setEnabled(false);
    probe.tool->setEnabled(true);
    expectDialogue(probe, {{{0x90, 60, 90}, "90 3C 5A |"}});
}

}  // namespace
}  // namespace varnolex::testing
