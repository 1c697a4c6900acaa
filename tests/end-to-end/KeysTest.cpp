#include "end-to-end/ProgramTest.hpp"
#include "endpoints/jack/JackServer.hpp"
#include "support/DisplayServer.hpp"
#include "support/Places.hpp"

namespace varnolex::testing {
namespace {

using ::testing::HasSubstr;

/// The program live beside an X display and a JACK server of the test's own.
class KeysLiveTest : public ProgramTest {
protected:
    void SetUp() override {
        if (!JackServer::isInstalled() || !DisplayServer::isInstalled())
            GTEST_SKIP() << "jackd, Xvfb, xdotool and xev aren't all installed";
        server.start();
        display = std::make_unique<DisplayServer>(folder);
        environment = {"JACK_NO_START_SERVER=1", "JACK_DEFAULT_SERVER=" + server.name(), "DISPLAY=" + display->name()};
    }

    static bool eventually(const std::function<bool()>& isSo) {
        for (int attempt = 0; attempt < 500; ++attempt, pause(20))
            if (isSo()) return true;
        return false;
    }
    bool isListed(const std::string& endpoint) const {
        return eventually([&] { return run({"list"}).output.find(endpoint) != std::string::npos; });
    }
    bool appears(const std::string& file, const std::string& text) const {
        return eventually([&] { return read(file).find(text) != std::string::npos; });
    }

    JackServer server;
    std::unique_ptr<DisplayServer> display;
};

TEST_F(KeysLiveTest, playsNotesOnTheComputersKeyboard) {
    const ChildProcess listener(Words{"stdbuf", "-oL", "jack_midi_dump", "ear"}, (folder / "heard").string());
    ASSERT_TRUE(isListed("ear input"));
    const Outcome outcome =
        run({"run", "--patch", "keyinput -> transpose(12) -> out", "--out", "ear"}, "", [&](pid_t process) {
            EXPECT_TRUE(eventually([&] {
                display->type({"key", "z"});
                return read("heard").find("90 3c 64") != std::string::npos;
            }));
            EXPECT_TRUE(appears("heard", "90 3c 00"));
            display->type({"keydown", "u"});
            EXPECT_TRUE(appears("heard", "90 53 64"));
            ::kill(process, SIGINT);
        });
    EXPECT_EQ(outcome.status, 0) << outcome.errors;
    EXPECT_TRUE(appears("heard", "90 53 00")) << "the key that was still down";
}

TEST_F(KeysLiveTest, turnsPagesByPedal) {
    const auto window = display->start({"stdbuf", "-oL", "xev", "-geometry", "320x240+0+0", "-event", "keyboard"},
                                       (folder / "window").string());
    display->type({"search", "--sync", "--onlyvisible", "--name", "Event Tester"});
    const Outcome outcome =
        run({"run", (sourceFolder() / "examples/page-turn.vxpatch").string()}, "", [&](pid_t process) {
            EXPECT_TRUE(isListed("MidiIn"));
            EXPECT_EQ(output({"send", "MidiIn"}, "0\tB0 43 7F\n0.2\tB0 43 00\n"), "");
            EXPECT_TRUE(appears("window", "Next)"));
            EXPECT_TRUE(appears("window", "KeyRelease event"));
            ::kill(process, SIGINT);
        });
    EXPECT_EQ(outcome.status, 0) << outcome.errors;
}

TEST_F(ProgramTest, saysWhyItHearsNoKeys) {
    const Words call{"run", "--midi", "memory", "--patch", "keyinput -> out", "--for", "0.1"};
    EXPECT_THAT(run(call).errors,
                HasSubstr("The keys of the computer's keyboard are out of reach: there is no X display"));
    environment = {"WAYLAND_DISPLAY=wayland-0"};
    const Outcome outcome = run(call);
    EXPECT_THAT(outcome.errors, HasSubstr("Wayland keeps them from all programs"));
    EXPECT_EQ(outcome.status, 0);
}

}  // namespace
}  // namespace varnolex::testing
