#include "tools/Dialogue.hpp"

namespace varnolex::testing {
namespace {

TEST(TransposeTool, shiftsNotesAndLeavesTheRestAlone) {
    ChainProbe probe(PipeToolType::transpose);
    probe.set("semitones", 12);
    expectDialogue(probe, {
                              {{0x93, 60, 100}, "93 48 64 |"},
                              {{0x83, 60, 64}, "83 48 40 |"},
                              {{0x93, 60, 0}, "93 48 00 |"},
                              {{0xA3, 60, 5}, "A3 3C 05 |"},
                              {{0xB0, 60, 5}, "B0 3C 05 |"},
                              {{0x90, 60}, "90 3C |"},
                              {{0xF8}, "F8 |"},
                              {{0x90, 120, 100}, "- |"},
                              {{0x80, 120, 0}, "- |"},
                          });
}

TEST(TransposeTool, endsANoteWhereItBegan) {
    ChainProbe probe(PipeToolType::transpose);
    expectDialogue(probe, {{{0x90, 60, 100}, "90 3C 64 |"}});
    probe.set("semitones", 5);
    expectDialogue(probe,
                   {{{0x91, 60, 100}, "91 41 64 |"}, {{0x80, 60, 0}, "80 3C 00 |"}, {{0x80, 60, 0}, "80 41 00 |"}});
}

TEST(TransposeTool, followsALiveValueWhileItIsSet) {
    ChainProbe probe(PipeToolType::transpose);
    probe.set("semitones", 1);
    probe.tool->setLiveValue(-2.5, "semitones");
    expectDialogue(probe, {{{0x90, 60, 100}, "90 39 64 |"}});
    probe.tool->setLiveValue(std::nullopt, "semitones");
    probe.tool->setLiveValue(7, "unknown");
    expectDialogue(probe, {{{0x90, 61, 100}, "90 3E 64 |"}, {{0x80, 60, 0}, "80 39 00 |"}});
    EXPECT_EQ(std::get<std::int64_t>(parameterOf(*probe.tool, "semitones")), 1);
}

TEST(TransposeTool, canBeLimitedToOneChannel) {
    ChainProbe probe(PipeToolType::transpose);
    probe.set("semitones", 1);
    probe.set("fromChannelOnly", true);
    probe.set("fromChannel", 2);
    expectDialogue(probe, {{{0x92, 60, 100}, "92 3D 64 |"}, {{0x91, 60, 100}, "91 3C 64 |"}});
}

}  // namespace
}  // namespace varnolex::testing
