#include "tools/Dialogue.hpp"

namespace varnolex::testing {
namespace {

using namespace std::chrono_literals;

struct Numbers {
    PipeToolType assembler, disassembler;
    std::uint8_t msb, lsb, status;
};
constexpr Numbers kinds[] = {
    {PipeToolType::nrpnAssembler, PipeToolType::nrpnDisassembler, 99, 98, 0xF4},
    {PipeToolType::rpnAssembler, PipeToolType::rpnDisassembler, 101, 100, 0xF5},
};

TEST(ParameterNumberTools, foldFourControllersAndUnfoldThemAgain) {
    for (const Numbers& kind : kinds) {
        const std::vector<std::vector<std::uint8_t>> controllers{
            {0xB5, kind.msb, 1}, {0xB5, kind.lsb, 2}, {0xB5, 6, 3}, {0xB5, 38, 4}};
        const std::vector<std::uint8_t> event{kind.status, 5, 1, 2, 3, 4};
        ChainProbe probe(kind.assembler);
        for (const auto& controller : controllers) {
            EXPECT_EQ(takenText(probe).find("B5"), std::string::npos);
            probe.send(controller, true, 7000);
        }
        ASSERT_EQ(probe.exited.size(), 1u);
        EXPECT_EQ(probe.exited[0].bytes, event);
        EXPECT_EQ(probe.exited[0].timeStamp, 7000u);
        EXPECT_EQ(probe.runtime.pendingItems(), 0u);

        ChainProbe unfolding(kind.disassembler);
        unfolding.send(event, true, 7000);
        for (std::size_t index = 0; index < 4; ++index) {
            EXPECT_EQ(unfolding.exited.at(index).bytes, controllers[index]);
            EXPECT_EQ(unfolding.exited[index].isLastInBatch, index == 3);
        }
    }
    ChainProbe nrpn(PipeToolType::nrpnDisassembler);
    expectDialogue(nrpn, {{{0xF5, 0, 1, 2, 3, 4}, "F5 00 01 02 03 04 |"}, {{0xF4, 1}, "F4 01 |"}});
}

TEST(NRPNAssemblerTool, letsOutWhatDoesNotFormASequence) {
    ChainProbe probe(PipeToolType::nrpnAssembler);
    expectDialogue(probe, {
                              {{0xB0, 38, 1}, "B0 26 01 |"},
                              {{0xB0, 6, 1}, "B0 06 01 |"},
                              // A second start lets out the first.
                              {{0xB0, 99, 1}, "- |"},
                              {{0xB0, 98, 2}, "- |"},
                              {{0xB0, 99, 3}, "B0 63 01, B0 62 02 |, - |"},
                              // Another channel's sequence, and what isn't a controller, are apart from this one.
                              {{0xB1, 99, 9}, "- |"},
                              {{0x90, 60, 1}, "90 3C 01 |"},
                              {{0xB0, 38, 4}, "B0 63 03 |, B0 26 04 |"},
                              {{0xB1, 6, 9}, "B1 63 09 |, B1 06 09 |"},
                              // A part that comes again is the one that counts.
                              {{0xB0, 99, 1}, "- |"},
                              {{0xB0, 98, 2}, "- |"},
                              {{0xB0, 6, 3}, "- |"},
                              {{0xB0, 6, 4}, "- |"},
                              {{0xB0, 98, 5}, "- |"},
                              {{0xB0, 38, 6}, "F4 00 01 05 04 06 |"},
                              {{0xB0, 99, 1}, "- |"},
                              {{0xB0, 98, 2}, "- |"},
                              {{0xB0, 6, 3}, "- |"},
                              {{0xB0, 7, 4}, "B0 63 01, B0 62 02, B0 06 03 |, B0 07 04 |"},
                          });
}

TEST(NRPNAssemblerTool, letsTheControllersFollowTheEvent) {
    ChainProbe probe(PipeToolType::nrpnAssembler);
    probe.set("passOriginal", true);
    for (const std::uint8_t controller : {99, 98, 6}) probe.send({0xB0, controller, 1}, false);
    EXPECT_EQ(takenText(probe), "");
    expectDialogue(probe, {{{0xB0, 38, 1}, "F4 00 01 01 01 01, B0 63 01, B0 62 01, B0 06 01, B0 26 01 |"}});
}

TEST(NRPNAssemblerTool, waitsForTheNextControllerOnlyForATime) {
    ChainProbe probe(PipeToolType::nrpnAssembler);
    for (const std::uint8_t controller : {99, 98, 6}) {
        probe.send({0xB0, controller, 1}, false, 7000);
        probe.runtime.runFor(49ms);
    }
    EXPECT_EQ(takenText(probe), "");
    probe.runtime.runFor(1ms);
    ASSERT_EQ(probe.exited.size(), 3u);
    EXPECT_EQ(probe.exited[0].timeStamp, probe.runtime.hostTime());
    EXPECT_EQ(takenText(probe), "B0 63 01, B0 62 01, B0 06 01 |");

    // While it is disabled, and once it is stopped, what is held stays for the next controller.
    const auto expectHeld = [&] {
        EXPECT_EQ(takenText(probe), "");
        expectDialogue(probe, {{{0xB0, 7, 1}, "B0 63 01 |, B0 07 01 |"}});
    };
    probe.send({0xB0, 99, 1}, false);
    probe.tool->setEnabled(false);
    probe.runtime.runFor(1s);
    probe.tool->setEnabled(true);
    expectHeld();
    probe.send({0xB0, 99, 1}, false);
    probe.tool->stop();
    EXPECT_EQ(probe.runtime.pendingItems(), 0u);
    expectHeld();
}

}  // namespace
}  // namespace varnolex::testing
