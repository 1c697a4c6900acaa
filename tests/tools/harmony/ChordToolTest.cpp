#include "tools/Dialogue.hpp"

namespace varnolex::testing {
namespace {

TEST(ChordTool, playsItsPresetOnEachNoteAndEndsItWithTheKey) {
    ChainProbe probe(PipeToolType::chord);
    expectDialogue(probe, {
                              {{0x93, 60, 100}, "93 3C 64, 93 40 64, 93 43 64 |"},
                              {{0x93, 60, 0}, "93 3C 00, 83 40 00, 83 43 00 |"},
                              {{0x80, 60, 9}, "80 3C 09 |"},
                              // What would lie beyond the last note is left out.
                              {{0x90, 121, 1}, "90 79 01, 90 7D 01 |"},
                              {{0x90, 125, 1}, "90 7D 01 |"},
                              {{0xB0, 1, 2}, "B0 01 02 |"},
                          });
}

TEST(ChordTool, knowsEachPresetAndTheUsersOwn) {
    struct Case {
        int preset;
        std::vector<std::int64_t> custom;
        std::string out;
    };
    const Case cases[] = {
        {30, {}, "90 3C 64, 90 40 64, 90 43 64, 90 46 64, 90 49 64 |"},
        {46, {1}, "90 3C 64, 90 3E 64, 90 41 64, 90 43 64 |"},
        {-1, {1}, "90 3C 64, 90 40 64, 90 43 64 |"},
        {45, {}, "90 3C 64 |"},
        {45, {12, -3, 1000, 12, -61}, "90 3C 64, 90 48 64, 90 39 64, 90 48 64 |"},
    };
    for (const Case& one : cases) {
        ChainProbe probe(PipeToolType::chord);
        probe.set("preset", one.preset);
        probe.set("customIntervals", one.custom);
        expectDialogue(probe, {{{0x90, 60, 100}, one.out}});
    }
}

TEST(ChordTool, keepsTheRootSilent) {
    ChainProbe probe(PipeToolType::chord);
    probe.set("preset", 41);
    expectDialogue(probe, {{{0x90, 62, 100}, "90 3E 64, 90 4A 64 |"}});
    probe.set("suppressRoot", true);
    expectDialogue(probe, {
                              {{0x90, 60, 100}, "90 48 64 |"},
                              {{0x80, 60, 0}, "80 48 00 |"},
                              {{0x90, 120, 100}, "- |"},
                              {{0x80, 120, 0}, "- |"},
                              // It was heard when it began.
                              {{0x80, 62, 0}, "80 3E 00, 80 4A 00 |"},
                          });
}

TEST(ChordTool, forgetsWhatSoundsWhenThePresetChangesOrItIsDisabled) {
    ChainProbe probe(PipeToolType::chord);
    const auto press = [&] { expectDialogue(probe, {{{0x90, 60, 100}, "90 3C 64, 90 40 64, 90 43 64 |"}}); };
    press();
    probe.set("customIntervals", std::vector<std::int64_t>{1});
    expectDialogue(probe, {{{0x80, 60, 0}, "80 3C 00, 80 40 00, 80 43 00 |"}});
    press();
    probe.set("preset", 1);
    probe.set("preset", 0);
    expectDialogue(probe, {{{0x80, 60, 0}, "80 3C 00 |"}});
    press();
    probe.tool->setEnabled(false);
    probe.tool->setEnabled(true);
    expectDialogue(probe, {{{0x80, 60, 0}, "80 3C 00 |"}});
}

}  // namespace
}  // namespace varnolex::testing
