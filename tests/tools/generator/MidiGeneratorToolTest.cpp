#include <filesystem>
#include <set>

#include "platform/WholeFile.hpp"
#include "tools/Dialogue.hpp"
#include "tools/generator/MidiGeneratorTool.hpp"

namespace varnolex::testing {
namespace {

using namespace std::chrono_literals;
using Integers = std::vector<std::int64_t>;
using Setting = std::pair<std::string_view, ParameterValue>;
using Int = std::int64_t;

const std::monostate none;

ParameterRecord step(Integers bytes, ParameterValue delay = none, ParameterValue duration = none) {
    return {{std::move(bytes), std::move(delay), none, none, none, std::move(duration)}};
}

const ParameterRecord on = step({0x90, 60, 100}), off = step({0x80, 60, 0});

class MidiGeneratorTool : public ::testing::Test {
protected:
    varnolex::MidiGeneratorTool& generator() { return static_cast<varnolex::MidiGeneratorTool&>(*probe.tool); }

    void set(const std::vector<Setting>& settings) {
        for (const auto& [key, value] : settings) setParameter(*probe.tool, key, value);
    }

    void setSteps(std::vector<ParameterRecord> steps) { setParameter(*probe.tool, "steps", std::move(steps)); }

    /// What leaves within a time, with the milliseconds since the last call: "0: 90 3C 64, 500: 80 3C 00".
    std::string played(Nanoseconds time) {
        const HostTime begin = probe.runtime.hostTime();
        probe.runtime.runFor(time);
        std::string text;
        for (const Exited& one : probe.exited) {
            const Exited bare{one.bytes, false, 0, 0};
            text += (text.empty() ? "" : ", ") + std::to_string((one.at - begin) / 1'000'000) + ": " + textOf(bare);
            EXPECT_TRUE(one.isLastInBatch);
            EXPECT_EQ(one.timeStamp, one.at);
        }
        probe.exited.clear();
        return text;
    }

    /// The same, in a probe of its own, from pressing Start.
    static std::string playedWith(const std::vector<Setting>& settings, std::vector<ParameterRecord> steps) {
        MidiGeneratorTool test;
        test.setSteps(std::move(steps));
        test.set(settings);
        test.generator().startPlaying();
        std::string text = test.played(10s);
        EXPECT_EQ(test.generator().isPlaying(), test.probe.runtime.pendingItems() > 0);
        return test.generator().isPlaying() ? text + " ..." : text;
    }

    void TestBody() override {}

