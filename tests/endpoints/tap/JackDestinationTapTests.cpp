#include <gmock/gmock.h>

#include "endpoints/UniqueID.hpp"
#include "endpoints/interceptor/MIDIInterceptor.hpp"
#include "endpoints/jack/JackPeer.hpp"
#include "endpoints/jack/JackServer.hpp"
#include "endpoints/jack/JackService.hpp"
#include "endpoints/tap/JackDestinationTap.hpp"
#include "platform/RealRuntime.hpp"
#include "platform/Sanitizer.hpp"
#include "platform/ports/PortBench.hpp"
#include "support/Places.hpp"

namespace varnolex {
namespace {

using testing::ElementsAre;

#if defined(VARNOLEX_THREAD_SANITIZER)
constexpr const char* reasonToSkip = "the JACK library isn't built for ThreadSanitizer, which reports its own threads";
#else
constexpr const char* reasonToSkip = nullptr;
#endif

constexpr int patienceMilliseconds = 15'000;

class JackDestinationTapTest : public testing::Test {
protected:
    void SetUp() override {
        if (reasonToSkip) GTEST_SKIP() << reasonToSkip;
        if (!JackServer::isInstalled()) GTEST_SKIP() << "jackd isn't installed: packaging/install-packages test";
        server = std::make_unique<JackServer>();
        server->start();
        begin();
    }
    void TearDown() override {
        tap.reset();
        server.reset();
    }

    void begin() {
        tap = std::make_unique<JackDestinationTap>(JackDestinationTap::Options{});
        tap->setListener([this](std::int32_t uniqueID, const PacketListView& list) {
            heard.with([&](auto& notes) {
                for (const Packet& packet : list)
                    notes.push_back(nameOf(uniqueID) + ":" + std::to_string(packet.bytes[1]));
            });
        });
    }

    template <class Condition>
    bool waitFor(Condition condition) {
        for (int waited = 0; waited < patienceMilliseconds; ++waited) {
            runtime.pollMain();
            if (condition()) return true;
            pause(1);
        }
        return false;
    }

    static std::string nameOf(std::int32_t uniqueID) {
        for (const std::string name : {"synth", "organ"})
            if (uniqueID == uniqueIDForName(name + ":in")) return name;
        return "unknown";
    }
    static std::string tapOf(const std::string& name) { return "Varnolex Tap:tap " + name + ":in"; }

    static bool areConnected(JackPeer& peer, const std::string& from, const std::string& to) {
        const jack_port_t* const port = jack_port_by_name(peer.handle(), from.c_str());
        return port && jack_port_connected_to(port, to.c_str());
    }

    /// Plays notes until the last one has been heard where it must be.
    std::vector<std::string> hear(JackPeer& peer, std::initializer_list<std::uint8_t> notes, std::size_t count) {
        heard.take();
        for (const std::uint8_t note : notes) peer.play({0x90, note, 100});
        EXPECT_TRUE(waitFor([&] { return peer.hasPlayedAll() && heard.get().size() >= count; }));
        return heard.get();
    }

