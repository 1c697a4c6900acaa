#include <gtest/gtest.h>

#include <thread>

#include "endpoints/ServiceFixture.hpp"
#include "endpoints/VirtualPortManager.hpp"
#include "platform/DefaultsStore.hpp"
#include "platform/RealRuntime.hpp"

namespace varnolex {
namespace {

/// What the read block of one source has seen. Written by that source's own thread only.
struct Reception {
    SharedValue<std::uint64_t> lists{0};
    SharedValue<std::uint64_t> torn{0};
};

bool isUntorn(const PacketListView& list) {
    std::size_t packets = 0;
    for (const Packet& packet : list) {
        ++packets;
        if (packet.bytes.size() != 3 || packet.bytes[0] != 0x90 || packet.timeStamp != packets) return false;
    }
    return packets == 2;
}

TEST(MemoryServiceThreads, SendersRunOnWhileTheMainThreadChangesEveryConnection) {
    constexpr std::size_t senderCount = 3;
    constexpr int changes = 2000;
    std::array<Reception, senderCount> receptions;
    Reception ownReception;
    SharedValue<std::uint64_t> listened{0};
    SharedValue<bool> isOver{false};
    // Declared behind what the service's queue writes: it ends the queue's thread first.
    RealRuntime runtime;
    const RuntimeScope runtimeScope(runtime);
    {
        MemoryService service;
        MIDIClientRef client = 0;
        service.MIDIClientCreateWithBlock("threads", {}, client);
        MIDIPortRef output = 0;
        service.MIDIOutputPortCreate(client, "out", output);
        const auto destination = service.plugDestination({.displayName = "Synth"});
        service.listen(destination, [&](const PacketListView& list) { listened.add(isUntorn(list)); });

        std::array<MIDIEndpointRef, senderCount> sources{};
        std::array<MIDIPortRef, senderCount> ports{};
        for (std::size_t index = 0; index < senderCount; ++index) {
            sources[index] = service.plugSource({.displayName = "Source"});
            const auto read = [&, index](const PacketListView& list, std::uintptr_t connection) {
                receptions[connection].lists.add(1);
                if (connection != index || !isUntorn(list)) receptions[connection].torn.add(1);
                service.MIDISend(output, destination, list);
            };
            service.MIDIInputPortCreateWithBlock(client, "in", read, ports[index]);
        }
        MIDIEndpointRef ownSource = 0;
        service.MIDISourceCreate(client, "Own", ownSource);
        MIDIPortRef ownPort = 0;
        const auto readOwn = [&](const PacketListView& list, std::uintptr_t) {
            ownReception.lists.add(1);
            if (!isUntorn(list)) ownReception.torn.add(1);
        };
        service.MIDIInputPortCreateWithBlock(client, "own in", readOwn, ownPort);
        service.MIDIPortConnectSource(ownPort, ownSource, 0);

        std::vector<std::jthread> senders;
        for (std::size_t index = 0; index < senderCount; ++index)
            senders.emplace_back([&, index] {
                const OwnedList list{{1, {0x90, 60, 100}}, {2, {0x90, 60, 0}}};
                while (!isOver.get()) {
                    service.send(sources[index], list);
                    service.MIDIReceived(ownSource, list);
                }
            });
        for (int change = 0; change < changes || receptions.back().lists.get() == 0 || ownReception.lists.get() == 0;
             ++change) {
            for (std::size_t index = 0; index < senderCount; ++index)
                service.MIDIPortConnectSource(ports[index], sources[index], index);
            service.unplug(service.plugSource({.displayName = "Passing"}));
            service.MIDIPortDisconnectSource(ports[static_cast<std::size_t>(change) % senderCount],
                                             sources[static_cast<std::size_t>(change) % senderCount]);
            runtime.pollMain();
        }
        isOver.set(true);
    }
    std::uint64_t received = 0;
    for (const Reception& reception : receptions) {
        EXPECT_EQ(reception.torn.get(), 0u);
        received += reception.lists.get();
    }
    EXPECT_EQ(listened.get(), received) << "what was read was heard, list for list";
    EXPECT_EQ(ownReception.torn.get(), 0u);
}

TEST(VirtualInputThreads, TrafficRunsOnWhileChainsComeAndGoAndThePortIsRenamed) {
    constexpr int changes = 2000;
    SharedValue<std::uint64_t> heardByChains{0};
    SharedValue<bool> isOver{false};
    std::uint64_t monitored = 0;
    std::uint64_t misnamed = 0;
    RealRuntime runtime;
    const RuntimeScope runtimeScope(runtime);
    MemoryService service;
    const MIDIServiceScope serviceScope(service);
    MIDIClientRef client = 0;
    service.MIDIClientCreateWithBlock("threads", {}, client);
    DefaultsStore store("");
    VirtualPortManager manager(store);
    manager.setClient(client);
    manager.setMessageHandler([&](const MessageList& messages) {
        for (const MessageRef& message : messages) {
            ++monitored;
            const auto name = message->originatingEndpointName.view();
            misnamed += name != "Even" && name != "Odd";
        }
    });
    const auto input = manager.addInput("Even");
    {
        const std::jthread sender([&, endpoint = input->endpointRef()] {
            const OwnedList list{{1, {0x90, 60, 100}}, {2, {0xF0, 1, 2, 3, 0xF7}}};
            while (!isOver.get()) service.sendToVirtualDestination(endpoint, list);
        });
        for (int change = 0; change < changes || heardByChains.get() == 0 || monitored == 0; ++change) {
            const UUID chain = runtime.makeUUID();
            input->addChainCallback(
                chain, [&](const std::uint8_t*, std::size_t, HostTime, bool isLast) { heardByChains.add(isLast); });
            if (change % 50 == 0) manager.renameInput(input, change % 100 == 0 ? "Odd" : "Even");
            runtime.pollMain();
            input->removeChainCallback(chain);
        }
        isOver.set(true);
    }
    runtime.pollMain();
    EXPECT_GT(monitored, 0u);
    EXPECT_EQ(misnamed, 0u);
}

}  // namespace
}  // namespace varnolex
