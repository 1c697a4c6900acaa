#include <cmath>

#include "support/AllocationTrap.hpp"
#include "tools/Dialogue.hpp"

namespace varnolex::testing {
namespace {

using namespace std::chrono_literals;

class SmoothTool : public ::testing::Test {
protected:
    /// The values of controller 7 that leave in the given time.
    std::vector<int> valuesIn(Nanoseconds time) {
        probe.exited.clear();
        probe.runtime.runFor(time);
        std::vector<int> values;
        for (const Exited& one : probe.exited) {
            EXPECT_TRUE(one.isLastInBatch && one.timeStamp == one.at && one.bytes.at(1) == 7);
            values.push_back(one.bytes.at(2));
        }
        return values;
    }

    ChainProbe probe{PipeToolType::smooth};
};

TEST_F(SmoothTool, glidesAtOneSpeed) {
    expectDialogue(probe, {{{0xB2, 7, 0}, "B2 07 00 |"}, {{0xB2, 7, 127}, "- |"}, {{0xE0, 1, 2}, "E0 01 02 |"}});
    const HostTime sent = probe.runtime.hostTime();
    EXPECT_EQ(valuesIn(201ms), (std::vector<int>{11, 21, 32, 42, 53, 64, 74, 85, 95, 106, 116, 127}));
    EXPECT_EQ(probe.exited.at(0).bytes.at(0), 0xB2);
    EXPECT_EQ(probe.exited.at(0).at, sent + 16'666'666);
    EXPECT_EQ(probe.runtime.pendingItems(), 0u);
    probe.send({0xB2, 7, 100});
    EXPECT_EQ(valuesIn(1s), (std::vector<int>{116, 106, 100}));
    probe.set("slewMs", 0);
    probe.send({0xB2, 7, 0});
    EXPECT_EQ(valuesIn(1s), std::vector<int>{0});
    for (const double slew : {double{NAN}, -5.0, 1.9}) {
        probe.tool->setLiveValue(slew, "slewMs");
        probe.send({0xB2, 7, static_cast<std::uint8_t>(slew > 0 ? 1 : 99)});
        EXPECT_LE(valuesIn(1s).size(), 1u) << slew;
    }
}

TEST_F(SmoothTool, keepsControllersAndChannelsApart) {
    expectDialogue(probe, {{{0xB0, 7, 0}, "B0 07 00 |"}, {{0xB1, 7, 9}, "B1 07 09 |"}, {{0xB0, 8, 50}, "B0 08 32 |"}});
    expectDialogue(probe, {{{0xB1, 7, 19}, "- |"}, {{0xB0, 7, 10}, "- |"}});
    probe.runtime.runFor(17ms);
    EXPECT_EQ(takenText(probe), "B0 07 0A |, B1 07 13 |");
}

TEST_F(SmoothTool, passesWhatIsWithinTheThreshold) {
    probe.set("threshold", 5);
    expectDialogue(probe, {{{0xB0, 7, 50}, "B0 07 32 |"}, {{0xB0, 7, 55}, "B0 07 37 |"}, {{0xB0, 7, 61}, "- |"}});
    // A near value ends the glide.
    expectDialogue(probe, {{{0xB0, 7, 54}, "B0 07 36 |"}});
    EXPECT_EQ(valuesIn(1s), std::vector<int>{});
    EXPECT_EQ(probe.runtime.pendingItems(), 0u);
    probe.tool->setLiveValue(NAN, "threshold");
    expectDialogue(probe, {{{0xB0, 7, 55}, "- |"}});
}

TEST_F(SmoothTool, holdsAGlideWhileItIsOffAndGoesOnAfterwards) {
    probe.send({0xB0, 7, 0});
    probe.send({0xB0, 7, 40});
    EXPECT_EQ(valuesIn(17ms), std::vector<int>{11});
    probe.tool->setEnabled(false);
    EXPECT_EQ(probe.runtime.pendingItems(), 0u);
    EXPECT_EQ(valuesIn(1s), std::vector<int>{});
    probe.tool->setEnabled(true);
    EXPECT_EQ(valuesIn(17ms), std::vector<int>{21});
    probe.tool->stop();
    probe.tool->setEnabled(false);
    probe.tool->setEnabled(true);
    EXPECT_EQ(probe.runtime.pendingItems(), 0u);
    probe.tool->chainWasWired(0);
    EXPECT_EQ(valuesIn(1s), (std::vector<int>{32, 40}));
}

TEST_F(SmoothTool, staysAwayFromTheHeapWhileItGlides) {
    probe.chain->setMessageDidExit(nullptr);
    const auto play = [&] {
        for (std::uint8_t value = 0; value < 60; ++value) {
            const ShortMessage control = ShortMessage::controller(0, 7, value % 2 ? 0 : 127);
            probe.chain->send(ChainMessage{}.carrying(control));
            probe.runtime.runFor(value % 3 ? 40ms : 400ms);
        }
    };
    play();
    const AllocationTrap trap;
    play();
    EXPECT_EQ(trap.count(), 0u);
}

}  // namespace
}  // namespace varnolex::testing
