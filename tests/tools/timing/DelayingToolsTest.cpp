#include <algorithm>

#include "tools/Timeline.hpp"
#include "tools/timing/DelayedMessages.hpp"

namespace varnolex::testing {
namespace {

using namespace std::chrono_literals;

TEST(DelayTool, sendsEverythingLaterByTheSameTime) {
    ChainProbe probe(PipeToolType::delay);
    EXPECT_EQ(play(probe, "0: 90 3C 01"), "0: 90 3C 01");
    probe.set("delayMs", 70);
    EXPECT_EQ(play(probe, "0: 90 3C 01, 0: F8 |, 30: 80 3C 00 |"), "70: 90 3C 01 |, 70: F8 |, 100: 80 3C 00 |");
    probe.tool->setLiveValue(9000, "delayMs");
    EXPECT_EQ(play(probe, "0: F8 |"), "5000: F8 |");
    probe.tool->setLiveValue(std::numeric_limits<double>::infinity(), "delayMs");
    EXPECT_EQ(play(probe, "0: FE |"), "0: FE |");
}

TEST(DelayTool, discardsWhatIsUnderWayWhenItStopsOrIsSwitchedOff) {
    for (const bool isStop : {false, true}) {
        ChainProbe probe(PipeToolType::delay);
        probe.set("delayMs", 50);
        probe.send({0x90, 60, 1});
        probe.send(std::vector<std::uint8_t>(300, 0x11));
        isStop ? probe.tool->stop() : probe.tool->setEnabled(false);
        probe.tool->setEnabled(true);
        EXPECT_EQ(play(probe, "10: 90 3D 01 |"), "60: 90 3D 01 |");
    }
}

// More than may wait: the first leave early, and none is lost or overtakes another.
TEST(DelayTool, losesNothingWhenTooMuchWaits) {
    ChainProbe probe(PipeToolType::delay);
    probe.set("delayMs", 5000);
    constexpr std::size_t excess = 4000;
    constexpr std::size_t count = DelayedMessages::capacity + excess;
    for (std::size_t number = 0; number < count; ++number)
        probe.send({0xF2, static_cast<std::uint8_t>(number / 128 % 128), static_cast<std::uint8_t>(number % 128)}, true,
                   77);
    EXPECT_EQ(probe.exited.size(), excess);
    const std::vector<std::uint8_t> longOne(9 << 20, 0x11);
    probe.send(longOne);
    EXPECT_EQ(probe.exited.size(), excess + 1);
    probe.send(longOne);
    EXPECT_EQ(probe.exited.size(), count + 1) << "two are too long to wait together";
    probe.runtime.runFor(5s);
    ASSERT_EQ(probe.exited.size(), count + 2);
    EXPECT_EQ(probe.exited.back().bytes, longOne);
    for (std::size_t number = 0; number < count; ++number) {
        ASSERT_EQ(probe.exited[number].bytes[1] * 128U + probe.exited[number].bytes[2], number % 16384);
        ASSERT_EQ(probe.exited[number].timeStamp, 77U);
    }
}

TEST(DuplicateTool, sendsACopyBehindEachMessageOfThreeBytes) {
    ChainProbe probe(PipeToolType::duplicate);
    expectDialogue(probe, {{{0x91, 60, 100}, "91 3C 64, 91 3C 64 |"}, {{0xC0, 5}, "C0 05 |"}, {{0xF8}, "F8 |"}});
    probe.set("transposeSteps", 12);
    probe.set("outputChannel", 5);
    expectDialogue(probe, {
                              {{0x90, 60, 100}, "90 3C 64, 94 48 64 |"},
                              {{0x90, 120, 100}, "90 78 64 |"},
                              {{0x80, 120, 0}, "80 78 00 |"},
                              {{0xB1, 120, 7}, "B1 78 07, B4 78 07 |"},
                              {{0xF2, 1, 2}, "F2 01 02, F2 01 02 |"},
                          });
    probe.set("velocityScale", 200);
    probe.tool->setLiveValue(0, "transposeSteps");
    expectDialogue(probe, {{{0x90, 60, 100}, "90 3C 64, 94 3C 7F |"}, {{0x80, 60, 3}, "80 3C 03, 84 3C 06 |"}});
}

TEST(DuplicateTool, sendsCopiesLaterWithoutKeepingTheOriginals) {
    ChainProbe probe(PipeToolType::duplicate);
    probe.set("delayMs", 40);
    EXPECT_EQ(play(probe, "0: 90 3C 01, 0: 90 40 01 |, 20: 80 3C 00"),
              "0: 90 3C 01, 0: 90 40 01, 0: - |, 20: 80 3C 00, 40: 90 3C 01, 40: 90 40 01 |, 60: 80 3C 00, 60: - |");
    probe.send({0x90, 60, 1});
    probe.tool->setEnabled(false);
    EXPECT_EQ(play(probe, ""), "") << "a copy that comes due while the tool is off";
}

TEST(DurationTool, letsShortNotesWaitForTheirLength) {
    ChainProbe probe(PipeToolType::durationTool);
    EXPECT_EQ(play(probe, "0: 90 3C 01 |, 30: 80 3C 05 |"), "0: 90 3C 01 |, 30: - |, 100: 80 3C 05 |");
    EXPECT_EQ(play(probe, "0: 91 3C 01 |, 30: 80 3C 05 |, 100: 91 3C 00 |"),
              "0: 91 3C 01 |, 30: 80 3C 05 |, 100: 91 3C 00 |");
    probe.tool->setLiveValue(0, "durationMs");
    EXPECT_EQ(play(probe, "0: 90 3C 01 |, 1: 80 3C 05 |"), "0: 90 3C 01 |, 1: 80 3C 05 |");
    probe.tool->setLiveValue(std::nullopt, "durationMs");
    for (const std::uint8_t status : {0x90, 0x80, 0x90}) probe.send({status, 60, 1});
    probe.tool->stop();
    EXPECT_EQ(play(probe, "0: 80 3C 00 |"), "0: 80 3C 00 |");
}

TEST(HumanizeTool, drawsVelocitiesAndDelaysForNoteOnsAlone) {
    ChainProbe probe(PipeToolType::humanize);
    probe.set("velocitySpread", 3);
    probe.set("timingSpread", 2);
    std::array<int, 128> velocities{};
    std::array<int, 5> delays{};
    for (int count = 0; count < 600; ++count) {
        const HostTime began = probe.runtime.hostTime();
        probe.send({0x90, 60, static_cast<std::uint8_t>(1 + count % 3 * 63)}, false);
        probe.runtime.runFor(10ms);
        const Exited& note = probe.exited.back();
        ++velocities[note.bytes[2]];
        ASSERT_EQ((note.at - began) % 1'000'000, 0U);
        EXPECT_EQ(note.isLastInBatch, note.at != began);
        ++delays.at((note.at - began) / 1'000'000);
    }
    EXPECT_EQ(probe.exited.size(), 600U);
    EXPECT_GT(std::ranges::min(delays), 60);
    EXPECT_EQ(velocities[0] + std::ranges::count(velocities, 0), 128 - 4 - 7 - 4);
    EXPECT_EQ(play(probe, "0: 80 3C 03 |, 0: 90 3C 00 |, 0: B0 01 02"), "0: 80 3C 03 |, 0: 90 3C 00 |, 0: B0 01 02");
}

TEST(StrumTool, playsAChordOverTheSpreadAndKeepsLengths) {
    ChainProbe probe(PipeToolType::strum);
    EXPECT_EQ(play(probe, "0: 90 43 01 |, 5: 90 3C 02, 10: 90 48 03 |, 24: 90 40 04, 100: 80 48 00 |, 100: 90 3C 00 |"),
              "0: - |, 10: - |, 44: 90 3C 02, 44: - |, 54: 90 40 04, 54: - |, 64: 90 43 01, 64: - |, "
              "74: 90 48 03 |, 100: - |, 100: 90 3C 00 |, 130: 80 48 00 |");
    probe.set("direction", 1);
    probe.tool->setLiveValue(11, "spreadMs");
    EXPECT_EQ(play(probe, "0: 90 3C 01, 0: 90 3E 02, 0: 90 40 03, 26: 90 1E 01, 90: 80 3E 00, 90: 80 3C 00"),
              "20: 90 40 03, 20: - |, 25: 90 3E 02, 25: - |, 31: 90 3C 01, 31: - |, 46: 90 1E 01, 46: - |, "
              "95: 80 3E 00 |, 101: 80 3C 00 |");
}

TEST(StrumTool, stopsWithoutATraceAndTakesAnyNumberOfNotes) {
    ChainProbe probe(PipeToolType::strum);
    for (const std::uint8_t note : {60, 72}) probe.send({0x90, note, 1});
    probe.runtime.runFor(25ms);
    probe.send({0x90, 50, 1});
    probe.tool->stop();
    EXPECT_EQ(play(probe, "0: 80 48 00 |"), "0: 80 48 00 |");
    for (int count = 0; count < 1000; ++count) probe.send({0x90, static_cast<std::uint8_t>(count % 128), 1});
    probe.runtime.runFor(1s);
    EXPECT_EQ(std::ranges::count_if(probe.exited, [](const Exited& one) { return !one.bytes.empty(); }), 1000);
}

}  // namespace
}  // namespace varnolex::testing
