#include <gmock/gmock.h>

#include "endpoints/interceptor/DriverDouble.hpp"
#include "endpoints/interceptor/InterceptorLibrary.hpp"

namespace varnolex {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class InterceptorLibraryTest : public DriverFixture {
protected:
    InterceptorClientRef createClient() {
        InterceptorClientRef made;
        EXPECT_EQ(library.createClient(made), interceptorSuccess);
        return made;
    }

    /// A port that notes "name:reference:first byte".
    InterceptorPortRef createPort(const InterceptorClientRef& owner, const std::string& name) {
        InterceptorPortRef made;
        const auto read = [this, name](const PacketListView& list, std::uintptr_t reference) {
            for (const Packet& packet : list)
                heard.push_back(name + ":" + std::to_string(reference) + ":" + std::to_string(packet.bytes[0]));
        };
        EXPECT_EQ(library.createPort(owner, read, made), interceptorSuccess);
        return made;
    }

    InterceptorLibrary library{ports};
};

TEST_F(InterceptorLibraryTest, SignsOnOnlyWithADriverThatGivesANumber) {
    InterceptorClientRef made;
    EXPECT_EQ(library.createClient(made), 17);
    openDriver();
    for (const PortBytes& reply : {PortBytes{}, PortBytes{1, 2, 3}, PortBytes{1, 2, 3, 4, 5}}) {
        signOnReply = reply;
        EXPECT_EQ(library.createClient(made), 18);
    }
    EXPECT_FALSE(made);
    EXPECT_THAT(takeTold(), IsEmpty());
    signOnReply = interceptorprotocol::bytesOf(7);
    EXPECT_EQ(library.createClient(made), 0);
    EXPECT_THAT(takeTold(), ElementsAre("1:7"));
    InterceptorClientRef second;
    EXPECT_EQ(library.createClient(second), 18) << "the number's port is taken";
    EXPECT_EQ(library.disposeClient(made), 0);
    EXPECT_FALSE(ports.find("com.varnolex.core.7"));
    EXPECT_EQ(library.disposeClient(made), -50);
}

TEST_F(InterceptorLibraryTest, AsksForADestinationWithTheFirstConnectionAndNoMoreAfterTheLast) {
    openDriver();
    const auto own = createClient();
    const auto first = createPort(own, "first");
    const auto second = createPort(own, "second");
    const auto synth = plug("Synth", -9);
    takeTold();
    EXPECT_EQ(library.disconnect(first, synth), 34);
    EXPECT_EQ(library.connect(first, synth, 1), 0);
    EXPECT_EQ(library.connect(first, synth, 2), 33);
    EXPECT_THAT(takeTold(), ElementsAre("2:7,-9"));
    EXPECT_EQ(library.connect(second, synth, 2), 0);
    EXPECT_EQ(library.disconnect(first, synth), 0);
    EXPECT_EQ(library.disconnect(first, synth), 34);
    EXPECT_THAT(takeTold(), IsEmpty());
    EXPECT_EQ(library.disposePort(second), 0);
    EXPECT_THAT(takeTold(), ElementsAre("3:7,-9"));
    EXPECT_EQ(library.connect(first, synth, 1), 0);
    EXPECT_EQ(library.disposeClient(own), 0);
    EXPECT_THAT(takeTold(), ElementsAre("2:7,-9", "3:7,-9"));
}

TEST_F(InterceptorLibraryTest, ADestinationThatCameBackStaysWantedUnderItsNewReference) {
    openDriver();
    const auto port = createPort(createClient(), "port");
    const auto before = plug("Synth", 9);
    EXPECT_EQ(library.connect(port, before, before), 0);
    service.unplug(before);
    const auto after = plug("Synth", 9);
    EXPECT_EQ(library.connect(port, after, after), 0);
    EXPECT_EQ(library.disconnect(port, before), 0);
    EXPECT_THAT(takeTold(), ElementsAre("1:7", "2:7,9"));
    forward(9, OwnedList{{1, {0x90, 1, 2}}});
    EXPECT_THAT(heard, ElementsAre("port:" + std::to_string(after) + ":144"));
    EXPECT_EQ(library.disconnect(port, after), 0);
    EXPECT_THAT(takeTold(), ElementsAre("3:7,9"));
}

TEST_F(InterceptorLibraryTest, RefusesWhatIsEmptyGoneOrNoDestination) {
    openDriver();
    const auto own = createClient();
    const auto port = createPort(own, "port");
    InterceptorPortRef none;
    EXPECT_EQ(library.createPort(own, {}, none), -50);
    EXPECT_EQ(library.createPort(
                  {}, [](const PacketListView&, std::uintptr_t) {}, none),
              -50);
    EXPECT_EQ(library.disposeClient({}), -50);
    EXPECT_EQ(library.disposePort({}), -50);
    EXPECT_EQ(library.connect(none, plug("Synth", 9), 1), -50);
    EXPECT_EQ(library.disconnect(none, 1), -50);
    EXPECT_EQ(library.connect(port, 0, 1), -50);
    EXPECT_EQ(library.connect(port, 9999, 1), -50);
    EXPECT_EQ(library.disposePort(port), 0);
    EXPECT_EQ(library.disposePort(port), -50);
    EXPECT_EQ(library.connect(port, plug("Other", 10), 1), -50);
}

TEST_F(InterceptorLibraryTest, WithADriverThatHasGoneConnectingFailsAndDisconnectingWorks) {
    openDriver();
    const auto port = createPort(createClient(), "port");
    const auto synth = plug("Synth", 9);
    const auto organ = plug("Organ", 10);
    EXPECT_EQ(library.connect(port, synth, 1), 0);
    driver.reset();
    EXPECT_EQ(library.connect(port, organ, 1), 17);
    EXPECT_EQ(library.disconnect(port, organ), 34);
    EXPECT_EQ(library.disconnect(port, synth), 0);
}

TEST_F(InterceptorLibraryTest, CallsEveryPortOfADestinationFromTheLastToTheFirst) {
    openDriver();
    const auto own = createClient();
    const auto first = createPort(own, "first");
    const auto second = createPort(own, "second");
    const auto synth = plug("Synth", 9);
    const auto organ = plug("Organ", 10);
    library.connect(first, synth, 1);
    library.connect(second, synth, 2);
    library.connect(second, organ, 3);
    forward(9, OwnedList{{1, {0x90, 1, 2}}, {2, {0x80, 1, 2}}});
    forward(10, OwnedList{{1, {0xF8}}});
    forward(11, OwnedList{{1, {0xF8}}});
    EXPECT_THAT(heard, ElementsAre("second:2:144", "second:2:128", "first:1:144", "first:1:128", "second:3:248"));
    library.disconnect(second, synth);
    forward(9, OwnedList{{1, {0xFE}}});
    EXPECT_EQ(heard.back(), "first:1:254");
}

TEST_F(InterceptorLibraryTest, DropsWhatIsNoCopyOfAPacketList) {
    openDriver();
    const auto port = createPort(createClient(), "port");
    library.connect(port, plug("Synth", 9), 1);
    PortBytes good;
    interceptorprotocol::writeCopy(9, OwnedList{{1, {0x90, 1, 2}}, {2, {0x80, 1, 2}}}, good);
    for (std::size_t length = 0; length < good.size(); ++length) sayToClient(std::span(good).first(length));
    for (const std::uint32_t count : {3u, 0x7FFFFFFFu, 0xFFFFFFFFu}) {
        PortBytes bad = good;
        packetlayout::putNumber(std::span(bad), 4, count);
        sayToClient(bad);
    }
    for (const std::uint16_t length : {std::uint16_t{100}, std::uint16_t{0xFFFF}}) {
        PortBytes bad = good;
        packetlayout::putNumber(std::span(bad), 4 + 4 + 8, length);
        sayToClient(bad);
    }
    EXPECT_THAT(heard, IsEmpty());
    sayToClient(good);
    EXPECT_THAT(heard, ElementsAre("port:1:144", "port:1:128"));
}

TEST(DestinationMap, AChangeDuringARebuildMakesForOneMore) {
    VirtualRuntime runtime;
    const RuntimeScope scope(runtime);
    int readings = 0;
    DestinationMap* told = nullptr;
    DestinationMap map([&] {
        if (++readings == 1)
            for (int change = 0; change < 3; ++change) told->rebuild();
        return DestinationMap::Entries{{9, static_cast<MIDIEndpointRef>(readings)}};
    });
    told = &map;
    map.rebuild();
    EXPECT_EQ(readings, 2);
    EXPECT_EQ(map.find(9), 2u);
    EXPECT_EQ(map.find(8), 0u);
}

}  // namespace
}  // namespace varnolex