    Guarded<std::vector<std::string>> heard;
    RealRuntime runtime;
    RuntimeScope scope{runtime};
    std::unique_ptr<JackServer> server;
    std::unique_ptr<JackDestinationTap> tap;
};

TEST_F(JackDestinationTapTest, FollowsWhatADestinationIsConnectedTo) {
    JackPeer keys("keys"), pads("pads"), synth("synth"), organ("organ");
    keys.connect(keys.outName(), synth.inName());
    keys.connect(keys.outName(), organ.inName());
    tap->start(uniqueIDForName("synth:in"));
    ASSERT_TRUE(waitFor([&] { return areConnected(keys, keys.outName(), tapOf("synth")); }));
    EXPECT_THAT(hear(keys, {1, 2, 3}, 3), ElementsAre("synth:1", "synth:2", "synth:3"));

    pads.connect(pads.outName(), synth.inName());
    ASSERT_TRUE(waitFor([&] { return areConnected(keys, pads.outName(), tapOf("synth")); }));
    EXPECT_THAT(hear(pads, {4}, 1), ElementsAre("synth:4"));
    EXPECT_TRUE(waitFor([&] { return synth.heardCount() == 4; })) << "the destination itself gets what it got";

    jack_disconnect(keys.handle(), keys.outName().c_str(), synth.inName().c_str());
    EXPECT_TRUE(waitFor([&] { return !areConnected(keys, keys.outName(), tapOf("synth")); }));

    tap->start(uniqueIDForName("organ:in"));
    ASSERT_TRUE(waitFor([&] { return areConnected(keys, keys.outName(), tapOf("organ")); }));
    EXPECT_THAT(hear(keys, {5}, 1), ElementsAre("organ:5"));
    tap->stop(uniqueIDForName("organ:in"));
    EXPECT_FALSE(keys.knowsPort(tapOf("organ")));
    EXPECT_THAT(hear(pads, {6}, 1), ElementsAre("synth:6"));
}

TEST_F(JackDestinationTapTest, WaitsForDestinationsAndServersThatComeAndGo) {
    tap->start(uniqueIDForName("synth:in"));
    for (int life = 0; life < 2; ++life) {
        auto keys = std::make_unique<JackPeer>("keys");
        for (int coming = 0; coming < 2; ++coming) {
            JackPeer synth("synth");
            keys->connect(keys->outName(), synth.inName());
            ASSERT_TRUE(waitFor([&] { return areConnected(*keys, keys->outName(), tapOf("synth")); })) << coming;
            EXPECT_THAT(hear(*keys, {7}, 1), ElementsAre("synth:7"));
        }
        EXPECT_TRUE(waitFor([&] { return !keys->knowsPort(tapOf("synth")); }));
        keys.reset();
        server->stop(life == 0 ? SIGKILL : SIGTERM);
        EXPECT_TRUE(waitFor([&] { return !tap->isConnected(); }));
        server->start();
        EXPECT_TRUE(waitFor([&] { return tap->isConnected(); }));
    }
}

TEST_F(JackDestinationTapTest, TheDriversProgramShowsAnInterceptorWhatOthersSend) {
    const TemporaryFolder folder;
    ::setenv("XDG_RUNTIME_DIR", folder.path.c_str(), 1);
    ::setenv("XDG_DATA_HOME", folder.path.c_str(), 1);
    const std::filesystem::path driver = builtProgram().parent_path().parent_path() / "lib/varnolex/VXDriver.plugin";
    tap.reset();
    ChildProcess program({(driver / "varnolex-tap").string()}, (folder.path / "log").string());
    SocketMessagePorts ports(folder.path / "varnolex");
    ASSERT_TRUE(waitFor([&] { return ports.find("com.varnolex.core") != nullptr; }));

    JackPeer keys("keys"), synth("synth");
    keys.connect(keys.outName(), synth.inName());
    JackService service(JackService::Options{});
    const MIDIServiceScope serviceScope(service);
    MIDIObjectRef destination = 0;
    ASSERT_TRUE(waitFor(
        [&] { return service.MIDIObjectFindByUniqueID(uniqueIDForName("synth:in"), destination) == midiSuccess; }));
    MIDIInterceptor interceptor(ports);
    std::vector<std::string> shown;
    interceptor.onMessages = [&](const MessageList& messages) {
        for (const MessageRef& message : messages)
            shown.push_back(std::string(message->originatingEndpointName.view()) + ":" +
                            std::to_string(message->statusByte));
    };
    interceptor.start();
    ASSERT_TRUE(interceptor.isAvailable());
    interceptor.add({.uniqueID = uniqueIDForName("synth:in"), .displayName = "Synth", .endpointRef = destination});
    ASSERT_TRUE(waitFor([&] { return areConnected(keys, keys.outName(), tapOf("synth")); }));
    keys.play({0x91, 60, 100});
    EXPECT_TRUE(waitFor([&] { return !shown.empty(); }));
    EXPECT_THAT(shown, ElementsAre("Synth →:145"));

    // A second driver has nothing to do here.
    ChildProcess second({(driver / "varnolex-tap").string()}, (folder.path / "second").string());
    EXPECT_TRUE(waitFor([&] {
        std::error_code error;
        return std::filesystem::file_size(folder.path / "second", error) > 0 && !error;
    }));
    interceptor.remove({.endpointRef = destination});
    EXPECT_TRUE(waitFor([&] { return !keys.knowsPort(tapOf("synth")); }));
    ::unsetenv("XDG_RUNTIME_DIR");
    ::unsetenv("XDG_DATA_HOME");
}

}  // namespace
}  // namespace varnolex
