#include <set>
#include <sstream>

#include "end-to-end/ProgramTest.hpp"
#include "endpoints/jack/JackPeer.hpp"
#include "endpoints/jack/JackServer.hpp"

namespace varnolex::testing {
namespace {

using ::testing::AllOf;
using ::testing::ContainsRegex;
using ::testing::HasSubstr;
using ::testing::StartsWith;

/// The program live on a JACK server of the test's own, among programs of other people.
class LiveTest : public ProgramTest {
protected:
    void SetUp() override {
        if (!JackServer::isInstalled()) GTEST_SKIP() << "no jackd is installed";
        server.start();
        environment = {"JACK_NO_START_SERVER=1", "JACK_DEFAULT_SERVER=" + server.name()};
    }

    /// Four notes a second for each of two keys, half as long as their distance.
    std::unique_ptr<ChildProcess> startPlayer() const {
        return std::make_unique<ChildProcess>(
            Words{"jack_midiseq", "seq", "24000", "0", "60", "8000", "12000", "64", "8000"});
    }

    /// Writes what it hears into "heard".
    std::unique_ptr<ChildProcess> startListener() const {
        return std::make_unique<ChildProcess>(Words{"stdbuf", "-oL", "jack_midi_dump", "ear"},
                                              (folder / "heard").string());
    }

    /// Runs the program until the list that it prints holds the text.
    void waitForEndpoint(const std::string& name) const {
        ASSERT_TRUE(eventually([&] { return run({"list"}).output.find(name) != std::string::npos; })) << name;
    }

    static bool eventually(const std::function<bool()>& isSo, int looks = 500) {
        for (int attempt = 0; attempt < looks; ++attempt, pause(20))
            if (isSo()) return true;
        return false;
    }

    /// The hexadecimal bytes of what the listener heard, as it writes them behind a time.
    std::vector<std::string> heard() const {
        std::vector<std::string> messages;
        std::istringstream lines(read("heard"));
        for (std::string line; std::getline(lines, line);)
            if (const auto colon = line.find(": "); colon != std::string::npos)
                messages.push_back(line.substr(colon + 2, 8));
        return messages;
    }

    static std::set<std::string> notesLeft(const std::vector<std::string>& messages) {
        std::set<std::string> sounding;
        for (const std::string& message : messages) {
            const bool begins = message.starts_with("90") && message.substr(6, 2) != "00";
            begins ? (void)sounding.insert(message.substr(3, 2)) : (void)sounding.erase(message.substr(3, 2));
        }
        return sounding;
    }

