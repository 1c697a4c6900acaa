#include <gmock/gmock.h>

#include "endpoints/ServiceFixture.hpp"
#include "endpoints/interceptor/MIDIInterceptor.hpp"
#include "endpoints/tap/MemoryTap.hpp"
#include "endpoints/tap/TapServer.hpp"
#include "platform/ports/MemoryMessagePorts.hpp"

namespace varnolex {
namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::IsEmpty;
namespace protocol = interceptorprotocol;

class TapServerTest : public ServiceFixture {
protected:
    TapServerTest() {
        std::string failure;
        EXPECT_TRUE(server.start(failure)) << failure;
        remote = ports.find(protocol::driverPortName);
        service.MIDIOutputPortCreate(client, "out", output);
    }

    void tell(std::int32_t id, const PortBytes& data) {
        remote->send(id, data, {});
        runtime.settle();
    }
    protocol::ClientNumber signOn() {
        return protocol::clientNumberFrom(remote->request(protocol::signOn, {}, {}, {}).data).value_or(0);
    }

    /// A client that speaks the protocol by hand, and notes what it hears in `heard`.
    struct PlainClient {
        protocol::ClientNumber number = 0;
        std::unique_ptr<LocalMessagePort> port;
    };
    PlainClient makeClient(const std::string& name) {
        PlainClient made{signOn(), nullptr};
        std::string failure;
        made.port = ports.open(
            protocol::clientPortName(made.number),
            [this, name](std::int32_t, std::span<const std::uint8_t> data) -> std::optional<PortBytes> {
                const auto copy = protocol::copyFrom(data);
                heard.push_back(name + ":" + (copy ? std::to_string(copy->destinationUniqueID) : "nonsense"));
                return std::nullopt;
            },
            failure);
        tell(protocol::ready, protocol::bytesOf(made.number));
        return made;
    }
    void want(const PlainClient& who, std::int32_t uniqueID, bool isWanted) {
        tell(isWanted ? protocol::startForwarding : protocol::stopForwarding,
             protocol::bytesOf(protocol::Forwarding{who.number, uniqueID}));
    }

    MIDIEndpointRef plug(std::int32_t uniqueID) {
        return service.plugDestination({.displayName = "D" + std::to_string(uniqueID), .uniqueID = uniqueID});
    }
    void sendTo(MIDIEndpointRef destination) {
        service.MIDISend(output, destination, OwnedList{{5, {0x90, 60, 100}}});
        runtime.settle();
    }

