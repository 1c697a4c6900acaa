#include <gtest/gtest.h>

#include "platform/keys/MemoryKeys.hpp"
#include "support/ChainProbe.hpp"
#include "tools/devices/KeyNames.hpp"

namespace varnolex::testing {
namespace {

using namespace std::chrono_literals;
using Texts = std::vector<std::string>;
using Keys = std::vector<KeyEvent>;

constexpr KeyCode keyZ = 6;
constexpr KeyCode keyU = 32;

/// A tool beside a keyboard that the test plays.
class KeyProbe {
public:
    explicit KeyProbe(PipeToolType type) : probe(type) {}

    Texts type(KeyCode code, bool isDown) {
        probe.taken();
        keys.type({code, isDown, 0});
        probe.runtime.settle();
        return probe.taken();
    }
    /// What was noted since the last call.
    Texts notes() {
        probe.runtime.settle();
        return std::exchange(keys.lines, {});
    }
    Keys posted() {
        probe.runtime.settle();
        return std::exchange(keys.posted, {});
    }

    MemoryKeys keys;
    KeyServiceScope scope{keys};
    ChainProbe probe;
};

std::string line(const std::string& text) { return "[KeyboardInputTool] " + text; }

TEST(KeyboardInputTool, playsItsKeysAndNotesTheRest) {
    KeyProbe keyboard(PipeToolType::keyboardInput);
    ChainProbe& probe = keyboard.probe;
    probe.set("outputChannel", 2);
    probe.tool->start(0);
    EXPECT_EQ(keyboard.notes(), Texts{line("CGEventTap created and enabled")});
    EXPECT_EQ(keyboard.type(keyZ, true), Texts{"92 30 64 |"});
    EXPECT_EQ(keyboard.type(keyZ, true), Texts{}) << "a key that repeats";
    probe.set("baseOctave", 7);
    EXPECT_EQ(keyboard.type(keyU, true), Texts{"92 6B 64 |"});
    EXPECT_EQ(keyboard.type(keyZ, false), Texts{"82 30 00 |"}) << "the note that was started";
    EXPECT_EQ(keyboard.type(keyZ, false), Texts{});
    EXPECT_EQ(keyboard.type(99, true), Texts{});
    EXPECT_EQ(keyboard.notes(),
              (Texts{line("already held"), line("keyCode not in heldKeys"), line("unmapped keyCode=99")}));

    probe.set("baseOctave", 10);
    EXPECT_EQ(keyboard.type(38, true), Texts{}) << "note 130";
    EXPECT_EQ(keyboard.type(11, true), Texts{"92 7F 64 |"});
    probe.set("baseOctave", -1);
    EXPECT_EQ(keyboard.type(1, true), Texts{"92 00 64 |"});
    EXPECT_EQ(keyboard.notes(), Texts{line("note out of range")});
}

TEST(KeyboardInputTool, endsItsNotesWhenItIsSwitchedOff) {
    KeyProbe keyboard(PipeToolType::keyboardInput);
    ChainProbe& probe = keyboard.probe;
    probe.tool->start(0);
    keyboard.type(keyZ, true);
    probe.tool->setEnabled(false);
    EXPECT_EQ(probe.taken(), Texts{"80 30 00 |"});
    EXPECT_FALSE(keyboard.keys.isListening());
    probe.tool->setEnabled(true);
    EXPECT_TRUE(keyboard.keys.isListening());
    EXPECT_EQ(keyboard.type(keyZ, true), Texts{}) << "it hasn't been released yet";
    EXPECT_EQ(keyboard.type(keyZ, false), Texts{"80 30 00 |"});
    EXPECT_EQ(keyboard.type(keyZ, true), Texts{"90 30 64 |"});
    probe.tool->stop();
    probe.tool->stop();
    EXPECT_EQ(probe.taken(), Texts{"80 30 00 |"});
    EXPECT_FALSE(keyboard.keys.isListening());
}

TEST(KeyboardInputTool, staysIdleWhereItMayNotListen) {
    KeyProbe keyboard(PipeToolType::keyboardInput);
    keyboard.keys.isAllowed = false;
    keyboard.probe.tool->start(0);
    EXPECT_EQ(keyboard.keys.requests, 1);
    keyboard.keys.isAllowed = keyboard.keys.isBroken = true;
    keyboard.probe.tool->start(0);
    EXPECT_FALSE(keyboard.keys.isListening());
    EXPECT_EQ(keyboard.notes(),
              (Texts{line("Requesting Input Monitoring access..."), line("ERROR: Failed to create event tap")}));
}

TEST(KeystrokeTool, isTriggeredByWhatWasChosen) {
    struct Row {
        int type;
        int channel;
        bool any;
        int minimum;
        std::vector<std::uint8_t> message;
        bool isTrigger;
    };
    const std::vector<Row> rows{
        {0, 0, true, 1, {0x90, 5, 1}, true},     {0, 0, true, 0, {0x90, 5, 0}, false},
        {0, 0, true, 64, {0x90, 5, 63}, false},  {0, 3, true, 1, {0x92, 5, 1}, true},
        {0, 3, true, 1, {0x93, 5, 1}, false},    {0, 0, false, 1, {0x90, 60, 9}, true},
        {0, 0, false, 1, {0x90, 61, 9}, false},  {0, 17, true, 1, {0x90, 60, 9}, false},
        {1, 0, true, 127, {0x90, 60, 0}, true},  {1, 0, false, 0, {0x80, 61, 9}, false},
        {1, 0, true, 127, {0x80, 61, 9}, true},  {2, 0, true, 64, {0xB0, 9, 64}, true},
        {2, 0, false, 64, {0xB0, 9, 64}, false}, {2, 0, false, 64, {0xB0, 0, 63}, false},
        {3, 0, true, 127, {0xC0, 7}, true},      {3, 0, false, 127, {0xC0, 7}, false},
        {4, 0, false, 127, {0xF8}, true},        {4, 9, false, 127, {0xF8}, true},
        {4, 1, false, 127, {0xF8}, false},       {5, 0, true, 0, {0x90, 60, 127}, false},
        {0, 0, true, 1, {0x90, 60}, false},
    };
    KeyProbe stroke(PipeToolType::keystroke);
    for (const Row& row : rows) {
        stroke.probe.set("triggerType", row.type);
        stroke.probe.set("triggerChannel", row.channel);
        stroke.probe.set("triggerAny", row.any);
        stroke.probe.set("triggerMinValue", row.minimum);
        EXPECT_EQ(stroke.probe.answer(row.message).size(), 1u);
        EXPECT_EQ(stroke.posted().size(), row.isTrigger ? 2u : 0u) << (&row - rows.data());
    }
    stroke.probe.set("triggerType", 0);
    stroke.probe.tool->setLiveValue(99.5, "triggerMinValue");
    stroke.probe.send({0x90, 60, 99});
    EXPECT_EQ(stroke.posted(), Keys{});
    stroke.probe.send({0x90, 60, 100});
    EXPECT_EQ(stroke.posted().size(), 2u);
}

TEST(KeystrokeTool, pressesAndReleasesInItsOwnTime) {
    KeyProbe stroke(PipeToolType::keystroke);
    ChainProbe& probe = stroke.probe;
    probe.set("keyCode", 49);
    probe.set("modifierFlags", ParameterValue(static_cast<std::int64_t>(keyFlagCommand)));
    const KeyEvent down{49, true, keyFlagCommand};
    const KeyEvent up{49, false, keyFlagCommand};

    EXPECT_EQ(probe.answer({0x90, 60, 1}).size(), 1u);
    EXPECT_EQ(stroke.keys.posted, Keys{}) << "the message has gone on, and the key waits for the main thread";
    EXPECT_EQ(stroke.posted(), (Keys{down, up}));
    for (const auto& [action, keys] : std::vector<std::pair<int, Keys>>{{1, {down}}, {2, {up}}, {3, {}}, {-1, {}}}) {
        probe.set("actionType", action);
        probe.send({0x90, 60, 1});
        EXPECT_EQ(stroke.posted(), keys) << action;
    }

    probe.set("actionType", 0);
    probe.set("slownessMs", 50);
    probe.send({0x90, 60, 1});
    probe.runtime.runFor(49ms);
    EXPECT_EQ(stroke.posted(), Keys{down});
    probe.runtime.runFor(1ms);
    EXPECT_EQ(stroke.posted(), Keys{up});

    probe.send({0x90, 60, 1});
    probe.send({0x90, 60, 1});
    probe.runtime.settle();
    probe.tool->setEnabled(false);
    EXPECT_EQ(stroke.posted(), (Keys{down, down, up, up})) << "no key stays down";
    EXPECT_EQ(probe.runtime.pendingItems(), 0u);

    probe.tool->setEnabled(true);
    probe.send({0x90, 60, 1});
    probe.tool->stop();
    EXPECT_EQ(stroke.posted(), (Keys{down, up})) << "the press was under way when the tool stopped";
    EXPECT_EQ(probe.runtime.pendingItems(), 0u);
}

TEST(KeyNames, followTheLayout) {
    EXPECT_EQ(displayNameOfKey(36, layoutAZERTY), "↩");
    EXPECT_EQ(displayNameOfKey(113, layoutQWERTY), "F15");
    EXPECT_EQ(displayNameOfKey(0, layoutQWERTY), "A");
    EXPECT_EQ(displayNameOfKey(0, layoutAZERTY), "Q");
    EXPECT_EQ(displayNameOfKey(42, layoutAZERTY), "");
}

}  // namespace
}  // namespace varnolex::testing