    JackServer server;
};

TEST_F(LiveTest, showsAndRecordsWhatOthersPlay) {
    const auto player = startPlayer();
    waitForEndpoint("seq out");
    EXPECT_THAT(output({"list"}), StartsWith("MIDI service: jack\nSources:\n"));
    EXPECT_THAT(output({"list", "--json"}),
                AllOf(HasSubstr("\"direction\": \"source\""), HasSubstr("\"name\": \"seq out\"")));

    const Outcome shown = run({"monitor", "SEQ", "--kind", "noteOn", "--json", "--for", "1"});
    EXPECT_EQ(shown.status, 0);
    EXPECT_THAT(shown.output, AllOf(HasSubstr("\"type\":\"noteOn\""), HasSubstr("\"endpoint\":\"seq out\"")));
    EXPECT_THAT(shown.output, ::testing::Not(HasSubstr("noteOff")));
    EXPECT_THAT(shown.errors, HasSubstr("seq out: "));

    EXPECT_EQ(output({"record", "-o", "take.mid", "--for", "1"}), "");
    EXPECT_THAT(output({"dump", "take.mid"}), HasSubstr("VoiceMessage\tnoteOn"));
}

TEST_F(LiveTest, sendsAFileInItsOwnTime) {
    auto listener = startListener();
    waitForEndpoint("ear input");
    const std::string music = "0\t90 3C 40\n0.1\t80 3C 40\n0.2\tB0 07 7F\n0.2\tC0 05\n";
    const auto hasCome = [&] { return heard().size() == 4; };
    EXPECT_EQ(output({"send", "ear"}, music), "");
    const std::vector<std::string> expected{"90 3c 40", "80 3c 40", "b0 07 7f"};
    // On a machine so busy that the server leaves cycles of the listener out, what was said in them is lost on it.
    for (int attempt = 0; attempt < 3 && !eventually(hasCome, 50); ++attempt) {
        std::printf("heard only %s\n", ::testing::PrintToString(heard()).c_str());
        listener.reset();
        listener = startListener();
        waitForEndpoint("ear input");
        EXPECT_EQ(output({"send", "ear"}, music), "");
    }
    ASSERT_TRUE(eventually(hasCome)) << ::testing::PrintToString(heard());
    const auto messages = heard();
    EXPECT_EQ(std::vector(messages.begin(), messages.begin() + 3), expected);
    EXPECT_THAT(messages[3], StartsWith("c0 05"));
    std::string moreThanTheServiceTakesAtOnce;
    for (int note = 0; note < 6000; ++note) moreThanTheServiceTakesAtOnce += "0\t90 3C 00\n";
    EXPECT_EQ(output({"send", "ear"}, moreThanTheServiceTakesAtOnce), "");
}

TEST_F(LiveTest, endsWhatItHasSentWhenItIsInterrupted) {
    const auto listener = startListener();
    waitForEndpoint("ear input");
    const Outcome outcome = run({"send", "ear"}, "0\t90 3C 40 90 40 40 B0 40 7F\n20\t90 3C 00\n", [&](pid_t process) {
        EXPECT_TRUE(eventually([&] { return heard().size() == 3; }));
        ::kill(process, SIGHUP);
    });
    EXPECT_EQ(outcome.status, 0);
    EXPECT_TRUE(eventually([&] { return heard().size() == 6; }));
    const auto messages = heard();
    EXPECT_THAT(std::vector(messages.begin() + 3, messages.end()),
                ::testing::ElementsAre("80 3c 40", "80 40 40", "b0 40 00"));
}

TEST_F(LiveTest, runsAStudioThroughTheLossOfAPeerAndEndsItsNotes) {
    const auto listener = startListener();
    auto player = startPlayer();
    waitForEndpoint("seq out");
    waitForEndpoint("ear input");
    const auto hearsMore = [&] {
        const std::size_t before = heard().size();
        return eventually([&] { return heard().size() > before + 4; });
    };
    const Words call{"run", "--patch", "in -> transpose(12) -> out", "--in", "seq", "--out", "ear"};
    const Outcome outcome = run(call, "", [&](pid_t process) {
        EXPECT_TRUE(hearsMore());
        EXPECT_THAT(run({"list"}).output, ::testing::Not(HasSubstr("Varnolex")));
        EXPECT_TRUE(eventually([&] { return !notesLeft(heard()).empty(); }));
        player->end(SIGKILL);
        EXPECT_TRUE(eventually([&] { return run({"list"}).output.find("  seq out\n") == std::string::npos; }));
        {
            const ChildProcess visitor({"jack_midi_dump", "visitor"});
            waitForEndpoint("visitor input");
        }
        EXPECT_TRUE(eventually([&] { return notesLeft(heard()).empty(); })) << "what the dead player left sounding";
        player = startPlayer();
        EXPECT_TRUE(hearsMore());
        // Between two notes there would be nothing to end.
        EXPECT_TRUE(eventually([&] { return !notesLeft(heard()).empty(); }));
        ::kill(process, SIGINT);
    });
    EXPECT_EQ(outcome.status, 0);
    EXPECT_THAT(outcome.errors,
                AllOf(HasSubstr("\"MidiIn\" hears \"seq out\""), HasSubstr("waits for \"seq out\", which has gone"),
                      HasSubstr("\"MidiOut\" plays on \"ear input\""), HasSubstr("runs on jack; Ctrl-C ends it")));
    // Once, however often the endpoints change meanwhile.
    EXPECT_EQ(outcome.errors.find("waits for"), outcome.errors.rfind("waits for"));
    EXPECT_TRUE(eventually([&] { return notesLeft(heard()).empty(); })) << ::testing::PrintToString(heard());
    EXPECT_THAT(heard().front(), AllOf(StartsWith("90 "), HasSubstr(" 4")));
}

TEST_F(LiveTest, takesMusicThroughTenNodesInOnePeriodWithoutJitter) {
    std::string patch = "in";
    for (int node = 0; node < 8; ++node) patch += " -> transpose(0)";
    std::string measured;
    // A machine so busy that the server misses cycles has little to say about latency.
    const auto hasMissedCycles = [&] { return measured.find("Xruns") != std::string::npos; };
    const JackPeer peer("peer");
    const auto measure = [&] {
        const ChildProcess meter(
            {"jack_midi_latency_test", "-s", "200", peer.portLike(":MidiIn$"), peer.portLike(":MidiOut$")},
            (folder / "measured").string());
        // It gives up by itself when a message doesn't come.
        eventually([&] { return read("measured").find("Messages received:") != std::string::npos; }, 1000);
        measured = read("measured");
        return !hasMissedCycles() && measured.find("Messages received: 200\n") != std::string::npos;
    };
    run({"run", "--patch", patch + " -> out(noteOffVel:true)"}, "", [&](pid_t process) {
        EXPECT_TRUE(
            eventually([&] { return !peer.portLike(":MidiIn$").empty() && !peer.portLike(":MidiOut$").empty(); }));
        for (int attempt = 0; attempt < 8 && !measure(); ++attempt) {
        }
        ::kill(process, SIGINT);
    });
    std::printf("%s\n", measured.c_str());
    if (hasMissedCycles()) GTEST_SKIP() << "the machine was too busy for the server";
    EXPECT_THAT(measured, HasSubstr("Messages received: 200\n"));
    EXPECT_THAT(measured, ContainsRegex("Lowest latency: [0-9.]+ ms \\(256 frames\\)"));
    EXPECT_THAT(measured, ContainsRegex("Highest latency: [0-9.]+ ms \\(256 frames\\)"));
}

TEST_F(LiveTest, offersPortsForEndsWithoutEndpoints) {
    const Outcome outcome = run({"run", "--patch", "in -> out"}, "", [&](pid_t process) {
        waitForEndpoint("MidiOut");
        waitForEndpoint("MidiIn");
        ::kill(process, SIGTERM);
    });
    EXPECT_EQ(outcome.status, 0);
    EXPECT_THAT(outcome.errors, HasSubstr("\"MidiIn\" hears what others send to \"MidiIn\""));
}

TEST_F(LiveTest, saysWhatIsWrongInOneSentence) {
    const auto listener = startListener();
    waitForEndpoint("ear input");
    struct Row {
        Words call;
        int status;
        std::string sentence;
    };
    const std::vector<Row> rows{
        {{"send", "nobody"}, 1, "varnolex: there is no destination \"nobody\"; there are \"ear input\"\n"},
        {{"record", "nobody"}, 1, "varnolex: there is no source at all, so none called \"nobody\"\n"},
        {{"monitor", "nobody"}, 1, "varnolex: there is no source at all, so none called \"nobody\"\n"},
        {{"run", "--patch", "in -> out", "--in", "nobody"},
         1,
         "varnolex: there is no source at all, so none called \"nobody\"\n"},
        {{"run", "--patch", "in -> nonsense"}, 1, "varnolex: --patch: "},
        {{"run"}, 2, "varnolex: run needs a PATCH, or --patch TEXT\n"},
        {{"monitor", "--kind", "noise"}, 2, "varnolex: there is no kind \"noise\"; there are noteOn, "},
        {{"monitor", "--channel", "17"}, 2, "varnolex: "},
        {{"list", "--midi", "usb"}, 2, "varnolex: --midi: takes auto, jack, alsa or memory, not \"usb\"\n"},
        {{"record", "--json", "-o", "take.mid"}, 2, "varnolex: --json writes text"},
        {{"record", "-o", "nowhere/take.mid"}, 1, "varnolex: nowhere/take.mid: No such file or directory\n"},
    };
    for (const Row& row : rows) {
        const Outcome outcome = run(row.call);
        EXPECT_EQ(outcome.status, row.status) << row.sentence;
        EXPECT_THAT(outcome.errors, StartsWith(row.sentence));
        EXPECT_EQ(outcome.output, "");
    }
    server.stop();
    const Outcome outcome = run({"list", "--midi", "jack"});
    EXPECT_EQ(outcome.status, 1);
    EXPECT_THAT(outcome.errors, StartsWith("varnolex: no JACK server answers"));
}

}  // namespace
}  // namespace varnolex::testing
