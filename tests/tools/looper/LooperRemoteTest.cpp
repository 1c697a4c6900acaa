#include "tools/looper/LooperProbe.hpp"

namespace varnolex::testing {
namespace {

using T = LooperTransport;
using namespace std::chrono_literals;

TEST(LooperRemote, commandsByMappedControllers) {
    struct Case {
        const char* key;
        int action;
        std::vector<std::pair<int, T>> turns;
    };
    for (const Case& one : std::vector<Case>{
             {"recordCC", 0, {{127, T::recording}, {127, T::recording}, {0, T::recording}, {64, T::playing}}},
             {"recordCC", 1, {{127, T::recording}, {0, T::recording}, {127, T::overdubbing}}},
             {"stopCC", 0, {{63, T::empty}, {127, T::empty}}},
         }) {
        LooperProbe own;
        own.set(one.key, 20);
        own.set("postRecordAction", one.action);
        for (const auto& [value, transport] : one.turns) {
            own.turn(20, value);
            EXPECT_EQ(own.transport(), transport) << one.key << " " << value;
        }
    }
    LooperProbe probe;
    for (const auto& [key, number] : {std::pair("recordCC", 20),
                                      {"playCC", 20},
                                      {"overdubCC", 22},
                                      {"clearCC", 24},
                                      {"undoCC", 25},
                                      {"redoCC", 26}})
        probe.set(key, number);
    probe.turn(20, 127);
    EXPECT_EQ(probe.transport(), T::playing) << "one number, both slots";
    probe.turn(22, 127);
    probe.press(60);
    probe.release(60);
    probe.turn(7, 1);
    probe.turn(25, 127);
    EXPECT_EQ(probe.shown().eventCount, 0u);
    probe.turn(26, 127);
    EXPECT_EQ(probe.shown().eventCount, 2u) << "the note and the unmapped controller";
    probe.set("clearCCToggle", true);
    probe.turn(24, 1);
    EXPECT_EQ(probe.transport(), T::overdubbing);
    EXPECT_EQ(probe.shown().eventCount, 0u);
}

TEST(LooperRemote, ridesItsNumbers) {
    LooperProbe probe;
    probe.playLoop(4, {10});
    probe.set("transposeCC", 30);
    for (const auto& [value, note] : {std::pair(0, 36), {40, 36}, {64, 60}, {65, 61}, {88, 84}, {127, 84}}) {
        probe.turn(30, value);
        EXPECT_EQ(probe.heard(96), "10:" + std::to_string(note)) << value;
    }
    EXPECT_EQ(parameterOf(*probe.tool, "transpose"), ParameterValue(std::int64_t{0}));
    probe.set("transposeCC", 0);
    EXPECT_EQ(probe.heard(96), "10:60");
    probe.set("probabilityCC", 31);
    probe.turn(31, 0);
    EXPECT_EQ(probe.heard(96), "");
}

TEST(LooperRemote, isAllInOneFootswitch) {
    struct Tap {
        Nanoseconds held;
        Nanoseconds released;
        T transport;
    };
    LooperProbe probe;
    probe.set("triggerMode", 1);
    for (const Tap& tap : {Tap{100ms, 1s, T::recording}, Tap{100ms, 1s, T::playing}, Tap{100ms, 1s, T::overdubbing},
                           Tap{2s, 1s, T::overdubbing}, Tap{100ms, 1s, T::playing}, Tap{100ms, 100ms, T::overdubbing},
                           Tap{100ms, 1s, T::stopped}, Tap{100ms, 1s, T::playing}, Tap{2s, 1s, T::playing},
                           Tap{100ms, 100ms, T::overdubbing}, Tap{100ms, 1s, T::stopped}, Tap{2s, 1s, T::empty}}) {
        probe.turn(64, 127);
        probe.runtime.runFor(tap.held);
        probe.turn(64, 0);
        probe.runtime.runFor(tap.released);
        ASSERT_EQ(probe.transport(), tap.transport);
    }
    // A switch that latches taps with each change.
    probe.set("triggerCCToggle", true);
    for (const auto& [value, transport] : {std::pair(127, T::recording), {127, T::recording}, {0, T::playing}}) {
        probe.turn(64, value);
        probe.runtime.runFor(1s);
        EXPECT_EQ(probe.transport(), transport);
    }
    EXPECT_EQ(probe.shown().eventCount, 0u) << "its own controller isn't recorded";
}

}  // namespace
}  // namespace varnolex::testing
