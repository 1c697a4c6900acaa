#include <algorithm>
#include <sstream>

#include "core/midifile/StandardMIDIFile.hpp"
#include "end-to-end/ProgramTest.hpp"

namespace varnolex::testing {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;

const std::string corpus = sourceFolder() / "tests/corpus/";

class RenderTest : public ProgramTest {
protected:
    /// The output of a patch as lines of event text.
    std::vector<std::string> render(const std::string& patch, const std::string& events, const Words& flags = {}) {
        Words words{"render", "--patch", patch};
        words.insert(words.end(), flags.begin(), flags.end());
        return lines(output(words, events));
    }

    static std::vector<std::string> lines(const std::string& text) {
        std::istringstream stream(text);
        std::vector<std::string> list;
        for (std::string line; std::getline(stream, line);) list.push_back(line);
        return list;
    }

    /// The lines whose first byte isn't one of these.
    static std::vector<std::string> without(const std::vector<std::string>& all, std::set<std::string> statuses) {
        std::vector<std::string> rest;
        std::ranges::copy_if(all, std::back_inserter(rest), [&](const std::string& line) {
            return !statuses.contains(line.substr(line.find('\t') + 1, 2));
        });
        return rest;
    }

    MIDIFile midiFile(const std::filesystem::path& path) { return StandardMIDIFile::read(read(path)); }

