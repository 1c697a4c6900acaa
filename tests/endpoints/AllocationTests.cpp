#include <gtest/gtest.h>

#include "endpoints/ServiceFixture.hpp"
#include "endpoints/VirtualPortManager.hpp"
#include "platform/DefaultsStore.hpp"
#include "support/AllocationTrap.hpp"

namespace varnolex {
namespace {

using AllocationTest = ServiceFixture;

TEST_F(AllocationTest, SteadyTrafficOnEveryRoadLeavesTheHeapAlone) {
    const auto source = service.plugSource({.displayName = "Keys"});
    const auto destination = service.plugDestination({.displayName = "Synth"});
    MIDIPortRef output = 0;
    service.MIDIOutputPortCreate(client, "out", output);
    MIDIEndpointRef ownSource = 0;
    service.MIDISourceCreate(client, "Own", ownSource);
    std::size_t bytes = 0;
    const auto count = [&](const PacketListView& list) {
        for (const Packet& packet : list) bytes += packet.bytes.size();
    };
    service.listen(destination, count);
    MIDIPortRef input = 0;
    const auto through = [&](const PacketListView& list, std::uintptr_t) {
        service.MIDISend(output, destination, list);
        service.MIDIReceived(ownSource, list);
    };
    service.MIDIInputPortCreateWithBlock(client, "in", through, input);
    service.MIDIPortConnectSource(input, source, 0);
    MIDIPortRef ownInput = 0;
    service.MIDIInputPortCreateWithBlock(
        client, "own in", [&](const PacketListView& list, std::uintptr_t) { count(list); }, ownInput);
    service.MIDIPortConnectSource(ownInput, ownSource, 0);

    const OwnedList list{{1, {0x90, 60, 100}}, {2, Bytes(600, 0x11)}};
    const auto play = [&] {
        for (int round = 0; round < 8; ++round) service.send(source, list);
        runtime.settle();
    };
    for (int warming = 0; warming < 8; ++warming) play();
    const AllocationTrap trap;
    bytes = 0;
    play();
    EXPECT_EQ(trap.count(), 0u);
    EXPECT_EQ(bytes, 8u * 2 * 603);
}

TEST_F(AllocationTest, TheChainsAndMonitorsOfAVirtualInputCostNoAllocation) {
    DefaultsStore defaults("");
    VirtualPortManager manager(defaults);
    manager.setClient(client);
    std::size_t monitored = 0;
    manager.setMessageHandler([&](const MessageList& messages) { monitored += messages.size(); });
    const auto input = manager.addInput("In");
    std::size_t calls = 0;
    for (int chain = 0; chain < 3; ++chain)
        input->addChainCallback(runtime.makeUUID(), [&](const std::uint8_t*, std::size_t, HostTime, bool) { ++calls; });
    const OwnedList list{{1, {0x90, 60, 100}}, {0, {0x80, 60, 0}}};
    const auto play = [&] {
        for (int round = 0; round < 8; ++round) service.sendToVirtualDestination(input->endpointRef(), list);
        runtime.settle();
    };
    play();
    play();
    const AllocationTrap trap;
    calls = monitored = 0;
    play();
    EXPECT_EQ(trap.count(), 0u) << "messages come from their pool";
    EXPECT_EQ(calls, 8u * 2 * 3);
    EXPECT_EQ(monitored, 8u * 2);
}

}  // namespace
}  // namespace varnolex
