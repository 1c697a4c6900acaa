#include <gmock/gmock.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>

#include "endpoints/ServiceFixture.hpp"
#include "endpoints/interceptor/MIDIInterceptor.hpp"
#include "endpoints/tap/MemoryTap.hpp"
#include "endpoints/tap/TapServer.hpp"
#include "platform/EveryRuntime.hpp"
#include "platform/ports/PortBench.hpp"

namespace varnolex {
namespace {

using namespace std::chrono_literals;

/// A session with real threads and sockets, and a service of its own with one destination.
struct Session {
    explicit Session(const std::filesystem::path& folder) : ports(folder) {
        service.MIDIClientCreateWithBlock("session", {}, client);
        service.MIDIOutputPortCreate(client, "out", output);
    }

    RealBench bench;
    RuntimeScope runtimeScope{*bench.runtime};
    SocketMessagePorts ports;
    MemoryService service;
    MIDIServiceScope serviceScope{service};
    const MIDIEndpointRef synth = service.plugDestination({.displayName = "Synth", .uniqueID = 9});
    MIDIClientRef client = 0;
    MIDIPortRef output = 0;
};

/// A driver that plays to its destination by itself, ten lists at a time, until it is killed.
void runDriver(const std::filesystem::path& folder, int ready) {
    Session session(folder);
    MemoryTap tap(session.service);
    TapServer server(session.ports, tap);
    std::string failure;
    if (!server.start(failure)) ::_exit(1);
    const RepeatingTimer player = session.bench.runtime->mainQueue().repeating(0, 1ms, [&] {
        for (int list = 0; list < 10; ++list)
            session.service.MIDISend(session.output, session.synth,
                                     OwnedList{{7, {0x90, 60, 100}}, {8, {0x80, 60, 0}}});
    });
    if (::write(ready, "y", 1) != 1) ::_exit(1);
    session.bench.runtime->runMain();
}

class TapProcessTest : public testing::Test {
protected:
    pid_t startDriver() {
        std::array<int, 2> ends{};
        EXPECT_EQ(::pipe(ends.data()), 0);
        const pid_t child = runInChild([&] { runDriver(path, ends[1]); });
        ::close(ends[1]);
        char answer = 0;
        EXPECT_EQ(::read(ends[0], &answer, 1), 1);
        ::close(ends[0]);
        return child;
    }

    static void kill(pid_t child) {
        ::kill(child, SIGKILL);
        ::waitpid(child, nullptr, 0);
    }

    TemporaryFolder folder;
    const std::filesystem::path path = folder.path / "sockets";
};

TEST_F(TapProcessTest, AnInterceptorSurvivesTheSuddenDeathOfTheDriverAndFindsTheNextInANewRun) {
    for (int run = 0; run < 2; ++run) {
        const pid_t driver = startDriver();
        Session session(path);
        const MIDIDestinationInfo synth{.uniqueID = 9, .displayName = "Synth", .endpointRef = session.synth};
        std::size_t count = 0, wrong = 0;
        MIDIInterceptor interceptor(session.ports);
        interceptor.onMessages = [&](const MessageList& messages) {
            for (const MessageRef& message : messages) {
                wrong += message->statusByte != (count % 2 == 0 ? 0x90 : 0x80) || message->timeStamp != 7 + count % 2;
                ++count;
            }
        };
        interceptor.start();
        ASSERT_TRUE(interceptor.isAvailable());
        interceptor.add(synth);
        EXPECT_TRUE(session.bench.runUntil([&] { return count >= 1000; }));
        kill(driver);
        EXPECT_EQ(wrong, 0u);
        interceptor.remove(synth);
        interceptor.add(synth);
        EXPECT_TRUE(interceptor.activeEndpoints().empty());
    }
}

TEST_F(TapProcessTest, ADriverForgetsAClientThatDiedOrStalls) {
    std::array<int, 2> ends{};
    ASSERT_EQ(::pipe(ends.data()), 0);
    const pid_t child = runInChild([&] {
        // Waits for the driver, then wants its destination and never looks at what comes.
        char go = 0;
        if (::read(ends[0], &go, 1) != 1) ::_exit(1);
        Session own(path);
        MIDIInterceptor interceptor(own.ports);
        interceptor.start();
        interceptor.add({.uniqueID = 9, .displayName = "Synth", .endpointRef = own.synth});
        ::raise(SIGSTOP);
    });
    Session session(path);
    MemoryTap tap(session.service);
    TapServer server(session.ports, tap);
    std::string failure;
    ASSERT_TRUE(server.start(failure)) << failure;
    ASSERT_EQ(::write(ends[1], "g", 1), 1);
    EXPECT_TRUE(session.bench.runUntil([&] { return server.tapped().contains(9); }));
    ::waitpid(child, nullptr, WUNTRACED);
    // It takes nothing, and so loses copies, while nobody here waits for it.
    const OwnedList list{{1, Bytes(4000, 0xF8)}};
    EXPECT_TRUE(session.bench.runUntil([&] {
        session.service.MIDISend(session.output, session.synth, list);
        return server.lostCopies() > 10;
    }));
    EXPECT_EQ(server.clientCount(), 1u);
    kill(child);
    EXPECT_TRUE(session.bench.runUntil([&] { return server.clientCount() == 0 && server.tapped().empty(); }));
    ::close(ends[0]);
    ::close(ends[1]);
}

}  // namespace
}  // namespace varnolex