    /// Tick and bytes of all events, in order.
    static std::vector<std::pair<std::uint64_t, std::vector<std::uint8_t>>> eventsOf(const MIDIFile& file) {
        std::vector<std::pair<std::uint64_t, std::vector<std::uint8_t>>> events;
        MIDIFileMerge merged(file);
        for (MergedEvent event; merged.next(event);)
            events.emplace_back(event.tick, std::vector(event.bytes.begin(), event.bytes.end()));
        return events;
    }
};

TEST_F(RenderTest, EventsComeOutAsTextOrJSON) {
    const std::string events = "# a take\n\n0\t90 3c 64\n0.5\t80 3c 10\r\n0.5\tC0 05\n";
    EXPECT_THAT(
        render("in -> transpose(12) -> out(noteOffVel:true)", events),
        ElementsAre("0.000000000\t90 48 64\tMidiOut", "0.500000000\t80 48 10\tMidiOut", "0.500000000\tC0 05\tMidiOut"));
    EXPECT_THAT(render("in -> out", events, {"--json"}),
                ElementsAre(R"({"time":0.0,"bytes":[144,60,100],"endpoint":"MidiOut"})",
                            R"({"time":0.5,"bytes":[144,60,0],"endpoint":"MidiOut"})",
                            R"({"time":0.5,"bytes":[192,5],"endpoint":"MidiOut"})"));
    EXPECT_THAT(render("in -> out", ""), ElementsAre());
}

TEST_F(RenderTest, InputAndOutputAreFilesOrStandardStreams) {
    write("a.txt", "0.25\t90 3C 64\n");
    write("patch.txt", "in -> transpose(1) -> out");
    const std::string expected = "0.250000000\t90 3D 64\tMidiOut\n";
    EXPECT_EQ(output({"render", "patch.txt", "a.txt"}), expected);
    EXPECT_EQ(output({"render", "patch.txt", "-"}, read("a.txt")), expected);
    EXPECT_EQ(output({"render", "-", "a.txt"}, read("patch.txt")), expected);
    EXPECT_EQ(output({"render", "patch.txt", "a.txt", "-o", "-"}), expected);
    EXPECT_EQ(output({"render", "patch.txt", "a.txt", "-o", "out.txt"}), "");
    EXPECT_EQ(read("out.txt"), expected);
    EXPECT_EQ(output({"render", "patch.txt", "a.txt", "-o", "/dev/stdout"}), expected);
    EXPECT_EQ(output({"render", "patch.txt", "a.txt", "-o", "/dev/null"}), "");
    EXPECT_EQ(files(), (std::set<std::string>{"a.txt", "patch.txt", "out.txt"}));
}

TEST_F(RenderTest, AMIDIFileKeepsItsTicksThroughAPassThroughPatch) {
    for (const char* name : {"good-format0", "good-format1-tempo-changes", "good-format2", "good-smpte-29.97",
                             "good-sysex-packets-and-escapes", "good-unknown-chunks"}) {
        SCOPED_TRACE(name);
        const std::string input = corpus + "midi/" + name + ".mid";
        EXPECT_EQ(output({"render", "--patch", "in -> out(noteOffVel:true)", input, "-o", "out.mid"}), "");
        const MIDIFile before = midiFile(input);
        const MIDIFile after = midiFile("out.mid");
        EXPECT_EQ(eventsOf(after), eventsOf(before));
        EXPECT_EQ(after.division, before.division);
        EXPECT_EQ(after.tempos, before.tempos);
        EXPECT_EQ(after.timeSignatures, before.timeSignatures);
        EXPECT_EQ(after.keySignatures, before.keySignatures);
    }
}

TEST_F(RenderTest, AMIDIFileOfEventTextHas960TicksAnd120BeatsAndATrackForEachOutput) {
    write("a.txt", "0\t90 3C 64\n0.5\t80 3C 00\n0.50026\tB0 01 02\n");
    for (const char* file : {"out.mid", "out.MIDI", "out.smf"}) {
        output({"render", "--patch", "in -> [out, transpose(1) -> out]", "a.txt", "-o", file});
        const MIDIFile made = midiFile(file);
        EXPECT_EQ(made.division, MIDIFileDivision::metrical(960));
        EXPECT_EQ(made.tempos, (std::vector<TempoChange>{{0, 500'000}}));
        std::vector<std::string> names;
        for (const MIDIFileTrack& track : made.tracks)
            if (!track.name.empty()) names.push_back(track.name);
        EXPECT_THAT(names, ElementsAre("MidiOut", "MidiOut 2"));
        std::vector<std::uint64_t> ticks;
        for (const auto& [tick, bytes] : eventsOf(made)) ticks.push_back(tick);
        EXPECT_THAT(ticks, ElementsAre(0, 0, 960, 960, 960, 960));
    }
}

TEST_F(RenderTest, SysExFilesArePacedLikeASerialLine) {
    write("two.syx", "\xF0\x7D\x01\xF7\xF0\x7D\x02\x03\xF7");
    EXPECT_THAT(lines(output({"render", "--patch", "in -> out", "two.syx"})),
                ElementsAre("0.000000000\tF0 7D 01 F7\tMidiOut", "0.001280000\tF0 7D 02 03 F7\tMidiOut"));
}

TEST_F(RenderTest, OutputsOfOneNameAreNumbered) {
    EXPECT_THAT(render("in -> [out, transpose(1) -> out, out]", "0\t90 3C 64\n0\t91 3C 64\n"),
                ElementsAre("0.000000000\t90 3C 64\tMidiOut", "0.000000000\t91 3C 64\tMidiOut",
                            "0.000000000\t90 3D 64\tMidiOut 2", "0.000000000\t91 3D 64\tMidiOut 2",
                            "0.000000000\t90 3C 64\tMidiOut 3", "0.000000000\t91 3C 64\tMidiOut 3"));
}

TEST_F(RenderTest, InputNodesListenToTheEndpointTheyAreNamedFor) {
    const Words call{"render", corpus + "documents/good-patch.vxpatch", "--stats"};
    const Outcome named = run(call, "0\t90 3C 64\tStage Keys\n0.3\t90 40 64 41 64\tOther\n0.4\t90 41 64\n");
    EXPECT_EQ(named.output, "0.000000000\t90 44 64\tSynth\n");
    EXPECT_THAT(named.errors, HasSubstr("messages in: 4, out: 1, dropped: 3\nvirtual duration: 2.400 s"));
    EXPECT_EQ(run(call, "0\t90 3C 64\n0\t90 40 64\tOther\n").output, "0.000000000\t90 44 64\tSynth\n");
}

TEST_F(RenderTest, ALearnedControllerMovesItsParameterAndPasses) {
    // The binding maps 0 to 127 onto -12 to 12; until it is moved the value cable's 7.5 holds.
    EXPECT_EQ(output({"render", corpus + "documents/good-patch.vxpatch"},
                     "0\t90 3C 64\n0.1\tB0 14 7F\n0.2\t90 3C 64\n0.3\tB0 14 00\n0.4\t90 3C 64\n0.5\tB0 15 40\n"
                     "0.6\t90 3C 64\n"),
              "0.000000000\t90 44 64\tSynth\n0.100000000\tB0 14 7F\tSynth\n0.200000000\t90 48 64\tSynth\n"
              "0.300000000\tB0 14 00\tSynth\n0.400000000\t90 30 64\tSynth\n0.500000000\tB0 15 40\tSynth\n"
              "0.600000000\t90 30 64\tSynth\n");
}

TEST_F(RenderTest, AValueCableRidesATransposition) {
    EXPECT_THAT(without(render("in -> transpose($CC(1), range:0..12) -> out",
                               "0\t90 3C 64\n0.1\tB0 01 7F\n0.2\t90 3C 64\n0.3\tB0 01 00\n0.4\t90 3C 64\n"),
                        {"B0"}),
                ElementsAre("0.000000000\t90 3C 64\tMidiOut", "0.200000000\t90 48 64\tMidiOut",
                            "0.400000000\t90 3C 64\tMidiOut"));
}

TEST_F(RenderTest, StudiosAreChosenByNameOrAreTheCurrentOne) {
    const std::string document = corpus + "documents/good-two-graphs.varnolex";
    const std::string note = "0\t90 3C 64\n";
    const std::string expected = "0.000000000\t90 44 64\tSynth\n";
    EXPECT_EQ(output({"render", document}, note), expected);
    EXPECT_EQ(output({"render", document, "--studio", "Stage"}, note), expected);
    EXPECT_EQ(output({"render", document, "--studio", "Spare"}, note), "");
    EXPECT_EQ(output({"--document", document, "render"}, note), expected);
    write("a.txt", note);
    EXPECT_EQ(output({"--document", document, "render", "a.txt"}), expected);
}

TEST_F(RenderTest, AClockRunsAheadOfOtherMessagesOfItsMoment) {
    EXPECT_THAT(render("in -> out", "0\t90 3C 64\n0.25\t80 3C 00\n", {"--clock", "20", "--tail", "0"}),
                ElementsAre("0.000000000\tFA\tMidiOut", "0.000000000\tF8\tMidiOut", "0.000000000\t90 3C 64\tMidiOut",
                            "0.125000000\tF8\tMidiOut", "0.250000000\tF8\tMidiOut", "0.250000000\t90 3C 00\tMidiOut"));
    // 120 when left out, with the number attached or not, and 24 to the quarter note.
    const auto steady = render("in -> out", "", {"--clock", "--tail", "0.5"});
    EXPECT_EQ(steady.size(), 26u);
    EXPECT_EQ(steady.back(), "0.500000000\tF8\tMidiOut");
    EXPECT_EQ(render("in -> out", "", {"--clock=120", "--tail", "0.5"}), steady);
}

TEST_F(RenderTest, AClockFollowsTheTempoMapOfAMIDIFile) {
    MIDIFile song;
    song.division = MIDIFileDivision::metrical(96);
    song.tempos = {{0, 500'000}, {96, 1'000'000}};
    song.tracks.resize(1);
    song.append(song.tracks[0], 192, std::vector<std::uint8_t>{0x90, 0x3C, 0x64});
    write("song.mid", StandardMIDIFile::write(song));
    output({"render", "--patch", "in -> out", "song.mid", "--clock", "33", "--tail", "0", "-o", "out.mid"});
    std::vector<std::uint64_t> ticks;
    for (const auto& [tick, bytes] : eventsOf(midiFile("out.mid")))
        if (bytes[0] == 0xF8) ticks.push_back(tick);
    ASSERT_EQ(ticks.size(), 49u);
    for (std::size_t index = 0; index < ticks.size(); ++index) EXPECT_EQ(ticks[index], index * 4);
}

TEST_F(RenderTest, AnArpeggioOfAChordFollowsTheClock) {
    const auto played = without(render("in -> arp(up, 1/8, gate:50) -> out",
                                       "0\t90 3C 64\n0\t90 40 50\n1.2\t80 3C 00\n1.2\t80 40 00\n", {"--clock"}),
                                {"F8", "FA"});
    // Notes end by the timer, half a step behind their own time stamps; the last key lets go of the last note.
    EXPECT_THAT(played, ElementsAre("0.229166667\t90 3C 64\tMidiOut", "0.354166667\t90 3C 00\tMidiOut",
                                    "0.479166667\t90 40 50\tMidiOut", "0.604166667\t90 40 00\tMidiOut",
                                    "0.729166667\t90 3C 64\tMidiOut", "0.854166667\t90 3C 00\tMidiOut",
                                    "0.979166667\t90 40 50\tMidiOut", "1.104166667\t90 40 00\tMidiOut",
                                    "1.200000000\t90 40 00\tMidiOut"));
}

TEST_F(RenderTest, AWaveFollowsTheClock) {
    const auto wave = without(
        render("in -> lfo(CC74, saw, div:1, sync:true) -> out", "", {"--clock", "60", "--tail", "1"}), {"F8", "FA"});
    ASSERT_EQ(wave.size(), 25u);
    for (std::size_t index = 0; index < wave.size(); ++index) {
        const std::size_t level = (((index + 1) % 24) * 127 + 12) / 24;
        char expected[3];
        std::snprintf(expected, sizeof expected, "%02zX", level);
        EXPECT_THAT(wave[index], HasSubstr(std::string("\tB0 4A ") + expected + "\t"));
    }
}

TEST_F(RenderTest, StartPressesStartAheadOfTheFirstInput) {
    const std::string patch = "clock(60, start:true) -> out\nin -> out";
    EXPECT_THAT(render(patch, "0\t90 3C 64\n", {"--start", "--tail", "0.05"}),
                ElementsAre("0.000000000\tFA\tMidiOut", "0.000000000\tF8\tMidiOut", "0.000000000\t90 3C 64\tMidiOut 2",
                            "0.041666000\tF8\tMidiOut"));
    EXPECT_THAT(render(patch, "0\t90 3C 64\n"), ElementsAre("0.000000000\t90 3C 64\tMidiOut 2"));
}

TEST_F(RenderTest, TheSeedDecidesEveryDraw) {
    const std::string patch = "in -> arp(random, 1/16, oct:4) -> out";
    const std::string chord = "0\t90 30 64\n0\t90 34 64\n0\t90 37 64\n0\t90 3A 64\n";
    const Words clock{"--clock", "--tail", "10"};
    const auto with = [&](const std::string& seed) { return render(patch, chord, {"--clock", "--seed", seed}); };
    EXPECT_EQ(with("1"), render(patch, chord, {"--clock"}));
    EXPECT_EQ(with("7"), with("7"));
    EXPECT_NE(with("7"), with("8"));
    EXPECT_EQ(with("18446744073709551615"), with("18446744073709551615"));
    EXPECT_NE(with("random"), with("random"));
}

TEST_F(RenderTest, TheTailDecidesHowLongTimeGoesOn) {
    const std::vector<std::pair<std::string, std::string>> cases{
        {"0", "1.000"}, {"2.5", "3.500"}, {"1e8", "100000001"}};
    for (const auto& [tail, duration] : cases) {
        const Outcome outcome = run({"render", "--patch", "in -> out", "--stats", "--tail", tail}, "1\t90 3C 64\n");
        EXPECT_EQ(outcome.status, 0);
        EXPECT_THAT(outcome.errors, HasSubstr("virtual duration: " + duration));
    }
}

TEST_F(RenderTest, EventsOfOneTimeAndEndpointAreOneBatch) {
    // The output gathers a batch, so the second output hears of the batch when the first has had all of it.
    EXPECT_THAT(render("in -> [out, out]", "0\t90 3C 64\n0\t90 40 64\n0.000000001\t90 43 64\n"),
                ElementsAre("0.000000000\t90 3C 64\tMidiOut", "0.000000000\t90 40 64\tMidiOut",
                            "0.000000000\t90 3C 64\tMidiOut 2", "0.000000000\t90 40 64\tMidiOut 2",
                            "0.000000001\t90 43 64\tMidiOut", "0.000000001\t90 43 64\tMidiOut 2"));
}

TEST_F(RenderTest, ALongTakePassesWholeAndInOrder) {
    std::string events;
    std::string expected;
    for (int index = 0; index < 100'000; ++index) {
        char line[40];
        std::snprintf(line, sizeof line, "%d.%03d000000\tB%X %02X %02X\t", index / 1000, index % 1000, index % 16,
                      index / 128 % 128, index % 128);
        events += std::string(line) + "Input\n";
        expected += std::string(line) + "MidiOut\n";
    }
    EXPECT_TRUE(output({"render", "--patch", "in -> out", "--tail", "0"}, events) == expected);
}

}  // namespace
}  // namespace varnolex::testing
