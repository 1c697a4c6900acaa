#include "tools/Dialogue.hpp"

namespace varnolex::testing {
namespace {

TEST(MonophonicTool, playsTheLastNoteAndFallsBackToTheOneBeforeIt) {
    ChainProbe probe(PipeToolType::monophonic);
    expectDialogue(probe, {
                              {{0x90, 60, 100}, "90 3C 64 |"},
                              {{0x91, 64, 90}, "81 3C 00, 91 40 5A |"},
                              {{0x90, 67, 80}, "80 40 00, 90 43 50 |"},
                              {{0x80, 64, 0}, "- |"},
                              {{0x82, 67, 9}, "82 43 00, 92 3C 64 |"},
                              {{0x90, 60, 0}, "80 3C 00 |"},
                              {{0x80, 60, 0}, "- |"},
                              {{0xB0, 1, 2}, "B0 01 02 |"},
                          });
}

TEST(MonophonicTool, retriggersTheLowestNote) {
    ChainProbe probe(PipeToolType::monophonic);
    probe.set("mode", 1);
    expectDialogue(probe, {
                              {{0x90, 60, 100}, "90 3C 64 |"},
                              {{0x90, 64, 90}, "80 3C 00, 90 3C 64 |"},
                              {{0x80, 64, 0}, "- |"},
                              {{0x90, 65, 90}, "80 3C 00, 90 3C 64 |"},
                              {{0x80, 60, 0}, "80 3C 00, 90 41 5A |"},
                          });
}

TEST(MonophonicTool, playsTheHighestNote) {
    ChainProbe probe(PipeToolType::monophonic);
    probe.set("mode", 2);
    expectDialogue(probe, {{{0x90, 60, 100}, "90 3C 64 |"},
                           {{0x90, 64, 90}, "80 3C 00, 90 40 5A |"},
                           {{0x90, 62, 80}, "80 40 00, 90 40 5A |"},
                           {{0x80, 64, 0}, "80 40 00, 90 3E 50 |"}});
}

TEST(MonophonicTool, forgetsAKeyThatWasPressedTwiceAtItsFirstRelease) {
    ChainProbe probe(PipeToolType::monophonic);
    expectDialogue(probe, {{{0x90, 60, 100}, "90 3C 64 |"},
                           {{0x90, 60, 50}, "80 3C 00, 90 3C 32 |"},
                           {{0x80, 60, 0}, "80 3C 00 |"},
                           {{0x80, 60, 0}, "- |"}});
}

TEST(MonophonicTool, forgetsWhatIsHeldWhenItIsDisabled) {
    ChainProbe probe(PipeToolType::monophonic);
    expectDialogue(probe, {{{0x90, 60, 100}, "90 3C 64 |"}});
    probe.tool->setEnabled(false);
    probe.tool->setEnabled(true);
    expectDialogue(probe, {{{0x90, 64, 90}, "90 40 5A |"}, {{0x80, 64, 0}, "80 40 00 |"}});
}

}  // namespace
}  // namespace varnolex::testing