    MemoryMessagePorts ports;
    MemoryTap tap{service};
    TapServer server{ports, tap};
    std::unique_ptr<RemoteMessagePort> remote;
    MIDIPortRef output = 0;
};

TEST_F(TapServerTest, GivesEachClientWhatItAskedForAndTapsNoMore) {
    const auto synth = plug(9), organ = plug(10);
    const PlainClient first = makeClient("first"), second = makeClient("second");
    EXPECT_NE(first.number, second.number);
    EXPECT_EQ(server.clientCount(), 2u);
    want(first, 9, true);
    want(second, 9, true);
    want(second, 10, true);
    want(second, 10, true);
    sendTo(synth);
    sendTo(organ);
    EXPECT_THAT(heard, ElementsAre("first:9", "second:9", "second:10"));
    want(second, 9, false);
    sendTo(synth);
    EXPECT_EQ(heard.back(), "first:9");
    want(first, 9, false);
    sendTo(synth);
    EXPECT_THAT(heard, testing::SizeIs(4));
    EXPECT_THAT(tap.notes, ElementsAre("+9", "+10", "-9"));
}

TEST_F(TapServerTest, ForgetsAClientThatDied) {
    plug(9);
    PlainClient dying = makeClient("dying");
    const PlainClient living = makeClient("living");
    want(dying, 9, true);
    want(dying, 10, true);
    want(living, 9, true);
    dying.port.reset();
    runtime.runFor(200ms);
    EXPECT_EQ(server.clientCount(), 1u);
    EXPECT_THAT(tap.notes, ElementsAre("+9", "+10", "-10"));
    want(dying, 11, true);
    EXPECT_THAT(server.tapped(), ElementsAre(9)) << "who is forgotten has no wishes";
    tell(protocol::ready, protocol::bytesOf(dying.number));
    EXPECT_EQ(server.clientCount(), 1u);
}

TEST_F(TapServerTest, NonsenseHasNoEffect) {
    const PlainClient friendly = makeClient("friendly");
    struct Case {
        const char* what;
        std::int32_t id;
        PortBytes data;
    };
    const auto forwarding = [](protocol::ClientNumber number, std::int32_t uniqueID) {
        return protocol::bytesOf(protocol::Forwarding{number, uniqueID});
    };
    PortBytes tooLong = forwarding(friendly.number, 9);
    tooLong.push_back(0);
    const std::vector<Case> cases{
        {"an unknown message", 4, forwarding(friendly.number, 9)},
        {"a negative message", -1, forwarding(friendly.number, 9)},
        {"a start without data", protocol::startForwarding, {}},
        {"a start that is too short", protocol::startForwarding, PortBytes(7)},
        {"a start that is too long", protocol::startForwarding, tooLong},
        {"a start for nobody", protocol::startForwarding, forwarding(friendly.number + 1, 9)},
        {"a stop of what wasn't started", protocol::stopForwarding, forwarding(friendly.number, 9)},
        {"readiness without data", protocol::ready, {}},
        {"readiness of nobody", protocol::ready, protocol::bytesOf(friendly.number + 1)},
        {"readiness once more", protocol::ready, protocol::bytesOf(friendly.number)},
    };
    for (const Case& nonsense : cases) {
        tell(nonsense.id, nonsense.data);
        EXPECT_EQ(server.clientCount(), 1u) << nonsense.what;
        EXPECT_THAT(tap.notes, IsEmpty()) << nonsense.what;
    }
    const auto unready = signOn();
    tell(protocol::ready, protocol::bytesOf(unready));
    EXPECT_EQ(server.clientCount(), 1u) << "its port isn't there";
}

TEST_F(TapServerTest, ItsSizeIsBoundedWhateverClientsAskFor) {
    const PlainClient friendly = makeClient("friendly");
    for (std::int32_t uniqueID = 1; uniqueID <= 5000; ++uniqueID)
        remote->send(protocol::startForwarding, protocol::bytesOf(protocol::Forwarding{friendly.number, uniqueID}), {});
    runtime.settle();
    EXPECT_EQ(server.tapped().size(), TapDesk::destinationLimit);
    for (int count = 0; count < 5000; ++count) ASSERT_NE(signOn(), 0) << "who only signs on keeps nobody out";
    EXPECT_EQ(server.clientCount(), 1u);

    std::vector<PlainClient> crowd;
    while (crowd.size() + 1 < TapDesk::clientLimit) crowd.push_back(makeClient("crowd"));
    EXPECT_EQ(server.clientCount(), TapDesk::clientLimit);
    EXPECT_EQ(signOn(), 0);
    crowd.pop_back();
    runtime.runFor(200ms);
    EXPECT_NE(signOn(), 0);
}

TEST_F(TapServerTest, ShowsAnInterceptorWhatOthersSend) {
    const auto synth = plug(9);
    MIDIInterceptor interceptor(ports);
    interceptor.onMessages = [this](const MessageList& messages) {
        for (const MessageRef& message : messages)
            heard.push_back(std::string(message->originatingEndpointName.view()) + "@" +
                            std::to_string(message->timeStamp));
    };
    interceptor.start();
    ASSERT_TRUE(interceptor.isAvailable());
    const MIDIDestinationInfo info{.uniqueID = 9, .displayName = "Synth", .endpointRef = synth};
    interceptor.add(info);
    runtime.settle();
    sendTo(synth);
    runtime.runFor(100ms);
    EXPECT_THAT(heard, ElementsAre("Synth →@5"));
    interceptor.remove(info);
    runtime.settle();
    EXPECT_THAT(server.tapped(), IsEmpty());
}

}  // namespace
}  // namespace varnolex
