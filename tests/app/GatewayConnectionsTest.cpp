#include <gmock/gmock.h>

#include "app/GatewayConnections.hpp"
#include "endpoints/interceptor/DriverDouble.hpp"
#include "platform/DefaultsStore.hpp"

namespace varnolex {
namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::UnorderedElementsAre;

class GatewayConnectionsTest : public DriverFixture {
protected:
    GatewayConnectionsTest() {
        openDriver();
        manager.setup();
        virtualPorts.setClient(manager.clientRef());
        gateway.start(manager.clientRef(), &ports);
        const auto note = [this](const MessageList& messages) {
            for (const MessageRef& message : messages) heard.emplace_back(message->originatingEndpointName.view());
        };
        gateway.subscribeToSources("test", note);
        gateway.subscribeToListeners("test", note);
        connections.onChange = [this](const GatewayConnections::Change& change) { changes.push_back(change); };
        manager.onEndpointsChanged = [this] { connections.endpointsDidChange(); };
    }

    MIDIEndpointRef plugSource(const std::string& name, std::int32_t uniqueID) {
        const auto source = service.plugSource({.displayName = name, .uniqueID = uniqueID});
        runtime.settle();
        return source;
    }

    std::vector<std::string> whoIsHeard(MIDIEndpointRef source) {
        heard.clear();
        service.send(source, OwnedList{{1, {0xF8}}});
        runtime.runFor(200ms);
        return heard;
    }

    DefaultsStore defaults{{}};
    VirtualPortManager virtualPorts{defaults};
    MIDIManager manager;
    MIDIGateway gateway;
    GatewayConnections connections{manager, gateway, virtualPorts};
    std::vector<GatewayConnections::Change> changes;
};

TEST_F(GatewayConnectionsTest, ListensToEverySourceThatComesUnderItsPresentName) {
    const MIDIEndpointRef keys = plugSource("Keys", 11);
    EXPECT_THAT(whoIsHeard(keys), ElementsAre("Keys"));
    service.rename(keys, "Grand");
    runtime.settle();
    EXPECT_THAT(whoIsHeard(keys), ElementsAre("Grand"));
}

TEST_F(GatewayConnectionsTest, TellsWhatCameAndCountsAReturnAsNew) {
    const MIDIEndpointRef keys = plugSource("Keys", 11);
    plug("Synth", 21);
    service.unplug(keys);
    runtime.settle();
    plugSource("Keys", 11);
    ASSERT_EQ(changes.size(), 4u);
    EXPECT_THAT(changes[0].addedSources, ElementsAre(11));
    EXPECT_THAT(changes[1].addedSources, IsEmpty());
    EXPECT_THAT(changes[1].addedDestinations, ElementsAre(21));
    EXPECT_THAT(changes[2].addedSources, IsEmpty());
    EXPECT_THAT(changes[3].addedSources, ElementsAre(11));
}

TEST_F(GatewayConnectionsTest, ListensOnToEndpointsThatHaveGoneButNotToThemAll) {
    for (int round = 0; round < 40; ++round) {
        service.unplug(plugSource("Keys", 11));
        service.unplug(plug("Synth", 21));
        runtime.settle();
    }
    EXPECT_EQ(gateway.portInputStream()->connectedEndpoints().size(), GatewayConnections::goneLimit);
    EXPECT_EQ(gateway.interceptor()->activeEndpoints().size(), GatewayConnections::goneLimit);
    EXPECT_THAT(whoIsHeard(plugSource("Keys", 11)), ElementsAre("Keys"));
}

TEST_F(GatewayConnectionsTest, DoesNotTakeItsOwnOutputsForNewSources) {
    virtualPorts.addOutput("Mine");
    runtime.settle();
    ASSERT_FALSE(changes.empty());
    for (const auto& change : changes) EXPECT_THAT(change.addedSources, IsEmpty());
}

TEST_F(GatewayConnectionsTest, InterceptsDestinationsOfOthersAlone) {
    plug("Synth", 21);
    service.plugDestination({.displayName = "Bus", .uniqueID = 22, .driverOwner = "com.apple.AppleMIDIIACDriver"});
    runtime.settle();
    virtualPorts.addInput("Mine");
    runtime.settle();
    EXPECT_EQ(manager.destinations().size(), 3u);
    EXPECT_EQ(gateway.interceptor()->activeEndpoints().size(), 1u);
    heard.clear();
    forward(21, OwnedList{{5, {0xF8}}});
    forward(22, OwnedList{{5, {0xF8}}});
    runtime.runFor(200ms);
    EXPECT_THAT(heard, ElementsAre("Synth →"));
}

}  // namespace
}  // namespace varnolex
