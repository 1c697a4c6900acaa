#include <gmock/gmock.h>

#include <thread>

#include "core/message/SystemExclusiveMessage.hpp"
#include "endpoints/ServiceFixture.hpp"
#include "endpoints/input/PortInputStream.hpp"
#include "platform/RealRuntime.hpp"
#include "support/AllocationTrap.hpp"

namespace varnolex {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

using Operation = MemoryService::Operation;

class PortInputStreamTest : public ServiceFixture {
protected:
    PortInputStreamTest() {
        stream.messageHandler = [this](const MessageList& messages) {
            std::string batch;
            for (const MessageRef& message : messages)
                batch += (batch.empty() ? "" : " ") + std::string(message->originatingEndpointName.view()) + "@" +
                         std::to_string(message->timeStamp);
            batches.push_back(batch);
            last = messages;
        };
    }

    MIDISourceInfo plug(const std::string& name) {
        MIDISourceInfo info;
        info.displayName = name;
        info.endpointRef = service.plugSource({.displayName = name});
        runtime.settle();
        return info;
    }

    void passDrain() { runtime.runFor(PortInputStream::drainInterval); }

    PortInputStream stream{client};
    std::vector<std::string> batches;
    MessageList last;
};

TEST_F(PortInputStreamTest, WhatComesInBetweenTwoDrainsLeavesAtOnceSourceBySource) {
    const auto keys = plug("Keys");
    const auto pads = plug("Pads");
    stream.connect(keys);
    EXPECT_THAT(stream.connectedEndpoints(), IsEmpty()) << "there is no port yet";
    stream.start();
    stream.start();
    EXPECT_EQ(runtime.pendingItems(), 1u) << "one drain, though started twice";
    stream.connect(keys);
    stream.connect(keys);
    stream.connect(pads);
    service.send(pads.endpointRef, OwnedList{{5, {0x90, 1, 2}}, {6, {}}, {7, {0x80, 1, 2, 0xF8}}});
    service.send(keys.endpointRef, OwnedList{{9, {0x90, 1, 2, 3, 4}}});
    service.send(pads.endpointRef, OwnedList{{8, {0xF8}}});
    service.send(keys.endpointRef, OwnedList{});
    runtime.runFor(PortInputStream::drainInterval - Nanoseconds(1));
    EXPECT_THAT(batches, IsEmpty());
    runtime.runFor(Nanoseconds(1));
    EXPECT_THAT(batches, ElementsAre("Keys@9 Keys@9 Pads@5 Pads@7 Pads@7 Pads@8"));
    passDrain();
    EXPECT_EQ(batches.size(), 1u) << "a drain that finds nothing calls nobody";
}

TEST_F(PortInputStreamTest, ASplitSysExComesOutOnceUnderTheNameOfItsEnd) {
    auto keys = plug("Old");
    stream.start();
    stream.connect(keys);
    service.send(keys.endpointRef, OwnedList{{3, {0xF0, 1}}});
    passDrain();
    EXPECT_THAT(batches, IsEmpty());
    keys.displayName = "New";
    stream.updateNames({keys, plug("Not connected")});
    service.send(keys.endpointRef, OwnedList{{4, {2, 0xF7}}});
    passDrain();
    EXPECT_THAT(batches, ElementsAre("New@3"));
    EXPECT_THAT(last[0]->as<SystemExclusiveMessage>()->data(), ElementsAre(1, 2));
}

TEST_F(PortInputStreamTest, ADisconnectedSourceLosesWhatIsBufferedAndBeginsAnew) {
    const auto keys = plug("Keys");
    stream.start();
    stream.connect(keys);
    service.send(keys.endpointRef, OwnedList{{1, {0x90, 1, 2}}, {1, {0xF0, 1}}});
    stream.disconnect(keys);
    stream.disconnect(keys);
    service.send(keys.endpointRef, OwnedList{{2, {0x90, 1, 2}}});
    passDrain();
    EXPECT_THAT(batches, IsEmpty());
    stream.connect(keys);
    service.send(keys.endpointRef, OwnedList{{3, {0xF7, 0x90, 1, 2}}});
    passDrain();
    EXPECT_THAT(batches, ElementsAre("Keys@3 Keys@3")) << "an end without a beginning is no SysEx of before";
}

TEST_F(PortInputStreamTest, WhatFailsIsTriedAgain) {
    const auto keys = plug("Keys");
    service.failNext(Operation::MIDIInputPortCreateWithBlock, -7);
    stream.start();
    EXPECT_EQ(stream.inputPortRef(), 0u);
    EXPECT_EQ(runtime.pendingItems(), 0u);
    stream.start();
    service.failNext(Operation::MIDIPortConnectSource, -9);
    stream.connect(keys);
    EXPECT_THAT(stream.connectedEndpoints(), IsEmpty());
    stream.connect(keys);
    EXPECT_THAT(stream.connectedEndpoints(), ElementsAre(keys.endpointRef));
    service.send(keys.endpointRef, OwnedList{{1, {0xF8}}});
    passDrain();
    EXPECT_THAT(batches, ElementsAre("Keys@1"));
}

TEST_F(PortInputStreamTest, TheReadBlockLeavesTheHeapAloneInSteadyState) {
    const auto keys = plug("Keys");
    stream.start();
    stream.connect(keys);
    std::size_t heardMessages = 0;
    stream.messageHandler = [&](const MessageList& messages) { heardMessages += messages.size(); };
    const OwnedList list{{1, {0x90, 60, 100, 61, 100}}, {2, {0xF0, 1, 2, 3, 0xF7}}, {3, {0xF8}}};
    const auto play = [&] {
        for (int round = 0; round < 100; ++round) service.send(keys.endpointRef, list);
        passDrain();
    };
    for (int warming = 0; warming < 3; ++warming) play();
    const AllocationTrap trap;
    heardMessages = 0;
    play();
    EXPECT_EQ(trap.count(), 0u);
    EXPECT_EQ(heardMessages, 400u);
}

TEST(PortInputStreamThreads, SourcesPlayWhileTheyAreConnectedRenamedAndDrained) {
    SharedValue<bool> isOver{false};
    std::size_t heardMessages = 0;
    std::size_t torn = 0;
    RealRuntime runtime;
    const RuntimeScope runtimeScope(runtime);
    MemoryService service;
    const MIDIServiceScope serviceScope(service);
    MIDIClientRef client = 0;
    service.MIDIClientCreateWithBlock("threads", {}, client);
    PortInputStream stream(client);
    stream.messageHandler = [&](const MessageList& messages) {
        for (const MessageRef& message : messages) {
            ++heardMessages;
            const auto name = message->originatingEndpointName.view();
            torn += name != "Even" && name != "Odd";
            if (const auto* exclusive = message->as<SystemExclusiveMessage>()) torn += exclusive->data().size() != 3;
        }
    };
    stream.start();
    MIDISourceInfo source;
    source.displayName = "Even";
    source.endpointRef = service.plugSource({.displayName = "Even"});
    {
        const std::jthread player([&] {
            const OwnedList list{{1, {0x90, 60, 100}}, {2, {0xF0, 1, 2, 3, 0xF7}}};
            while (!isOver.get()) service.send(source.endpointRef, list);
        });
        const HostTime end = runtime.hostTime() + 20 * ticksPerSecond;
        for (int change = 0; (change < 1000 || heardMessages == 0) && runtime.hostTime() < end; ++change) {
            stream.connect(source);
            MIDISourceInfo named = source;
            named.displayName = change % 2 == 0 ? "Odd" : "Even";
            stream.updateNames({named});
            runtime.pollMain();
            if (change % 10 == 0) stream.disconnect(source);
        }
        isOver.set(true);
    }
    EXPECT_GT(heardMessages, 0u);
    EXPECT_EQ(torn, 0u);
}

}  // namespace
}  // namespace varnolex
