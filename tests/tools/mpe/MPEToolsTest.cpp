#include "tools/Timeline.hpp"
#include "tools/mpe/MPEZoneSetupTool.hpp"

namespace varnolex::testing {
namespace {

TEST(MPEDistributorTool, givesEachNoteAChannel) {
    ChainProbe probe(PipeToolType::mpeDistributor);
    probe.set("autoSendConfig", false);
    probe.set("memberCount", 3);
    EXPECT_EQ(play(probe, "0: 90 3C 01, 1: 95 3C 01, 2: 90 3E 01, 3: 95 3C 00, 4: 90 3F 01"),
              "0: 91 3C 01, 1: 92 3C 01, 2: 93 3E 01, 3: 92 3C 00, 4: 92 3F 01");
    // The oldest gives way, and its end finds nothing.
    EXPECT_EQ(play(probe, "0: 90 40 01, 1: 80 3C 07, 2: 90 41 01 |, 3: 80 41 07"),
              "0: 81 3C 00, 0: 91 40 01, 1: 80 3C 07, 2: 83 3E 00, 2: 93 41 01 |, 3: 83 41 07");
    // A retriggered key takes another channel, and its former one is free.
    EXPECT_EQ(play(probe, "0: 90 3F 09, 1: 90 42 01"), "0: 93 3F 09, 1: 92 42 01");
    EXPECT_EQ(play(probe, "0: E5 01 02, 0: B5 01 02, 0: D5 09, 0: D5 09 00, 0: A5 3C 02, 0: C5 02, 0: F8"),
              "0: E0 01 02, 0: B0 01 02, 0: D0 09, 0: D0 09 00, 0: A5 3C 02, 0: C5 02, 0: F8");
    // What began in another zone ends there.
    probe.set("zoneType", 1);
    EXPECT_EQ(play(probe, "0: 90 46 01, 1: 90 47 01, 2: E5 01 02, 3: 80 40 00"),
              "0: 9C 46 01, 1: 9D 47 01, 2: EF 01 02, 3: 81 40 00");
}

TEST(MPEDistributorTool, tellsOfTheZoneWhenItIsNews) {
    ChainProbe probe(PipeToolType::mpeDistributor);
    EXPECT_EQ(probe.answer({0x90, 60, 1}).size(), 55U);
    probe.set("bendRange", 2);
    EXPECT_EQ(probe.answer({0x90, 61, 1}).size(), 1U);
    probe.set("zoneType", 1);
    probe.set("memberCount", 2);
    probe.send({0x90, 62, 1}, false);
    EXPECT_EQ(takenText(probe),
              "BF 65 00, BF 64 06, BF 06 02, BF 26 00, BF 65 7F, BF 64 7F, "
              "BD 65 00, BD 64 00, BD 06 02, BD 26 00, BD 65 7F, BD 64 7F, "
              "BE 65 00, BE 64 00, BE 06 02, BE 26 00, BE 65 7F, BE 64 7F |, 9D 3E 01");
    probe.set("autoSendConfig", false);
    probe.set("memberCount", 4);
    EXPECT_EQ(probe.answer({0x90, 63, 1}).size(), 1U);
}

TEST(MPEMergeTool, collapsesTheMembersOnly) {
    ChainProbe probe(PipeToolType::mpeMerge);
    probe.set("targetChannel", 3);
    EXPECT_EQ(play(probe, "0: 91 3C 01, 0: 88 3C 01, 0: A2 3C 01, 0: B2 4A 01, 0: E2 01 02, 0: D2 05, 0: D2 05 06"),
              "0: 93 3C 01, 0: 83 3C 01, 0: A3 3C 01, 0: B3 4A 01, 0: E3 01 02, 0: D3 05, 0: D3 05");
    const std::string others = "0: C2 05, 0: 90 3C 01, 0: 99 3C 01, 0: F2 3C 01, 0: F8";
    EXPECT_EQ(play(probe, others), others);
    probe.set("preservePitchBend", false);
    probe.set("preservePressure", false);
    probe.set("zoneType", 1);
    EXPECT_EQ(play(probe, "0: E7 01 02 |, 0: DE 05 |, 0: E6 01 02, 0: DF 05"), "0: - |, 0: - |, 0: E6 01 02, 0: DF 05");
}

TEST(MPEZoneSetupTool, sendsTheZoneOnDemandOnceAMessageHasPassed) {
    ChainProbe probe(PipeToolType::mpeZoneSetup);
    auto& tool = static_cast<MPEZoneSetupTool&>(*probe.tool);
    tool.sendConfigNow();
    EXPECT_EQ(takenText(probe), "");
    probe.send({0xF2, 1, 2}, false, 77);
    probe.set("zoneType", 1);
    probe.set("memberCount", 5);
    tool.sendConfigNow();
    EXPECT_EQ(probe.exited.back().timeStamp, 77U);
    EXPECT_EQ(takenText(probe), "F2 01 02, BF 65 00, BF 64 06, BF 06 05, BF 26 00, BF 65 7F, BF 64 7F |");
}

}  // namespace
}  // namespace varnolex::testing
