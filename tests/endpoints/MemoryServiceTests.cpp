#include <gmock/gmock.h>

#include "endpoints/ServiceFixture.hpp"
#include "endpoints/memory/MemoryService.hpp"

namespace varnolex {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

using MemoryServiceTest = ServiceFixture;
using Operation = MemoryService::Operation;

TEST_F(MemoryServiceTest, APluggedSourceReachesItsPortsInTheOrderInWhichTheyConnected) {
    const auto source = service.plugSource({.displayName = "Keys"});
    const auto first = makeListeningPort();
    const auto second = makeListeningPort();
    service.MIDIPortConnectSource(second, source, 2);
    service.MIDIPortConnectSource(first, source, 1);
    EXPECT_EQ(service.send(source, OwnedList{{0, {10}}, {0, {11}}}), midiSuccess);
    EXPECT_THAT(heard, ElementsAre("2:10", "2:11", "1:10", "1:11"));

    heard.clear();
    service.MIDIPortConnectSource(second, source, 3);
    service.send(source, OwnedList{{0, {12}}});
    EXPECT_THAT(heard, ElementsAre("3:12", "1:12")) << "connecting again replaces the connection";

    heard.clear();
    EXPECT_EQ(service.MIDIPortDisconnectSource(second, source), midiSuccess);
    EXPECT_EQ(service.MIDIPortDisconnectSource(second, source), midiNoConnection);
    service.MIDIPortDispose(first);
    service.send(source, OwnedList{{0, {13}}});
    EXPECT_THAT(heard, IsEmpty());
}

TEST_F(MemoryServiceTest, ListenersOfOthersHearASendInsideTheCall) {
    const auto destination = service.plugDestination({.displayName = "Synth"});
    MIDIPortRef port = 0;
    ASSERT_EQ(service.MIDIOutputPortCreate(client, "out", port), midiSuccess);
    MIDIEndpointRef ownSource = 0;
    ASSERT_EQ(service.MIDISourceCreate(client, "Mine", ownSource), midiSuccess);
    std::vector<TimedBytes> toSynth;
    std::vector<TimedBytes> fromMine;
    service.listen(destination, [&](const PacketListView& list) { toSynth = packetsOf(list); });
    service.listenToVirtualSource(ownSource, [&](const PacketListView& list) { fromMine = packetsOf(list); });

    EXPECT_EQ(service.MIDISend(port, destination, OwnedList{{5, {0x90, 1, 2}}, {6, {0xF8}}}), midiSuccess);
    EXPECT_THAT(toSynth, ElementsAre(TimedBytes{5, {0x90, 1, 2}}, TimedBytes{6, {0xF8}}));
    EXPECT_EQ(service.MIDIReceived(ownSource, OwnedList{{9, {0xFA}}}), midiSuccess);
    EXPECT_THAT(fromMine, ElementsAre(TimedBytes{9, {0xFA}}));
}

TEST_F(MemoryServiceTest, WhatComesBackToThisProcessArrivesLaterAndFeedbackCostsNoStack) {
    MIDIEndpointRef ownSource = 0;
    service.MIDISourceCreate(client, "Loop", ownSource);
    MIDIPortRef input = 0;
    int depth = 0;
    int deepest = 0;
    int rounds = 0;
    const auto read = [&](const PacketListView& list, std::uintptr_t) {
        deepest = std::max(deepest, ++depth);
        if (++rounds < 100'000) service.MIDIReceived(ownSource, list);
        --depth;
    };
    service.MIDIInputPortCreateWithBlock(client, "in", read, input);
    service.MIDIPortConnectSource(input, ownSource, 0);
    service.MIDIReceived(ownSource, OwnedList{{0, {0x90, 1, 2}}});
    EXPECT_EQ(rounds, 0);
    runtime.settle();
    EXPECT_EQ(rounds, 100'000);
    EXPECT_EQ(deepest, 1);
}

TEST_F(MemoryServiceTest, AVirtualDestinationHearsThisProcessAndOthersUntilItIsDisposedOf) {
    MIDIEndpointRef destination = 0;
    const auto read = [this](const PacketListView& list, std::uintptr_t connection) {
        heard.push_back(std::to_string(connection) + ":" + std::to_string(list.begin()->bytes[0]));
    };
    service.MIDIDestinationCreateWithBlock(client, "Varnolex In", read, destination);
    MIDIPortRef output = 0;
    service.MIDIOutputPortCreate(client, "out", output);
    EXPECT_EQ(service.sendToVirtualDestination(destination, OwnedList{{0, {1}}}), midiSuccess);
    EXPECT_THAT(heard, ElementsAre("0:1"));
    EXPECT_EQ(service.MIDISend(output, destination, OwnedList{{0, {2}}}), midiSuccess);
    runtime.settle();
    EXPECT_THAT(heard, ElementsAre("0:1", "0:2"));

    service.MIDISend(output, destination, OwnedList{{0, {3}}});
    EXPECT_EQ(service.MIDIEndpointDispose(destination), midiSuccess);
    runtime.settle();
    EXPECT_THAT(heard, ElementsAre("0:1", "0:2")) << "what was under way finds nobody";
}

TEST_F(MemoryServiceTest, AListThatFloodsThisProcessIsLostAndCountedInsteadOfFillingTheMemory) {
    MIDIEndpointRef ownSource = 0;
    service.MIDISourceCreate(client, "Flood", ownSource);
    service.MIDIPortConnectSource(makeListeningPort(), ownSource, 0);
    for (std::size_t sent = 0; sent < EndpointRouting::listsUnderWayLimit; ++sent)
        ASSERT_EQ(service.MIDIReceived(ownSource, OwnedList{{0, {1}}}), midiSuccess);
    EXPECT_EQ(service.MIDIReceived(ownSource, OwnedList{{0, {2}}}), midiQueueFull);
    EXPECT_EQ(service.lostLists(), 1u);
    runtime.settle();
    EXPECT_EQ(heard.size(), EndpointRouting::listsUnderWayLimit);
    EXPECT_EQ(service.MIDIReceived(ownSource, OwnedList{{0, {3}}}), midiSuccess);
}

TEST_F(MemoryServiceTest, WrongReferencesAreRefusedByStatus) {
    const auto source = service.plugSource({.displayName = "S"});
    const auto destination = service.plugDestination({.displayName = "D"});
    const auto input = makeListeningPort();
    MIDIPortRef output = 0;
    service.MIDIOutputPortCreate(client, "out", output);
    const OwnedList list{{0, {1}}};
    MIDIObjectRef unused = 99;
    const std::vector<std::pair<MIDIStatus, MIDIStatus>> cases = {
        {service.MIDISend(input, destination, list), midiInvalidPort},
        {service.MIDISend(0, destination, list), midiInvalidPort},
        {service.MIDISend(output, source, list), midiWrongEndpoint},
        {service.MIDISend(output, 0, list), midiWrongEndpoint},
        {service.MIDIReceived(source, list), midiWrongEndpoint},
        {service.send(destination, list), midiWrongEndpoint},
        {service.sendToVirtualDestination(destination, list), midiWrongEndpoint},
        {service.listen(source, {}), midiWrongEndpoint},
        {service.listenToVirtualSource(source, {}), midiWrongEndpoint},
        {service.MIDIPortConnectSource(output, source, 0), midiInvalidPort},
        {service.MIDIPortConnectSource(input, destination, 0), midiWrongEndpoint},
        {service.MIDIPortDispose(source), midiInvalidPort},
        {service.MIDIEndpointDispose(source), midiWrongEndpoint},
        {service.MIDIOutputPortCreate(77, "out", unused), midiInvalidClient},
        {service.MIDIInputPortCreateWithBlock(0, "in", {}, unused), midiInvalidClient},
        {service.MIDISourceCreate(77, "s", unused), midiInvalidClient},
        {service.MIDIObjectSetIntegerProperty(source, kMIDIPropertyUniqueID, 4), midiWrongEndpoint},
        {service.MIDIObjectFindByUniqueID(-5, unused), midiWrongEndpoint},
    };
    for (std::size_t index = 0; index < cases.size(); ++index)
        EXPECT_EQ(cases[index].first, cases[index].second) << "case " << index;
    EXPECT_EQ(unused, 99u) << "a failure writes nothing";
}

TEST_F(MemoryServiceTest, UniqueIDsOfNamesArePositiveStableAndOneForEachObject) {
    EXPECT_EQ(uniqueIDOf(service.plugSource({.displayName = ""})), 2128831035);
    const auto first = service.plugSource({.displayName = "Keys"});
    const auto second = service.plugDestination({.displayName = "Keys"});
    EXPECT_EQ(uniqueIDOf(second), uniqueIDOf(first) + 1);
    MIDIEndpointRef own = 0;
    service.MIDISourceCreate(client, "Own", own);
    EXPECT_EQ(service.MIDIObjectSetIntegerProperty(own, kMIDIPropertyUniqueID, uniqueIDOf(first)), midiIDNotUnique);
    EXPECT_EQ(service.MIDIObjectSetIntegerProperty(own, kMIDIPropertyUniqueID, 1234), midiSuccess);
    MIDIObjectRef found = 0;
    EXPECT_EQ(service.MIDIObjectFindByUniqueID(1234, found), midiSuccess);
    EXPECT_EQ(found, own);
}

TEST_F(MemoryServiceTest, ClientsHearOfEveryChangeOnTheMainQueue) {
    std::vector<MIDINotificationID> told;
    MIDIClientRef other = 0;
    service.MIDIClientCreateWithBlock(
        "other", [&](MIDINotificationID message) { told.push_back(message); }, other);
    const auto source = service.plugSource({.displayName = "Keys"});
    service.rename(source, "Organ");
    service.unplug(source);
    service.notify(99);
    EXPECT_THAT(told, IsEmpty());
    runtime.settle();
    EXPECT_THAT(told, ElementsAre(midiObjectAdded, midiPropertyChanged, midiObjectRemoved, 99));
    EXPECT_EQ(service.MIDIGetNumberOfSources(), 0u);
}

TEST_F(MemoryServiceTest, AnInjectedFailureHoldsForAsManyCallsAsAsked) {
    service.failNext(Operation::MIDISourceCreate, -50, 2);
    MIDIEndpointRef source = 0;
    EXPECT_EQ(service.MIDISourceCreate(client, "s", source), -50);
    EXPECT_EQ(service.MIDISourceCreate(client, "s", source), -50);
    EXPECT_EQ(source, 0u);
    EXPECT_EQ(service.MIDISourceCreate(client, "s", source), midiSuccess);
}

TEST(MIDIServiceScope, ScopesNest) {
    VirtualRuntime runtime;
    const RuntimeScope runtimeScope(runtime);
    MemoryService outer;
    MemoryService inner;
    EXPECT_FALSE(MIDIService::isInstalled());
    {
        const MIDIServiceScope outerScope(outer);
        {
            const MIDIServiceScope innerScope(inner);
            EXPECT_EQ(&MIDIService::current(), &inner);
        }
        EXPECT_EQ(&MIDIService::current(), &outer);
    }
    EXPECT_FALSE(MIDIService::isInstalled());
}

}  // namespace
}  // namespace varnolex
