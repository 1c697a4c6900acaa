#include <csignal>

#include <nlohmann/json.hpp>

#include "end-to-end/ProgramTest.hpp"
#include "platform/MonotonicTime.hpp"
#include "support/ChildProcess.hpp"

namespace varnolex::testing {
namespace {

using ::testing::HasSubstr;
using ::testing::Not;
using ::testing::StartsWith;

const std::string corpus = sourceFolder() / "tests/corpus/";

using CallsTest = ProgramTest;

TEST_F(CallsTest, HelpAndVersionGoToStandardOutput) {
    EXPECT_EQ(output({"--version"}).substr(0, 9), "varnolex ");
    const std::string help = output({"--help"});
    for (const char* command : {"render", "compile", "tools", "dump", "convert", "loop"}) {
        EXPECT_THAT(help, HasSubstr(command));
        EXPECT_THAT(output({command, "--help"}), HasSubstr(std::string("varnolex ") + command));
    }
    const std::string render = output({"render", "--help"});
    for (const char* flag :
         {"--patch", "--studio", "-o", "--json", "--start", "--clock", "--seed", "--tail", "--stats"})
        EXPECT_THAT(render, HasSubstr(flag));
}

TEST_F(CallsTest, LiveWorkEndsCleanlyAtASignalHoweverEarlyItComes) {
    constexpr HostTime longest = 10 * ticksPerSecond;
    // Large enough that some of the signals come while it is made.
    std::string patch = "in";
    for (int node = 0; node < 100; ++node) patch += " -> transpose(1)";
    for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
        int ended = 0;
        for (int wait = 0; wait < 160 && ended < 4; wait += wait < 100 ? 8 : 20) {
            const HostTime start = monotonicTime();
            const Outcome outcome =
                run({"run", "--midi", "memory", "--patch", patch + " -> out", "--for", "30"}, "", [&](pid_t process) {
                    pause(wait);
                    ::kill(process, signal);
                });
            EXPECT_LT(monotonicTime() - start, longest) << wait;
            // Before there is anything to end, the signal ends the program by itself.
            EXPECT_TRUE(outcome.status == 0 || outcome.status == -signal) << outcome.status;
            ended += outcome.status == 0;
        }
    }
}

TEST_F(CallsTest, AWrongCallEndsWithTwoAndAHint) {
    write("a.txt", "0\t90 3C 64\n");
    const std::vector<std::pair<Words, std::string>> cases{
        {{"nonsense"}, "nonsense"},
        {{"--nonsense"}, "--nonsense"},
        {{"render"}, "render needs a PATCH, or --patch TEXT"},
        {{"render", "--patch", "in -> out", "a.txt", "b.txt"}, "\"b.txt\" is one too many"},
        {{"render", "-", "-"}, "can't both be standard input"},
        {{"render", "-"}, "can't both be standard input"},
        {{"render", "--patch", "in -> out", "a.txt", "--seed", "many"}, "not \"many\""},
        {{"render", "--patch", "in -> out", "a.txt", "--seed", "-1"}, "--seed"},
        {{"render", "--patch", "in -> out", "a.txt", "--seed", "99999999999999999999"}, "--seed"},
        {{"render", "--patch", "in -> out", "a.txt", "--clock", "0"}, "--clock takes 1 to 1000"},
        {{"render", "--patch", "in -> out", "a.txt", "--clock", "nan"}, "--clock takes 1 to 1000"},
        {{"render", "--patch", "in -> out", "a.txt", "--tail", "-1"}, "--tail"},
        {{"render", "--patch", "in -> out", "a.txt", "--tail", "nan"}, "--tail"},
        {{"render", "--patch", "in -> out", "a.txt", "--json", "-o", "x.mid"}, "x.mid"},
        {{"record", "--midi", "memory", "--for", "nan"}, "--for"},
        {{"loop", "export"}, "Try `varnolex loop export --help`"},
        {{"compile", "a.txt", "--patch", "in"}, "not both"},
        {{"compile", "a.txt", "-o", "x.txt"}, "x.txt doesn't end in .vxpatch"},
        {{"convert", "only-one"}, "OUT is required"},
        {{"dump", "a.txt", "b.txt"}, "b.txt"},
    };
    for (const auto& [words, expected] : cases) {
        SCOPED_TRACE(::testing::PrintToString(words));
        const Outcome outcome = run(words);
        EXPECT_EQ(outcome.status, 2);
        EXPECT_EQ(outcome.output, "");
        EXPECT_THAT(outcome.errors, StartsWith("varnolex: "));
        EXPECT_THAT(outcome.errors, HasSubstr(expected));
        EXPECT_THAT(outcome.errors, HasSubstr("--help`.\n"));
    }
    EXPECT_EQ(files(), std::set<std::string>{"a.txt"});
}

TEST_F(CallsTest, AFaultOfAFileEndsWithOneAndASentenceThatNamesThePlace) {
    write("a.txt", "0\t90 3C 64\n");
    write("words.txt", "# a remark\n\n0\t90 3C 64\nbad\n");
    write("backwards.txt", "1\t90 3C 64\n0.5\t80 3C 00\n");
    write("hex.txt", "0\t90 3G 64\n");
    write("wide.txt", "0\t90  3C\n");
    write("ten.txt", "0.1234567890\t90\n");
    write("more.txt", "0\t90\tIn\tmore\n");
    std::string dump = "0\t90 3C 64\n0\tF0";
    for (int index = 0; index < 0x10000; ++index) dump += " 01";
    write("long.txt", dump + " F7\n");
    write("patch.txt", "in -> bogus -> out\n");
    write("x.syx", "\xF0\x7D\xF7garbage");
    write("empty.mid", "");
    const Words passed{"render", "--patch", "in -> out"};
    const std::vector<std::pair<Words, std::string>> cases{
        {{"dump", "words.txt"}, "varnolex: words.txt:4: expected"},
        {{"dump", "backwards.txt"}, "varnolex: backwards.txt:2: expected"},
        {{"dump", "hex.txt"}, "varnolex: hex.txt:1: expected"},
        {{"dump", "wide.txt"}, "varnolex: wide.txt:1: expected"},
        {{"dump", "ten.txt"}, "varnolex: ten.txt:1: expected at most nine decimals"},
        {{"dump", "more.txt"}, "varnolex: more.txt:1: expected"},
        {{"dump", "x.syx"}, "varnolex: x.syx: offset 0x3: expected 0xF0"},
        {{"dump", "empty.mid"}, "varnolex: empty.mid: offset 0x0: "},
        {{"dump", "absent.txt"}, "varnolex: absent.txt: No such file or directory"},
        {{"dump", "."}, "varnolex: .: Is a directory"},
        {{"dump", corpus + "midi/bad-cut-inside-second-track.mid"}, "track 2, offset 0x7f: "},
        {{"render", "--patch", "in -> out", "words.txt"}, "varnolex: words.txt:4: expected"},
        {{"render", "--patch", "in -> out", "long.txt"}, "varnolex: long.txt:2: expected at most 65535 bytes"},
        {{"render", "patch.txt", "a.txt"}, "varnolex: patch.txt: Unknown node 'bogus'"},
        {{"render", "--patch", "in -> bogus", "a.txt"}, "varnolex: --patch: Unknown node 'bogus'"},
        {{"render", "absent.varnolex", "a.txt"}, "varnolex: absent.varnolex: No such file or directory"},
        {{"render", corpus + "documents/good-minimal.varnolex", "a.txt"}, "the document holds no studio"},
        {{"render", corpus + "documents/good-two-graphs.varnolex", "--studio", "Nope", "a.txt"},
         "there is no studio named \"Nope\""},
        {{"render", corpus + "documents/bad-cable-without-target.varnolex", "a.txt"},
         "modulars[1].connections[1].targetNodeID: missing"},
        {{"compile", "patch.txt"}, "varnolex: patch.txt: Unknown node 'bogus'"},
        {{"compile", "--patch", "in->out"}, "varnolex: --patch: Unknown node 'in->out'"},
        {{"tools", "Nope"}, "varnolex: there is no tool kind \"Nope\""},
        {{"convert", "a.txt", "out.varnolex"}, "varnolex: a.txt: "},
        {{"convert", corpus + "documents/bad-number-too-large.varnolex", "out.varnolex"}, "line 2, column 34: "},
        {{}, "varnolex: there is no display"},
        {{"--document", "a.varnolex"}, "varnolex: there is no display"},
    };
    const auto before = files();
    for (const auto& [words, expected] : cases) {
        SCOPED_TRACE(::testing::PrintToString(words));
        const Outcome outcome = run(words);
        EXPECT_EQ(outcome.status, 1);
        EXPECT_EQ(outcome.output, "");
        EXPECT_THAT(outcome.errors, StartsWith("varnolex: "));
        EXPECT_THAT(outcome.errors, HasSubstr(expected));
        EXPECT_EQ(std::ranges::count(outcome.errors, '\n'), 1) << outcome.errors;
    }
    EXPECT_EQ(files(), before);
    EXPECT_THAT(run({"dump"}, "0\t90 3C 64\nbad\n").errors, StartsWith("varnolex: standard input:2: expected"));
}

TEST_F(CallsTest, EveryBadFileOfTheCorpusIsRefusedByName) {
    for (const char* kind : {"documents", "midi"}) {
        for (const auto& entry : std::filesystem::directory_iterator(corpus + kind)) {
            const std::string file = entry.path();
            const bool isBad = entry.path().filename().string().starts_with("bad-");
            SCOPED_TRACE(file);
            const Outcome outcome =
                kind == std::string("midi") ? run({"dump", file}) : run({"convert", file, "out.varnolex"});
            EXPECT_EQ(outcome.status, isBad ? 1 : 0);
            if (!isBad) continue;
            EXPECT_THAT(outcome.errors, StartsWith("varnolex: " + file + ": "));
            EXPECT_EQ(outcome.output, "");
        }
    }
}

TEST_F(CallsTest, AnOutputThatCannotBeWrittenLeavesNothingBehind) {
    write("a.txt", "0\t90 3C 64\n");
    write("plain", "a file, not a folder");
    std::filesystem::create_directory(folder / "taken.mid");
    std::filesystem::create_directory(folder / "taken.vxpatch");
    const auto before = files();
    const std::vector<std::pair<Words, std::string>> cases{
        {{"render", "--patch", "in -> out", "a.txt", "-o", "absent/x.mid"}, "absent/x.mid: No such file or directory"},
        {{"render", "--patch", "in -> out", "a.txt", "-o", "plain/x.txt"}, "plain/x.txt: Not a directory"},
        {{"render", "--patch", "in -> out", "a.txt", "-o", "/dev/full"}, "/dev/full: No space left on device"},
        {{"record", "--midi", "memory", "--for", "1e8", "-o", "absent/take.mid"}, "absent/take.mid: No such"},
        {{"render", "--patch", "in -> out", "a.txt", "-o", "taken.mid"}, "taken.mid: Is a directory"},
        {{"compile", "--patch", "in -> out", "-o", "taken.vxpatch"}, "taken.vxpatch: Is a directory"},
        {{"convert", corpus + "documents/good-minimal.varnolex", "absent/x.varnolex"}, "absent/x.varnolex: No such"},
    };
    for (const auto& [words, expected] : cases) {
        const Outcome outcome = run(words);
        EXPECT_EQ(outcome.status, 1);
        EXPECT_THAT(outcome.errors, StartsWith("varnolex: " + expected));
    }
    EXPECT_EQ(files(), before);
    EXPECT_TRUE(std::filesystem::is_empty(folder / "taken.mid"));
}

TEST_F(CallsTest, ARunThatFailsLeavesTheFormerFileUntouched) {
    write("bad.txt", "0\t90 3C 64\nbad\n");
    write("former.mid", "the take of last night");
    write("former.varnolex", "the show of last night");
    EXPECT_EQ(run({"render", "--patch", "in -> out", "bad.txt", "-o", "former.mid"}).status, 1);
    EXPECT_EQ(run({"convert", "bad.txt", "former.varnolex"}).status, 1);
    EXPECT_EQ(read("former.mid"), "the take of last night");
    EXPECT_EQ(read("former.varnolex"), "the show of last night");
}

/// Waits until the process catches the signal, which says that it is ready for one, or has ended.
void waitUntilCaught(pid_t process, int signal) {
    for (;;) {
        std::ifstream status("/proc/" + std::to_string(process) + "/status");
        std::string line;
        while (std::getline(status, line)) {
            if (line.starts_with("State:\tZ")) return;
            if (!line.starts_with("SigCgt:")) continue;
            if (std::stoull(line.substr(7), nullptr, 16) >> (signal - 1) & 1) return;
        }
    }
}

TEST_F(CallsTest, ASignalEndsALongRenderCleanly) {
    write("former.mid", "the take of last night");
    const std::vector<Words> runs{
        {"render", "--patch", "in -> out", "--clock", "--tail", "1e8", "-o", "former.mid"},
        {"render", "--patch", "clock(300, start:true) -> out", "--start", "--tail", "1e8", "-o", "former.mid"},
    };
    for (const Words& words : runs)
        for (const int signal : {SIGINT, SIGTERM}) {
            const Outcome outcome = run(words, "", [signal](pid_t process) {
                waitUntilCaught(process, signal);
                kill(process, signal);
            });
            EXPECT_EQ(outcome.status, 1);
            EXPECT_EQ(outcome.errors, "varnolex: interrupted; nothing was written\n");
        }
    EXPECT_EQ(read("former.mid"), "the take of last night");
    EXPECT_EQ(files(), std::set<std::string>{"former.mid"});
}

TEST_F(CallsTest, CompileWritesTheThreeLists) {
    const std::string expected =
        "{\"nodes\":[{\"toolType\":\"MidiIn\",\"config\":{}},{\"toolType\":\"DataReader\",\"config\":"
        "{\"field\":\"dataByte2\",\"filter\":\"noteOn\"}},{\"toolType\":\"Transpose\",\"config\":{}},"
        "{\"toolType\":\"MidiOut\",\"config\":{}}],\"connections\":[[0,1],[0,2],[2,3]],"
        "\"valueConnections\":[[1,2,\"semitones\"]]}\n";
    const std::string text = "in -> transpose($vel) -> out";
    write("patch.txt", text + "\n");
    EXPECT_EQ(output({"compile", "--patch", text}), expected);
    EXPECT_EQ(output({"compile", "patch.txt"}), expected);
    EXPECT_EQ(output({"compile"}, text), expected);
    EXPECT_EQ(output({"compile", "-"}, text), expected);
    EXPECT_EQ(output({"compile", "--patch", ""}), "{\"nodes\":[],\"connections\":[],\"valueConnections\":[]}\n");
}

TEST_F(CallsTest, ACompiledPatchFilePlaysLikeItsText) {
    const std::string text = "in -> transpose(+7) -> [out, mono(lowest) -> out]";
    const std::string notes = "0\t90 3C 64\n0\t90 30 64\n1\t80 30 00\n1\t80 3C 00\n";
    EXPECT_EQ(output({"compile", "--patch", text, "-o", "two.vxpatch"}), "");
    EXPECT_EQ(output({"render", "two.vxpatch"}, notes), output({"render", "--patch", text}, notes));

    // From left to right: no node stands to the left of one that feeds it.
    const auto graph = nlohmann::json::parse(read("two.vxpatch"))["modulars"][0];
    std::map<std::string, double> places;
    for (const auto& node : graph["nodes"]) places[node["id"]] = node["positionX"];
    for (const auto& cable : graph["connections"])
        EXPECT_LT(places[cable["sourceNodeID"]], places[cable["targetNodeID"]]);
}

TEST_F(CallsTest, ToolsTellsTheWholeCatalogue) {
    const auto list = nlohmann::json::parse(output({"tools", "--json"}));
    ASSERT_EQ(list.size(), 59u);
    const std::string text = output({"tools"});
    for (std::size_t index = 0; index < list.size(); ++index) {
        const auto& kind = list[index];
        EXPECT_EQ(kind["index"], index);
        EXPECT_THAT(text, HasSubstr("  " + kind["rawValue"].get<std::string>() + " "));
        EXPECT_THAT(text, HasSubstr(kind["description"].get<std::string>()));
        EXPECT_EQ(kind["record"].is_null(), kind["parameters"].empty()) << kind["case"];
    }
    const auto transpose = list[4];
    EXPECT_EQ(transpose["case"], "transpose");
    EXPECT_EQ(transpose["record"], "TransposeConfig");
    EXPECT_EQ(transpose["ports"].dump(), R"([{"high":24,"id":"semitones","label":"Semitones","low":-24}])");
    for (const char* name : {"Transpose", "transpose"})
        EXPECT_EQ(nlohmann::json::parse(output({"tools", name, "--json"})).front(), transpose) << name;
    EXPECT_EQ(output({"tools", "MIDI In"}), output({"tools", "midiIn"}));
}

TEST_F(CallsTest, DumpPrintsTypedMessages) {
    const std::string events =
        "0.5\t90 3c 64\n"
        "0.5\tF0 7D 01 F7\tDesk\n"
        "1\tB3 63 01\n1\tB3 62 02\n1\tB3 06 03\n1\tB3 26 04\n"
        "2\tF8\n";
    EXPECT_EQ(output({"dump", "--json"}, events),
              "{\"time\":0.5,\"class\":\"VoiceMessage\",\"type\":\"noteOn\",\"status\":144,\"channel\":0,"
              "\"data\":[60,100],\"endpoint\":\"Input\"}\n"
              "{\"time\":0.5,\"class\":\"SystemExclusiveMessage\",\"type\":\"sysex\",\"status\":240,"
              "\"data\":[125,1],\"eox\":true,\"endpoint\":\"Desk\"}\n"
              "{\"time\":1.0,\"class\":\"VoiceMessage\",\"type\":\"cc\",\"status\":179,\"channel\":3,"
              "\"data\":[99,1],\"endpoint\":\"Input\"}\n"
              "{\"time\":1.0,\"class\":\"VoiceMessage\",\"type\":\"cc\",\"status\":179,\"channel\":3,"
              "\"data\":[98,2],\"endpoint\":\"Input\"}\n"
              "{\"time\":1.0,\"class\":\"VoiceMessage\",\"type\":\"cc\",\"status\":179,\"channel\":3,"
              "\"data\":[6,3],\"endpoint\":\"Input\"}\n"
              "{\"time\":1.0,\"class\":\"VoiceMessage\",\"type\":\"cc\",\"status\":179,\"channel\":3,"
              "\"data\":[38,4],\"endpoint\":\"Input\"}\n"
              "{\"time\":2.0,\"class\":\"SystemRealTimeMessage\",\"type\":\"clock\",\"status\":248,\"data\":[],"
              "\"endpoint\":\"Input\"}\n");
    const std::string folded = output({"dump", "--json", "--assemble"}, events);
    EXPECT_THAT(folded, HasSubstr("\"class\":\"NRPNMessage\""));
    EXPECT_THAT(folded, HasSubstr("\"channel\":3,\"parameter\":130,\"value\":388,\"rpn\":false"));
    EXPECT_THAT(folded, ::testing::Not(HasSubstr("VoiceMessage\",\"type\":\"cc")));
    EXPECT_THAT(output({"dump"}, events), StartsWith("0.500000000\tVoiceMessage\tnoteOn\t0\t3C 64\tInput\n"));
    EXPECT_EQ(output({"dump"}), "");
    // What no packet holds can be shown all the same.
    write("long.syx", "\xF0" + std::string(100'000, 'a') + "\xF7");
    EXPECT_EQ(output({"dump", "long.syx"}).size(),
              3 * 100'000 + std::string("0.000000000\tSystemExclusiveMessage\tsysex\t-\t\tInput").size());
}

TEST_F(CallsTest, ConvertRepairsAndSaysWhatItDropped) {
    const Outcome first = run({"convert", corpus + "documents/damaged-dropped-parts.varnolex", "repaired.varnolex"});
    EXPECT_EQ(first.status, 0);
    EXPECT_EQ(first.output, "");
    EXPECT_THAT(first.errors, HasSubstr("The node \"Gone\" of \"Damaged\" is of the unknown kind \"Teleport\"."));
    EXPECT_THAT(first.errors, HasSubstr("1 MIDI cable of \"Damaged\" ends at a node that isn't there."));

    // What was repaired is whole, and in the current form already.
    EXPECT_EQ(output({"convert", "repaired.varnolex", "again.varnolex"}), "");
    EXPECT_EQ(read("again.varnolex"), read("repaired.varnolex"));
    EXPECT_EQ(output({"convert", "repaired.varnolex", "-"}), read("repaired.varnolex"));
    EXPECT_EQ(output({"convert", "-", "-"}, read("repaired.varnolex")), read("repaired.varnolex"));
}

TEST_F(CallsTest, ALoopGoesIntoADocumentAndOut) {
    const std::string examples = sourceFolder() / "examples/";
    const std::string patch = examples + "looper-session.vxpatch";
    const auto failure = [&](const Words& words) {
        const Outcome outcome = run(words);
        EXPECT_EQ(outcome.status, 1);
        return outcome.errors;
    };
    EXPECT_THAT(failure({"loop", "export", patch}), HasSubstr("no notes in the loop of \"Loop\""));
    EXPECT_THAT(failure({"loop", "export", patch, "--node", "X"}), HasSubstr("no looper named \"X\""));
    EXPECT_THAT(failure({"loop", "export", examples + "latch.vxpatch"}), HasSubstr("there is no looper"));
    EXPECT_THAT(failure({"loop", "import", patch, patch, "-o", "x"}), HasSubstr("header of a MIDI file"));
    EXPECT_EQ(output({"loop", "import", patch, examples + "melody.mid", "-o", "with.vxpatch"}), "");
    const std::string loop = output({"loop", "export", "with.vxpatch"});
    EXPECT_EQ(loop.substr(0, 14), std::string("MThd\0\0\0\6\0\0\0\1\0\x18", 14));
    write("loop.mid", loop);
    EXPECT_EQ(output({"loop", "import", "with.vxpatch", "loop.mid", "--node", "Loop"}), "");
    EXPECT_EQ(output({"convert", "with.vxpatch", "again.vxpatch"}), "");
    EXPECT_EQ(output({"loop", "export", "again.vxpatch"}), loop);
    EXPECT_THAT(output({"render", "again.vxpatch", "-", "--clock"}, "0.1\tB0 17 7F\n"), HasSubstr("90 3C 57\tSynth"));
}

TEST_F(CallsTest, ALooperIsPlayedByControllersAlone) {
    const std::string examples = sourceFolder() / "examples/";
    const std::string heard =
        output({"render", examples + "looper-session.vxpatch", examples + "looper-session.events", "--clock"});
    EXPECT_THAT(heard, HasSubstr("2.500000000\t90 2B 64\tSynth\n2.708000000\t90 2B 00\tSynth\n"));
    EXPECT_THAT(heard, HasSubstr("8.250000000\t90 41 64\tSynth\n")) << "the second layer, transposed";
    EXPECT_THAT(heard, Not(HasSubstr("10.250000000"))) << "undone";
    EXPECT_THAT(heard, ::testing::EndsWith("12.020000000\t90 24 00\tSynth\n")) << "stopped";
}

}  // namespace
}  // namespace varnolex::testing
