#include "support/AllocationTrap.hpp"
#include "tools/looper/LooperProbe.hpp"

namespace varnolex::testing {
namespace {

using T = LooperTransport;
using A = LooperAction;

class LooperToolTest : public ::testing::Test {
protected:
    LooperProbe probe;
    LooperTool& looper = probe.looper();

    /// Brings a looper with a loop of one bar into a state.
    static void bringTo(LooperProbe& own, T wanted) {
        if (wanted == T::empty) return;
        if (wanted == T::recording) return own.looper().requestAction(A::record);
        if (wanted == T::counting) {
            own.set("preCountBars", 1);
            return own.looper().requestAction(A::record);
        }
        own.playLoop(4, {10});
        if (wanted == T::overdubbing) own.looper().requestAction(A::overdub);
        if (wanted == T::stopped) own.looper().requestAction(A::stop);
    }
};

TEST_F(LooperToolTest, doesWhatFitsItsState) {
    // By action: what each of the six states becomes.
    const std::vector<std::vector<T>> table{
        {T::recording, T::recording, T::playing, T::overdubbing, T::recording, T::counting},
        {T::empty, T::playing, T::playing, T::playing, T::playing, T::counting},
        {T::empty, T::recording, T::overdubbing, T::overdubbing, T::overdubbing, T::counting},
        {T::empty, T::stopped, T::stopped, T::stopped, T::stopped, T::stopped},
        {T::empty, T::empty, T::empty, T::overdubbing, T::empty, T::empty},
    };
    for (std::uint8_t action = 0; action < 5; ++action)
        for (std::uint8_t before = 0; before < 6; ++before) {
            LooperProbe own;
            bringTo(own, T(before));
            ASSERT_EQ(own.transport(), T(before));
            own.looper().requestAction(A(action));
            EXPECT_EQ(own.transport(), table[action][before]) << int(action) << " in " << int(before);
        }
}

TEST_F(LooperToolTest, measuresAFreeRecordingToTheNearestBeat) {
    for (const auto& [ticks, bars, length] : {std::array{100, 0, 96}, {108, 0, 120}, {3, 0, 24}, {96, 4, 384}}) {
        LooperProbe own;
        own.set("recordLengthBars", bars);
        own.looper().requestAction(A::record);
        own.press(60);
        own.release(60);
        own.tick(ticks);
        own.looper().requestAction(A::play);
        EXPECT_EQ(own.heard(length), std::to_string(length) + ":60") << ticks;
    }
}

TEST_F(LooperToolTest, endsAFixedRecordingByItselfWithTheNotesThatAreHeld) {
    for (const int action : {0, 1}) {
        LooperProbe own;
        own.set("recordLengthBars", 1);
        own.set("postRecordAction", action);
        own.looper().requestAction(A::record);
        own.tick(90);
        own.press(62);
        own.tick(6);
        EXPECT_EQ(own.transport(), action == 1 ? T::overdubbing : T::playing);
        EXPECT_EQ(own.shown().canUndo, action == 1);
        EXPECT_EQ(own.shown().totalBars, 1u);
        EXPECT_EQ(own.heard(94), "90:62");
        own.tick(2);
        EXPECT_EQ(takenText(own), "F8 |, 80 3E 00 |, F8 |") << "the note ends with the loop";
    }
}

TEST_F(LooperToolTest, countsInBeforeItRecords) {
    probe.set("preCountBars", 2);
    probe.set("speed", 2);
    looper.requestAction(A::record);
    probe.tick(191);
    EXPECT_EQ(probe.transport(), T::counting);
    EXPECT_EQ(probe.shown().currentBar, 1u);
    probe.tick(1);
    EXPECT_EQ(probe.transport(), T::recording);
}

TEST_F(LooperToolTest, playsEachNoteInItsTimeAndEndsIt) {
    probe.playLoop(4, {0, 50});
    // The step behind a start is position 1.
    EXPECT_EQ(probe.heard(192), "50:61 96:60 146:61 192:60");
    looper.requestAction(A::stop);
    looper.requestAction(A::play);
    probe.heard(49);
    const HostTime begin = probe.runtime.hostTime();
    probe.tick(6);
    EXPECT_EQ(probe.exited.back().at - begin, 120'000'000u);
    EXPECT_EQ(takenText(probe), "90 3D 64, F8 |, F8 |, F8 |, F8 |, F8 |, F8 |, 80 3D 00 |");
}

TEST_F(LooperToolTest, movesNotesAsItIsTold) {
    struct Case {
        std::vector<std::pair<const char*, int>> settings;
        int recordedAt;
        int ticks;
        std::string heard;
    };
    for (const Case& one : std::vector<Case>{
             {{{"quantizeGrid", 24}}, 12, 96, "96:60"},
             {{{"quantizeGrid", 24}}, 13, 96, "24:60"},
             {{{"quantizeGrid", 24}}, 90, 96, "96:60"},
             {{{"quantizeGrid", 12}, {"swing", 100}}, 13, 96, "18:60"},
             {{{"quantizeGrid", 12}, {"swing", 0}}, 13, 96, "6:60"},
             {{{"quantizeGrid", 12}, {"swing", 0}}, 25, 96, "24:60"},
             {{{"swing", 100}}, 13, 96, "13:60"},
             {{{"transpose", 24}}, 13, 96, "13:84"},
             {{{"transpose", 68}}, 13, 96, ""},
             {{{"transpose", -61}}, 13, 96, ""},
             {{{"probability", 0}}, 13, 96, ""},
             {{{"speed", 0}}, 10, 192, "19:60"},
             {{{"speed", 2}}, 13, 96, "7:60 55:60"},
             {{{"speed", 2}}, 0, 48, "48:60"},
         }) {
        LooperProbe own;
        own.playLoop(4, {one.recordedAt});
        for (const auto& [key, value] : one.settings) own.set(key, value);
        EXPECT_EQ(own.heard(one.ticks), one.heard) << one.settings[0].first << " at " << one.recordedAt;
    }
    probe.playLoop(4, {10});
    probe.set("reverse", true);
    EXPECT_EQ(probe.heard(96), "85:60");
}

TEST_F(LooperToolTest, layersAnOverdubAndGoesBackAStep) {
    probe.playLoop(4, {10});
    looper.requestAction(A::overdub);
    probe.tick(90);
    probe.press(70);
    probe.tick(10);
    probe.release(70);
    looper.requestAction(A::play);
    EXPECT_EQ(probe.heard(96), "6:60 86:70");
    EXPECT_EQ(probe.shown().eventCount, 2u);
    looper.undo();
    looper.undo();
    EXPECT_EQ(probe.shown().eventCount, 1u);
    EXPECT_EQ(probe.heard(96), "6:60");
    EXPECT_TRUE(probe.shown().canRedo);
    looper.redo();
    EXPECT_EQ(probe.heard(96), "6:60 86:70");
    EXPECT_FALSE(probe.shown().canRedo);
    looper.requestAction(A::overdub);
    looper.requestAction(A::clear);
    EXPECT_EQ(probe.transport(), T::overdubbing);
    EXPECT_FALSE(probe.shown().canUndo);
    EXPECT_EQ(probe.heard(96), "");
    probe.press(50);
    probe.release(50);
    EXPECT_EQ(probe.heard(96), "96:50");
}

TEST_F(LooperToolTest, letsOldLayersDecay) {
    for (const auto& [feedback, velocity, controllers] : {std::array{100, 100, 3}, {50, 50, 2}, {0, 0, 1}}) {
        LooperProbe own;
        own.playLoop(4, {10});
        own.looper().requestAction(A::overdub);
        for (const int number : {1, 99, 2}) own.turn(number, 5);
        own.looper().requestAction(A::play);
        own.set("feedback", feedback);
        own.looper().requestAction(A::overdub);
        own.press(70);
        own.tick(1);
        own.release(70);
        own.looper().requestAction(A::play);
        own.taken();
        own.tick(96);
        int sum = 0, turned = 0;
        for (const Exited& one : own.exited) {
            if (one.bytes[0] == 0x90 && one.bytes[1] == 60) sum += one.bytes[2];
            if (one.bytes[0] == 0xB0) ++turned;
        }
        EXPECT_EQ(sum, velocity);
        if (feedback == 50)
            EXPECT_TRUE(turned >= 1 && turned <= 3);
        else
            EXPECT_EQ(turned, controllers);
    }
}

TEST_F(LooperToolTest, waitsForTheLaunchGrid) {
    probe.playLoop(8, {10});
    probe.set("launchQuantize", 2);
    looper.requestAction(A::overdub);
    looper.requestAction(A::stop);
    probe.set("reverse", true);
    probe.tick(96);
    EXPECT_EQ(probe.transport(), T::playing);
    EXPECT_EQ(parameterOf(looper, "reverse"), ParameterValue(false));
    probe.tick(1);
    EXPECT_EQ(probe.transport(), T::stopped);
    EXPECT_EQ(parameterOf(looper, "reverse"), ParameterValue(true));

    // On a loop of one bar the line at its beginning never counts.
    LooperProbe own;
    own.playLoop(4, {10});
    own.set("launchQuantize", 2);
    own.looper().requestAction(A::stop);
    own.tick(500);
    EXPECT_EQ(own.transport(), T::playing);
    own.looper().requestAction(A::clear);
    EXPECT_EQ(own.transport(), T::empty);
}

TEST_F(LooperToolTest, changesTheLengthOfALoop) {
    probe.playLoop(4, {10, 60});
    looper.doubleLoop();
    EXPECT_EQ(probe.shown().totalBars, 2u);
    EXPECT_EQ(probe.heard(192), "10:60 60:61 106:60 156:61");
    for (int count = 0; count < 2; ++count) looper.halveLoop();
    EXPECT_EQ(probe.heard(96), "10:60 58:60");
    for (int count = 0; count < 3; ++count) looper.halveLoop();
    EXPECT_EQ(probe.heard(48), "10:60 34:60") << "a loop of a beat stays";
}

TEST_F(LooperToolTest, lettingThroughFollowsTheMonitor) {
    // By monitor: whether the input is heard in each of the six states.
    const std::vector<std::string> table{"111111", "000000", "010100", "110111"};
    for (int monitor = 0; monitor < 4; ++monitor)
        for (std::uint8_t state = 0; state < 6; ++state) {
            LooperProbe own;
            bringTo(own, T(state));
            own.set("inputMonitor", monitor);
            const bool isHeard = table[static_cast<std::size_t>(monitor)][state] == '1';
            EXPECT_EQ(own.answer({0x90, 1, 2})[0], isHeard ? "90 01 02 |" : "- |") << monitor << int(state);
        }
    expectDialogue(probe, {{{0xC0, 1}, "C0 01 |"}, {{0xFA}, "FA |"}, {{0xF8}, "F8 |"}});
    probe.set("forwardClock", false);
    expectDialogue(probe, {{{0xF8}, ""}, {{0xFC}, "FC |"}});
    probe.send({0xC0, 1}, false);
    probe.taken();
    expectDialogue(probe, {{{0xF8}, "- |"}});
}

TEST_F(LooperToolTest, endsWhatSoundsWheneverItIsInterrupted) {
    const auto disable = [](LooperTool& tool) { tool.setEnabled(false); };
    const auto stopTool = [](LooperTool& tool) { tool.stop(); };
    const auto stopAction = [](LooperTool& tool) { tool.requestAction(A::stop); };
    const auto clear = [](LooperTool& tool) { tool.requestAction(A::clear); };
    const auto halve = [](LooperTool& tool) { tool.halveLoop(); };
    for (void (*const interrupt)(LooperTool&) : {+disable, +stopTool, +stopAction, +clear, +halve}) {
        LooperProbe own;
        own.playLoop(4, {10});
        own.tick(12);
        own.taken();
        interrupt(own.looper());
        EXPECT_EQ(takenText(own), "80 3C 00, - |");
        own.runtime.runFor(std::chrono::seconds(1));
        EXPECT_EQ(takenText(own), "");
        EXPECT_EQ(own.runtime.pendingItems(), 0u);
    }
}

TEST_F(LooperToolTest, takesNoPauseOfTheClockForATempo) {
    probe.playLoop(4, {10});
    probe.tick(5);
    probe.runtime.runFor(std::chrono::minutes(10));
    probe.tick(5);
    probe.taken();
    probe.runtime.runFor(std::chrono::milliseconds(100));
    EXPECT_EQ(takenText(probe), "80 3C 00 |");
}

TEST_F(LooperToolTest, givesANoteALengthWhateverStartDoes) {
    looper.requestAction(A::record);
    probe.tick(30);
    probe.press(60);
    probe.send({0xFA});
    probe.release(60);
    probe.tick(40);
    looper.requestAction(A::play);
    EXPECT_EQ(probe.heard(48), "30:60");
}

TEST_F(LooperToolTest, countsWhatFindsNoRoomAndNeverAllocates) {
    looper.requestAction(A::record);
    const AllocationTrap trap;
    probe.chain->setMessageDidExit(nullptr);
    const std::size_t before = trap.count();
    const std::array<std::uint8_t, 3> bend{0xE0, 1, 2}, on{0x90, 60, 1}, off{0x80, 60, 0};
    const std::array<std::uint8_t, 1> clock{0xF8};
    const auto send = [&](const auto& bytes) { probe.chain->send({bytes.data(), bytes.size(), 1, true}); };
    for (int count = 0; count < 65'540; ++count) send(bend);
    for (int count = 0; count < 16'385; ++count) send(on), send(off);
    EXPECT_EQ(looper.lostEvents(), 5u);
    looper.requestAction(A::play);
    looper.requestAction(A::overdub);
    for (int count = 0; count < 24; ++count) send(clock);
    looper.undo();
    EXPECT_EQ(trap.count() - before, 0u);
    looper.doubleLoop();
    EXPECT_EQ(probe.shown().eventCount, 65'536u + 16'384u);
}

}  // namespace
}  // namespace varnolex::testing
