#include "tools/Dialogue.hpp"
#include "tools/harmony/ChordDetectorTool.hpp"
#include "tools/harmony/ChordRecognition.hpp"

namespace varnolex::testing {
namespace {

using namespace std::chrono_literals;

TEST(ChordRecognition, findsTheBestChord) {
    struct Case {
        PitchClassSet sounding;
        int bass;
        std::string name;
    };
    const Case cases[] = {
        {{0, 4, 7}, 0, "C"},
        {{0, 4, 7}, 4, "C"},
        {{0, 4, 9}, 0, "Am"},
        // The seventh chord without its fifth counts more than the chord of three.
        {{0, 4, 10}, 0, "C7"},
        {{1, 4, 11}, 1, "C#m7"},
        {{0, 7}, 7, "C5"},
        // The same four classes: the bass decides.
        {{0, 4, 7, 9}, 0, "C6"},
        {{0, 4, 7, 9}, 9, "Am7"},
        // More than any chord has: the largest that is contained, the first of two.
        {{0, 1, 2, 4, 7, 10}, 0, "C9"},
        {{0, 1, 2}, 0, ""},
        {{0, 4}, 0, ""},
    };
    for (const Case& one : cases) {
        const auto match = matchChord(one.sounding, one.bass);
        EXPECT_EQ(match ? match->name() : "", one.name) << namesOf(one.sounding) << " over " << one.bass;
    }
}

class ChordDetectorToolTest : public ::testing::Test {
protected:
    void play(std::initializer_list<std::uint8_t> notes) {
        for (const std::uint8_t note : notes) probe.send({0x90, note, 100});
    }
    void release(std::initializer_list<std::uint8_t> notes) {
        for (const std::uint8_t note : notes) probe.send({0x81, note, 0});
        probe.runtime.settle();
    }
    void rest() { probe.runtime.runFor(75ms); }

    ChainProbe probe{PipeToolType::chordDetector};
    ChordDetectorTool& tool = static_cast<ChordDetectorTool&>(*probe.tool);
};

TEST_F(ChordDetectorToolTest, namesWhatSoundsWhenTheFingersRest) {
    play({64, 67});
    probe.runtime.runFor(74ms);
    play({72});
    probe.runtime.runFor(74ms);
    EXPECT_EQ(tool.detectedChord(), "");
    EXPECT_EQ(tool.activePitchClasses(), (PitchClassSet{0, 4, 7}));
    rest();
    EXPECT_EQ(tool.detectedChord(), "C");
    EXPECT_EQ(tool.detectedRoot(), 0);
    EXPECT_EQ(tool.detectedIntervals(), (PitchClassSet{0, 4, 7}));
    EXPECT_EQ(takenText(probe), "90 40 64 |, 90 43 64 |, 90 48 64 |");

    release({64});
    play({73, 74});
    release({67});
    rest();
    EXPECT_EQ(tool.detectedChord(), "C C# D");
    EXPECT_EQ(tool.detectedRoot(), std::nullopt);

    release({73, 72});
    rest();
    EXPECT_EQ(tool.detectedChord(), "D");
    EXPECT_EQ(tool.detectedIntervals(), PitchClassSet{0});
}

TEST_F(ChordDetectorToolTest, keepsChordsInTheHistoryWhenTheLastKeyIsReleased) {
    const auto playChord = [&](std::uint8_t root) {
        const auto third = static_cast<std::uint8_t>(root + 4), fifth = static_cast<std::uint8_t>(root + 7);
        play({root, third, fifth});
        rest();
        release({root, third});
        EXPECT_EQ(tool.chordHistory().size(), std::min<std::size_t>(root - 60u, 8));
        release({fifth});
    };
    for (std::uint8_t root = 60; root < 70; ++root) playChord(root);
    EXPECT_EQ(tool.chordHistory().front(), "D");
    EXPECT_EQ(tool.chordHistory().back(), "A");
    tool.reset();
    EXPECT_TRUE(tool.chordHistory().empty());
}

TEST_F(ChordDetectorToolTest, missesNothingOfWhatTheMainThreadHearsAtOnce) {
    play({60, 64, 67});
    rest();
    for (const std::uint8_t note : {60, 64, 67}) probe.send({0x80, note, 0});
    play({62});
    probe.runtime.settle();
    EXPECT_EQ(tool.chordHistory(), std::deque<std::string>{"C"});
    EXPECT_EQ(tool.activePitchClasses(), PitchClassSet{2});

    play({65});
    tool.setEnabled(false);
    tool.setEnabled(true);
    play({66});
    probe.runtime.settle();
    EXPECT_EQ(tool.activePitchClasses(), PitchClassSet{6});
}

TEST_F(ChordDetectorToolTest, startsAfreshWhenItCanHaveMissedAnEnd) {
    const auto expectNothing = [&] {
        rest();
        EXPECT_TRUE(tool.activeNotes().none());
        EXPECT_EQ(probe.runtime.pendingItems(), 0u);
        play({62});
        rest();
        EXPECT_EQ(tool.detectedChord(), "D");
    };
    play({60});
    tool.stop();
    expectNothing();
    tool.setEnabled(false);
    tool.setEnabled(true);
    expectNothing();
    tool.reset();
    expectNothing();
}

}  // namespace
}  // namespace varnolex::testing