    ChainProbe probe{PipeToolType::midiGenerator};
};

TEST_F(MidiGeneratorTool, repeatsItsStepsAsItIsTold) {
    const ParameterRecord soon = step({0x80, 60, 0}, Int{120}), common = step({0x80, 60, 0}, Int{0});
    const struct {
        std::vector<Setting> settings;
        std::vector<ParameterRecord> steps;
        const char* out;
    } table[]{
        {{}, {on}, "0: 90 3C 64"},
        {{}, {on, soon, common}, "0: 90 3C 64, 120: 80 3C 00, 620: 80 3C 00"},
        {{{"repeatMode", Int{1}}, {"repeatCount", Int{3}}}, {on}, "0: 90 3C 64, 500: 90 3C 64, 1000: 90 3C 64"},
        {{{"repeatMode", Int{1}}, {"repeatCount", Int{0}}}, {on}, ""},
        {{}, {}, ""},
        {{{"sourceMode", Int{1}}}, {on}, ""},
        {{{"repeatMode", Int{2}}, {"delayMs", Int{4000}}}, {on}, "0: 90 3C 64, 4000: 90 3C 64, 8000: 90 3C 64 ..."},
        {{{"repeatMode", Int{-1}}, {"delayMs", Int{6000}}}, {on}, "0: 90 3C 64, 6000: 90 3C 64 ..."},
        {{{"delayMs", Int{-9}}}, {on, off}, "0: 90 3C 64, 0: 80 3C 00"},
        {{{"randomDelay", true}, {"randomDelayMin", Int{7}}, {"randomDelayMax", Int{7}}},
         {on, off},
         "0: 90 3C 64, 7: 80 3C 00"},
        // What is no message takes its time and sends nothing.
        {{}, {step({60, 1}), step({}), step({0x90, 60}), step({0xC1, 5})}, "1500: C1 05"},
        {{}, {step({0xF0, 1, 2, 0xF7}), step({0x90, 60, 300}), step({0xF8})}, "0: F0 01 02 F7, 1000: F8"},
        // A note that lasts is ended also after the run, and once however often it begins.
        {{}, {step({0x91, 60, 1}, none, Int{700})}, "0: 91 3C 01, 700: 81 3C 00"},
        {{{"delayMs", Int{10}}},
         {step({0x90, 60, 1}, none, Int{15}), step({0x90, 60, 1}, none, Int{15}), step({0x90, 62, 0}, none, Int{1})},
         "0: 90 3C 01, 10: 90 3C 01, 15: 80 3C 00, 20: 90 3E 00"},
    };
    for (const auto& row : table) EXPECT_EQ(playedWith(row.settings, row.steps), row.out);
}

TEST_F(MidiGeneratorTool, drawsWaitsAndBytesWithinTheirBounds) {
    setSteps({{{Integers{0xB0, 1, 0}, none, Int{2}, Int{10}, Int{12}, none}}});
    set({{"repeatMode", Int{2}}, {"delayMs", Int{10}}, {"humanizeMs", Int{30}}});
    generator().startPlaying();
    probe.runtime.runFor(60s);
    std::set<int> values;
    std::set<HostTime> waits;
    for (std::size_t index = 1; index < probe.exited.size(); ++index) {
        values.insert(probe.exited[index].bytes[2]);
        waits.insert((probe.exited[index].at - probe.exited[index - 1].at) / 1'000'000);
    }
    EXPECT_EQ(values, (std::set<int>{10, 11, 12}));
    EXPECT_LE(*waits.rbegin(), 70u);
    EXPECT_GT(waits.size(), 40u);
    setSteps({{{Integers{0x90, 60, 1}, none, Int{2}, Int{128}, Int{255}, none}},
              {{Integers{0x90, 60, 1}, none, Int{3}, Int{0}, Int{0}, none}}});
    probe.exited.clear();
    probe.runtime.runFor(1s);
    for (const Exited& one : probe.exited) EXPECT_EQ(one.bytes, (std::vector<std::uint8_t>{0x90, 60, 1}));
}

TEST_F(MidiGeneratorTool, isStartedAndStoppedByItsTriggerAndPassesEveryMessage) {
    setSteps({step({0xC0, 1})});
    set({{"repeatMode", Int{2}}, {"triggerMode", Int{1}}});
    const auto answer = [&](std::vector<std::uint8_t> bytes) {
        probe.send(bytes);
        return played(400ms);
    };
    EXPECT_EQ(answer({0x90, 61, 1}), "0: 90 3D 01");
    EXPECT_EQ(answer({0x90, 60, 0}), "0: 90 3C 00");
    EXPECT_EQ(answer({0x9F, 60, 1}), "0: 9F 3C 01, 0: C0 01");
    EXPECT_EQ(answer({0xB0, 64, 127}), "0: B0 40 7F, 100: C0 01");
    EXPECT_EQ(answer({0x90, 60, 1}), "0: 90 3C 01");
    EXPECT_FALSE(generator().isPlaying());
    set({{"triggerMode", Int{2}}, {"panicOnStop", true}});
    EXPECT_EQ(answer({0xB0, 64, 63}), "0: B0 40 3F");
    EXPECT_EQ(answer({0xB0, 64, 64}), "0: B0 40 40, 0: C0 01");
    probe.send({0xB0, 64, 127});
    ASSERT_EQ(probe.exited.size(), 17u);
    EXPECT_EQ(textOf(probe.exited[0]), "B0 7B 00");
    EXPECT_EQ(textOf(probe.exited[15]), "BF 7B 00 |");
    EXPECT_EQ(textOf(probe.exited[16]), "B0 40 7F |");
    EXPECT_EQ(probe.runtime.pendingItems(), 0u);
}

TEST_F(MidiGeneratorTool, endsNotesThatLastWhenItStopsAndNotAgain) {
    setSteps({step({0x90, 60, 100}, none, Int{200})});
    for (const bool byDisabling : {false, true}) {
        generator().startPlaying();
        EXPECT_EQ(played(50ms), "0: 90 3C 64");
        byDisabling ? generator().setEnabled(false) : generator().stopPlaying();
        EXPECT_EQ(probe.runtime.pendingItems(), 0u);
        EXPECT_EQ(played(1s), "0: 80 3C 00");
    }
    generator().startPlaying();
    EXPECT_FALSE(generator().isPlaying()) << "while it is disabled";
    generator().setEnabled(true);
    EXPECT_EQ(played(150ms), "0: 90 3C 64") << "it ran when it was disabled";
    generator().startPlaying();
    EXPECT_EQ(played(1s), "0: 80 3C 00, 0: 90 3C 64, 200: 80 3C 00");
    generator().setEnabled(false);
    generator().setEnabled(true);
    EXPECT_FALSE(generator().isPlaying()) << "it stood still when it was disabled";
}

TEST_F(MidiGeneratorTool, stopsItselfWithAMessageThatComesBack) {
    setSteps({step({0x90, 60, 100}, none, Int{200}), on});
    set({{"injectFromTop", true}, {"triggerMode", Int{1}}});
    generator().startPlaying();
    EXPECT_EQ(played(1s), "0: 90 3C 64, 0: 80 3C 00");
    EXPECT_EQ(probe.runtime.pendingItems(), 0u);
}

TEST_F(MidiGeneratorTool, takesEditsAtTheNextPassAndSendsOncePass) {
    set({{"repeatMode", Int{2}}});
    setSteps({on, off});
    generator().startPlaying();
    played(100ms);
    setSteps({step({0xC0, 1})});
    EXPECT_EQ(played(1s), "400: 80 3C 00, 900: C0 01");
    generator().sendOnce();
    EXPECT_EQ(played(500ms), "400: C0 01") << "nothing while it plays";
    generator().stopPlaying();
    generator().sendOnce();
    EXPECT_EQ(played(2s), "0: C0 01");
    generator().sendPanic();
    EXPECT_EQ(probe.taken().size(), 16u);
}

TEST_F(MidiGeneratorTool, leavesTimeToOthersWhenItRepeatsWithoutAWait) {
    set({{"repeatMode", Int{2}}, {"delayMs", Int{0}}});
    generator().startPlaying();
    EXPECT_EQ(played(2ms), "0: 90 3C 64, 1: 90 3C 64, 2: 90 3C 64");
}

TEST_F(MidiGeneratorTool, playsAFileAndEndsItsNotesWhenItStops) {
    const std::string path = ::testing::TempDir() + "varnolex-generator.mid";
    const auto write = [&](std::string_view events) {
        writeWholeFile(path, std::string("MThd\0\0\0\6\0\0\0\1\0\x60MTrk\0\0\0", 21) +
                                 static_cast<char>(events.size()) + std::string(events));
    };
    write({"\0\x90\x3C\x40\x60\x3C\0\0\xFF\x2F\0", 11});
    set({{"sourceMode", Int{1}}, {"filePath", path}});
    generator().startPlaying();
    EXPECT_EQ(played(100ms), "0: 90 3C 40");
    generator().stopPlaying();
    EXPECT_EQ(played(1s), "0: 80 3C 40");
    generator().startPlaying();
    EXPECT_EQ(played(2s), "0: 90 3C 40, 500: 90 3C 00");
    EXPECT_FALSE(generator().isPlaying());

    write({"\0\xC0\x05\0\xFF\x2F\0", 7});
    generator().editSettings(SettingsBase::current, [](void*) {});
    generator().recordWasApplied();
    generator().startPlaying();
    EXPECT_EQ(played(1s), "0: C0 05");
    std::filesystem::remove(path);
    generator().loadFile();
    generator().startPlaying();
    EXPECT_FALSE(generator().isPlaying());
}

std::string textOf(GeneratorEvents events) {
    std::string text;
    for (const GeneratorEvents::Event& event : events.list()) {
        const auto bytes = events.bytes(event);
        text += (text.empty() ? "" : ", ") + std::to_string(event.wait.value_or(-1ns) / 1us) + ": " +
                textOf(Exited{{bytes.begin(), bytes.end()}, false, 0, 0});
    }
    return text;
}

TEST(GeneratorEvents, readsTheFirstTrackOfAMIDIFile) {
    const auto track = [](std::string_view events) {
        return std::string("MTrk\0\0\0", 7) + static_cast<char>(events.size()) + std::string(events);
    };
    const auto header = [](int tracks) {
        return std::string("MThd\0\0\0\6\0\1\0", 11) + char(tracks) + std::string("\0\x60", 2);
    };
    const std::string twoNotes = track({"\0\x90\x3C\x40\x30\x3E\x40\0\xFF\x2F\0", 11});
    const std::string tempo({"\0\xC0\1\x30\xFF\x51\3\x03\xD0\x90\x30\xC1\2\0\xF0\2\7\xF7\0\xF7\1\x45\0\xF7\1\xF8", 26});
    const struct {
        std::string file;
        const char* events;
    } table[]{
        {header(1) + twoNotes, "0: 90 3C 40, 250000: 90 3E 40"},
        {header(2) + twoNotes + track({"\0\xC0\1", 3}), "0: 90 3C 40, 250000: 90 3E 40"},
        {header(9) + twoNotes + "junk behind the first track", "0: 90 3C 40, 250000: 90 3E 40"},
        // A quarter at 120 and one at 240 beats a minute; of what stands in escapes, whole messages only.
        {header(1) + track(tempo), "0: C0 01, 375000: C1 02, 0: F0 07 F7, 0: F8"},
        {header(1) + "Else" + twoNotes.substr(4) + twoNotes, ""},
        {header(1) + twoNotes.substr(0, 15), ""},
        {header(1) + track({"\0\x40\x40", 3}), ""},
        {header(1), ""},
        {"MThd\0\0", ""},
        {"", ""},
    };
    VirtualRuntime runtime;
    const RuntimeScope scope(runtime);
    for (const auto& row : table) EXPECT_EQ(textOf(GeneratorEvents::ofMIDIFile(row.file)), row.events);
}

TEST(GeneratorEvents, readsTheMessagesOfASysExFileAtThePaceOfALine) {
    const struct {
        std::string_view file;
        const char* events;
        int tail;
    } table[]{
        {{"\xF0\1\2\xF7\xF0\3\xF7", 7}, "0: F0 01 02 F7, 1280: F0 03 F7", 960},
        {{"junk\xF0\1\xF8\2\xF7more\xF7", 14}, "0: F0 01 02 F7", 1280},
        {{"\xF0\1\xF0\2\xF7\xF0\3\x90\4\xF7\xF0\5", 13}, "0: F0 02 F7", 960},
        {{}, "", 0},
    };
    for (const auto& row : table) {
        EXPECT_EQ(textOf(GeneratorEvents::ofSysExFile(row.file)), row.events);
        EXPECT_EQ(GeneratorEvents::ofSysExFile(row.file).tail(), std::chrono::microseconds(row.tail));
    }
}

}  // namespace
}  // namespace varnolex::testing
