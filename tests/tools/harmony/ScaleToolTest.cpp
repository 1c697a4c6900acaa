#include "tools/Dialogue.hpp"

namespace varnolex::testing {
namespace {

TEST(ScaleTool, movesEachNoteToItsScale) {
    struct Case {
        int root, type, direction;
        std::uint8_t in, out;
    };
    const Case cases[] = {
        {0, 0, 0, 61, 62},
        {0, 0, 1, 61, 62},
        {0, 0, 2, 61, 60},
        {0, 0, 3, 61, 61},
        {0, 3, 2, 65, 64},
        {-10, 0, 0, 60, 61},
        {0, 5, 0, 62, 63},
        {0, 77, 1, 70, 71},
        {7, 4, 2, 69, 67},
        {0, 9, 2, 71, 60},
        // At both ends of the range there is only one way.
        {0, 9, 1, 127, 120},
        {9, 9, 2, 0, 9},
        {6, 9, 0, 127, 126},
    };
    for (const Case& one : cases) {
        ChainProbe probe(PipeToolType::scale);
        probe.set("rootKey", one.root);
        probe.set("scaleType", one.type);
        probe.set("direction", one.direction);
        probe.set("customMask", 1);
        probe.send({0x95, one.in, 100});
        EXPECT_EQ(probe.exited.at(0).bytes, (std::vector<std::uint8_t>{0x95, one.out, 100}))
            << one.root << " " << one.type << " " << one.direction << " " << int{one.in};
    }
}

TEST(ScaleTool, endsNotesWhereTheyBeganWhateverHasChanged) {
    ChainProbe probe(PipeToolType::scale);
    expectDialogue(probe, {{{0x90, 61, 100}, "90 3E 64 |"}});
    probe.set("scaleType", 9);
    probe.set("customMask", 0);
    expectDialogue(probe, {
                              {{0x91, 61, 100}, "91 3D 64 |"},
                              {{0x90, 61, 0}, "90 3E 00 |"},
                              {{0x80, 61, 7}, "80 3D 07 |"},
                              {{0xE0, 61, 7}, "E0 3D 07 |"},
                          });
}

}  // namespace
}  // namespace varnolex::testing
