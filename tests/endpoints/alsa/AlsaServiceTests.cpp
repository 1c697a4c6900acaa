#include <gmock/gmock.h>

#include <filesystem>

#include "endpoints/ServiceFixture.hpp"
#include "endpoints/UniqueID.hpp"
#include "endpoints/alsa/AlsaService.hpp"

namespace varnolex {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::UnorderedElementsAre;

/// The sequencer's side of all openings: its other clients, and what was asked of it.
struct FakeWorld {
    std::vector<AlsaPortInfo> ports;
    AlsaChanges changes;
    std::set<std::pair<AlsaAddress, bool>> connections;
    std::map<int, std::string> ownPorts;
    std::unique_ptr<const AlsaGraph> graph;
    AlsaSequencer::Calls calls;
    int lastPort = 10;
    bool isThere = true;
    bool isAlive = true;
    bool refusesConnections = false;

    void plug(const AlsaPortInfo& port) {
        ports.push_back(port);
        changes.arrivals.push_back(port.address);
    }
    void unplug(AlsaAddress address) {
        std::erase_if(ports, [&](const auto& port) { return port.address == address; });
        std::erase_if(connections, [&](const auto& each) { return each.first == address; });
    }
};

class FakeSequencer final : public AlsaSequencer {
public:
    explicit FakeSequencer(FakeWorld& outside) : world(outside) {}
    ~FakeSequencer() override {
        world.graph.reset();
        world.connections.clear();
        world.ownPorts.clear();
    }

    bool isAlive() const override { return world.isAlive; }
    std::vector<AlsaPortInfo> foreignPorts() const override { return world.ports; }
    AlsaChanges takeChanges() override { return std::exchange(world.changes, {}); }
    std::optional<int> makePort(const std::string& name, bool isSource) override {
        world.ownPorts[++world.lastPort] = (isSource ? "source " : "destination ") + name;
        return world.lastPort;
    }
    void renamePort(int port, const std::string& name) override { world.ownPorts[port] = name; }
    void removePort(int port) override { EXPECT_EQ(world.ownPorts.erase(port), 1u); }
    std::vector<std::uint8_t> listeners(int) const override { return {140}; }
    std::vector<std::uint8_t> receivers(AlsaAddress destination) const override { return {destination.client}; }
    bool connect(AlsaAddress foreign, bool isSource) override {
        if (world.refusesConnections) return false;
        world.connections.emplace(foreign, isSource);
        return true;
    }
    void disconnect(AlsaAddress foreign, bool isSource) override { world.connections.erase({foreign, isSource}); }
    bool setGraph(std::unique_ptr<const AlsaGraph> next) override {
        world.graph = std::move(next);
        return true;
    }

private:
    FakeWorld& world;
};

AlsaPortInfo keyboard(AlsaAddress address) {
    return {.address = address,
            .clientName = "Keys",
            .portName = "Keys MIDI 1",
            .cardName = "Keys 61",
            .cardDriver = "USB-Audio",
            .isSource = true,
            .isDestination = true};
}

AlsaPortInfo program(AlsaAddress address, const std::string& clientName, int processID) {
    return {.address = address, .clientName = clientName, .portName = "out", .processID = processID, .isSource = true};
}

class AlsaServiceTest : public testing::Test {
protected:
    AlsaServiceTest() { restart(); }

    void restart() {
        service.reset();
        service = std::make_unique<AlsaService>(AlsaService::Options{.uniqueIDFile = file}, opening());
        EXPECT_EQ(service->MIDIClientCreateWithBlock(
                      "test", [this](auto id) { told.push_back(id); }, client),
                  0);
        EXPECT_EQ(service->MIDIInputPortCreateWithBlock(
                      client, "in",
                      [this](const PacketListView& list, std::uintptr_t) {
                          for (const TimedBytes& packet : packetsOf(list)) heard.push_back(packet.bytes);
                      },
                      input),
                  0);
        EXPECT_EQ(service->MIDIOutputPortCreate(client, "out", output), 0);
    }

    AlsaSequencer::Opening opening() {
        return [this](const std::string&, auto, auto, AlsaSequencer::Calls calls,
                      std::string& reason) -> std::unique_ptr<AlsaSequencer> {
            if (!world.isThere) {
                reason = "Not here.";
                return nullptr;
            }
            world.isAlive = true;
            world.calls = std::move(calls);
            return std::make_unique<FakeSequencer>(world);
        };
    }

    void announce() {
        world.calls.changed();
        runtime.settle();
    }

    std::vector<std::string> sources() {
        std::vector<std::string> names;
        for (std::size_t index = 0; index < service->MIDIGetNumberOfSources(); ++index)
            names.push_back(nameOf(service->MIDIGetSource(index)));
        return names;
    }

    MIDIEndpointRef source(const std::string& name) {
        for (std::size_t index = 0; index < service->MIDIGetNumberOfSources(); ++index)
            if (nameOf(service->MIDIGetSource(index)) == name) return service->MIDIGetSource(index);
        return 0;
    }

    std::string nameOf(MIDIEndpointRef endpoint) {
        std::string name;
        service->MIDIObjectGetStringProperty(endpoint, kMIDIPropertyDisplayName, name);
        return name;
    }

    std::int32_t uniqueIDOf(MIDIEndpointRef endpoint) {
        std::int32_t uniqueID = 0;
        service->MIDIObjectGetIntegerProperty(endpoint, kMIDIPropertyUniqueID, uniqueID);
        return uniqueID;
    }

    /// As the sequencer's thread does.
    void play(AlsaAddress from, const Bytes& bytes) {
        const auto found = world.graph->sources.find(from);
        if (found != world.graph->sources.end()) world.calls.received(found->second, OwnedList{{1, bytes}});
    }

    VirtualRuntime runtime;
    RuntimeScope scope{runtime};
    FakeWorld world;
    std::filesystem::path file;
    std::unique_ptr<AlsaService> service;
    MIDIClientRef client = 0;
    MIDIPortRef input = 0;
    MIDIPortRef output = 0;
    std::vector<MIDINotificationID> told;
    std::vector<Bytes> heard;
};

TEST(AlsaNames, ClientAndPortAreSaidOnceEach) {
    const std::vector<std::array<std::string, 3>> cases{
        {"Keys", "Keys MIDI 1", "Keys MIDI 1"},
        {"Midi Through", "Midi Through Port-0", "Midi Through Port-0"},
        {"nano", "nano nano _ CTRL", "nano CTRL"},
        {"VirMIDI 1-0", "VirMIDI 1-0", "VirMIDI 1-0"},
        {"Synth", "Synthesizer", "Synth Synthesizer"},
        {"Synth (42)", "input (42:0)", "Synth (42) input (42:0)"},
        {"", "port", "port"},
        {"Client", " ", "Client"},
    };
    for (const auto& [clientName, portName, shown] : cases)
        EXPECT_EQ(describe({.clientName = clientName, .portName = portName}).displayName, shown);
}

TEST(AlsaNames, IdentitiesHoldNoNumbersOfThisRun) {
    const auto identity = [](std::uint8_t number, const std::string& clientName, const std::string& portName, int pid) {
        return identityOf({.address = {number, 0}, .clientName = clientName, .portName = portName, .processID = pid},
                          true);
    };
    EXPECT_EQ(identity(128, "Synth (4711)", "in (4711:0)", 4711), identity(131, "Synth (815)", "in (815:0)", 815));
    EXPECT_EQ(identity(128, "Client-128", "out", 1), identity(129, "Client-129", "out", 2));
    EXPECT_NE(identity(128, "Synth 1", "out", 77), identity(128, "Synth 2", "out", 77));
    EXPECT_NE(identity(128, "Synth 47110", "out", 4711), identity(128, "Synth 8150", "out", 815));
    EXPECT_NE(identityOf(keyboard({20, 0}), true), identityOf(keyboard({20, 0}), false));
}

TEST_F(AlsaServiceTest, EndpointsOfOthersComeAndGoAndTellOfThemselves) {
    EXPECT_THAT(sources(), IsEmpty());
    world.plug(keyboard({20, 0}));
    announce();
    ASSERT_THAT(sources(), ElementsAre("Keys MIDI 1"));
    EXPECT_EQ(service->MIDIGetNumberOfDestinations(), 1u);
    EXPECT_THAT(told, ElementsAre(midiObjectAdded, midiObjectAdded));
    std::string text;
    EXPECT_EQ(service->MIDIObjectGetStringProperty(source("Keys MIDI 1"), kMIDIPropertyModel, text), midiSuccess);
    EXPECT_EQ(text, "Keys 61");
    EXPECT_EQ(service->MIDIObjectGetStringProperty(source("Keys MIDI 1"), kMIDIPropertyDriverOwner, text), midiSuccess);
    EXPECT_EQ(text, "USB-Audio");
    EXPECT_EQ(service->MIDIObjectGetStringProperty(source("Keys MIDI 1"), kMIDIPropertyManufacturer, text),
              midiUnknownProperty);
    announce();
    EXPECT_EQ(told.size(), 2u) << "nothing has changed";
    world.unplug({20, 0});
    announce();
    EXPECT_THAT(sources(), IsEmpty());
    EXPECT_EQ(service->MIDIGetNumberOfDestinations(), 0u);
}

TEST_F(AlsaServiceTest, ASourceIsHeardFromItsConnectionOnAndAgainWhenItComesBackUnderAnotherNumber) {
    world.plug(program({128, 0}, "Synth (100)", 100));
    announce();
    const MIDIEndpointRef synth = service->MIDIGetSource(0);
    const std::int32_t uniqueID = uniqueIDOf(synth);
    EXPECT_THAT(world.connections, IsEmpty());
    EXPECT_EQ(service->MIDIPortConnectSource(input, synth, 7), midiSuccess);
    EXPECT_THAT(world.connections, ElementsAre(std::pair(AlsaAddress{128, 0}, true)));
    play({128, 0}, {0x90, 1, 1});
    world.unplug({128, 0});
    announce();
    world.plug(program({131, 2}, "Synth (200)", 200));
    announce();
    EXPECT_EQ(service->MIDIGetSource(0), synth);
    EXPECT_EQ(uniqueIDOf(synth), uniqueID);
    EXPECT_EQ(nameOf(synth), "Synth (200) out");
    EXPECT_THAT(world.connections, ElementsAre(std::pair(AlsaAddress{131, 2}, true)));
    play({131, 2}, {0x90, 2, 1});
    EXPECT_THAT(heard, ElementsAre(Bytes{0x90, 1, 1}, Bytes{0x90, 2, 1}));
    EXPECT_EQ(service->MIDIPortDisconnectSource(input, synth), midiSuccess);
    EXPECT_THAT(world.connections, IsEmpty());
}

TEST_F(AlsaServiceTest, APortThatWentAndCameBackBeforeAnybodyLookedIsConnectedAgain) {
    world.plug(keyboard({20, 0}));
    announce();
    service->MIDIPortConnectSource(input, service->MIDIGetSource(0), 0);
    told.clear();
    world.unplug({20, 0});
    world.plug(keyboard({20, 0}));
    announce();
    EXPECT_THAT(world.connections, ElementsAre(std::pair(AlsaAddress{20, 0}, true)));
    // The same when the announcement itself was lost.
    world.connections.clear();
    world.changes.isIncomplete = true;
    announce();
    EXPECT_THAT(world.connections, ElementsAre(std::pair(AlsaAddress{20, 0}, true)));
    EXPECT_THAT(told, IsEmpty());
    // Another one in its place isn't connected.
    world.unplug({20, 0});
    world.plug(program({20, 0}, "Other", 5));
    announce();
    EXPECT_THAT(sources(), ElementsAre("Other out"));
    EXPECT_THAT(world.connections, IsEmpty());
}

TEST_F(AlsaServiceTest, OfManyShortLivedProgramsOnlyTheConnectedAndTheLatestAreRemembered) {
    const auto visit = [&](const std::string& name) {
        world.plug(program({128, 0}, name, 100));
        announce();
        const MIDIEndpointRef reference = service->MIDIGetSource(0);
        if (name == "Heard") service->MIDIPortConnectSource(input, reference, 0);
        const std::int32_t uniqueID = uniqueIDOf(reference);
        world.unplug({128, 0});
        announce();
        return std::pair(reference, uniqueID);
    };
    const auto heardOne = visit("Heard");
    const auto first = visit("First");
    for (int number = 0; number < 150; ++number) visit("Visitor " + std::to_string(number));
    const auto last = visit("Last");
    EXPECT_EQ(visit("Last"), last);
    EXPECT_EQ(visit("Heard"), heardOne);
    const auto again = visit("First");
    EXPECT_NE(again.first, first.first);
    EXPECT_EQ(again.second, first.second);
}

TEST_F(AlsaServiceTest, ARenamedPortKeepsItsIDAndItsConnections) {
    world.plug(program({128, 0}, "Old", 100));
    announce();
    const MIDIEndpointRef port = service->MIDIGetSource(0);
    const std::int32_t uniqueID = uniqueIDOf(port);
    service->MIDIPortConnectSource(input, port, 0);
    world.ports[0].clientName = "New";
    announce();
    EXPECT_THAT(sources(), ElementsAre("New out"));
    EXPECT_EQ(service->MIDIGetSource(0), port);
    EXPECT_EQ(uniqueIDOf(port), uniqueID);
    EXPECT_EQ(told.back(), midiPropertyChanged);
    // It starts again, at first under the name that the system gives.
    world.unplug({128, 0});
    world.plug(program({129, 0}, "Client-129", 200));
    announce();
    EXPECT_THAT(world.connections, IsEmpty());
    world.ports[0].clientName = "New";
    announce();
    EXPECT_THAT(sources(), ElementsAre("New out"));
    EXPECT_EQ(service->MIDIGetSource(0), port);
    EXPECT_THAT(world.connections, ElementsAre(std::pair(AlsaAddress{129, 0}, true)));
}

TEST_F(AlsaServiceTest, PortsOfOneNameHaveIDsOfTheirOwnThatTheyKeepWhileTheOthersGo) {
    world.plug(keyboard({20, 0}));
    world.plug(keyboard({24, 0}));
    announce();
    std::set<std::int32_t> uniqueIDs;
    for (std::size_t index = 0; index < 2; ++index) {
        uniqueIDs.insert(uniqueIDOf(service->MIDIGetSource(index)));
        uniqueIDs.insert(uniqueIDOf(service->MIDIGetDestination(index)));
    }
    EXPECT_EQ(uniqueIDs.size(), 4u);
    const std::int32_t first = uniqueIDOf(service->MIDIGetSource(0));
    const std::int32_t second = uniqueIDOf(service->MIDIGetSource(1));
    world.unplug({20, 0});
    announce();
    EXPECT_EQ(uniqueIDOf(service->MIDIGetSource(0)), second);
    world.plug(keyboard({28, 0}));
    announce();
    EXPECT_EQ(uniqueIDOf(service->MIDIGetSource(1)), first);
}

TEST_F(AlsaServiceTest, UniqueIDsSurviveRestartsOfBothSides) {
    file = std::filesystem::temp_directory_path() / ("varnolex-alsa-" + std::to_string(runtime.randomBits()) + ".json");
    std::filesystem::remove(file);
    restart();
    world.plug(program({128, 0}, "Synth (100)", 100));
    world.plug(program({129, 0}, "Old", 101));
    announce();
    world.ports[1].clientName = "New";
    announce();
    const std::int32_t synth = uniqueIDOf(service->MIDIGetSource(0));
    const std::int32_t renamed = uniqueIDOf(service->MIDIGetSource(1));
    EXPECT_EQ(synth, uniqueIDForName("from Synth (#):out"));
    service.reset();
    world.ports = {program({140, 0}, "New", 300), program({141, 0}, "Synth (301)", 301)};
    restart();
    EXPECT_EQ(uniqueIDOf(source("New out")), renamed);
    EXPECT_EQ(uniqueIDOf(source("Synth (301) out")), synth);
    std::filesystem::remove(file);
}

TEST_F(AlsaServiceTest, ADestinationIsConnectedWhenSomethingIsSentAndKeepsWhatWaitedForIt) {
    world.plug(keyboard({20, 0}));
    announce();
    const MIDIEndpointRef keys = service->MIDIGetDestination(0);
    EXPECT_EQ(service->MIDISend(output, keys, OwnedList{{0, {0x90, 60, 100}}}), midiSuccess);
    EXPECT_THAT(world.graph->outlets, IsEmpty());
    runtime.settle();
    EXPECT_THAT(world.connections, ElementsAre(std::pair(AlsaAddress{20, 0}, false)));
    ASSERT_EQ(world.graph->outlets.size(), 1u);
    EXPECT_EQ(world.graph->outlets[0].destination, (AlsaAddress{20, 0}));
    struct Receiver final : AlsaSink {
        Outcome write(std::span<const std::uint8_t> message) override {
            taken.emplace_back(message.begin(), message.end());
            return Outcome::taken;
        }
        std::vector<Bytes> taken;
    } receiver;
    world.graph->outlets[0].outlet->drain(runtime.hostTime(), receiver);
    EXPECT_THAT(receiver.taken, ElementsAre(Bytes{0x90, 60, 100}));
    // What it never got is counted, and a way that is refused is tried again by the next message.
    service->MIDISend(output, keys, OwnedList{{0, {0x80, 60, 0}}});
    world.unplug({20, 0});
    announce();
    EXPECT_EQ(service->lostPackets(), 1u);
    EXPECT_EQ(service->MIDISend(output, keys, OwnedList{{0, {0xFE}}}), midiWrongEndpoint);
    world.refusesConnections = true;
    world.plug(keyboard({20, 0}));
    announce();
    service->MIDISend(output, keys, OwnedList{{0, {0xFE}}});
    runtime.settle();
    EXPECT_EQ(service->lostPackets(), 2u);
    world.refusesConnections = false;
    service->MIDISend(output, keys, OwnedList{{0, {0xFE}}});
    runtime.settle();
    EXPECT_EQ(world.graph->outlets.size(), 1u);
    EXPECT_EQ(service->lostPackets(), 2u);
}

TEST_F(AlsaServiceTest, ASourceThatRefusesIsTriedAgainEachSecond) {
    world.plug(keyboard({20, 0}));
    announce();
    world.refusesConnections = true;
    service->MIDIPortConnectSource(input, service->MIDIGetSource(0), 0);
    EXPECT_THAT(world.connections, IsEmpty());
    world.refusesConnections = false;
    runtime.runFor(std::chrono::seconds(1));
    EXPECT_THAT(world.connections, ElementsAre(std::pair(AlsaAddress{20, 0}, true)));
}

TEST_F(AlsaServiceTest, EndpointsOfOursArePortsOfOurs) {
    MIDIEndpointRef source = 0;
    MIDIEndpointRef destination = 0;
    service->MIDISourceCreate(client, "A", source);
    service->MIDIDestinationCreateWithBlock(
        client, "B", [this](const PacketListView& list, auto) { heard.push_back(packetsOf(list)[0].bytes); },
        destination);
    EXPECT_THAT(world.ownPorts, UnorderedElementsAre(std::pair(11, "source A"), std::pair(12, "destination B")));
    ASSERT_EQ(world.graph->outlets.size(), 1u);
    EXPECT_EQ(world.graph->outlets[0].port, 11);
    EXPECT_EQ(world.graph->outlets[0].receivers, (std::vector<std::uint8_t>{140}));
    world.calls.received(world.graph->destinations.at(12), OwnedList{{1, {0xFA}}});
    EXPECT_THAT(heard, ElementsAre(Bytes{0xFA}));
    service->MIDIObjectSetStringProperty(source, kMIDIPropertyName, "C");
    EXPECT_EQ(world.ownPorts.at(11), "C");
    service->MIDIEndpointDispose(source);
    service->MIDIEndpointDispose(destination);
    EXPECT_THAT(world.ownPorts, IsEmpty());
    EXPECT_THAT(world.graph->outlets, IsEmpty());
    EXPECT_THAT(world.graph->destinations, IsEmpty());
}

TEST_F(AlsaServiceTest, ASequencerThatGoesAndComesBackFindsEverythingAgain) {
    MIDIEndpointRef own = 0;
    service->MIDISourceCreate(client, "A", own);
    world.plug(keyboard({20, 0}));
    announce();
    const MIDIEndpointRef keys = service->MIDIGetSource(1);
    service->MIDIPortConnectSource(input, keys, 0);
    world.isThere = false;
    world.isAlive = false;
    announce();
    EXPECT_FALSE(service->isConnected());
    EXPECT_THAT(sources(), ElementsAre("A"));
    runtime.runFor(std::chrono::seconds(2));
    EXPECT_EQ(service->reasonForAbsence(), "Not here.");
    world.isThere = true;
    world.ports[0].address = {24, 0};
    runtime.runFor(std::chrono::seconds(1));
    EXPECT_TRUE(service->isConnected());
    EXPECT_EQ(service->reasonForAbsence(), "");
    EXPECT_EQ(service->MIDIGetSource(1), keys);
    EXPECT_THAT(world.connections, ElementsAre(std::pair(AlsaAddress{24, 0}, true)));
    EXPECT_EQ(world.ownPorts.size(), 1u);
}

TEST_F(AlsaServiceTest, WhatTheSequencersThreadPostedOutlivesTheService) {
    world.plug(keyboard({20, 0}));
    world.calls.changed();
    service.reset();
    runtime.settle();
}

TEST(AlsaAbsence, AMachineWithoutSequencerIsToldInASentenceAndTheServiceGoesOn) {
    if (std::filesystem::exists("/dev/snd/seq")) GTEST_SKIP() << "this machine has a sequencer";
    VirtualRuntime runtime;
    const RuntimeScope scope(runtime);
    AlsaService service({});
    EXPECT_FALSE(service.isConnected());
    EXPECT_EQ(service.reasonForAbsence(),
              "There is no ALSA sequencer: /dev/snd/seq is missing, so the kernel's module snd-seq isn't loaded.");
    MIDIClientRef client = 0;
    MIDIEndpointRef own = 0;
    EXPECT_EQ(service.MIDIClientCreateWithBlock("test", {}, client), midiSuccess);
    EXPECT_EQ(service.MIDISourceCreate(client, "A", own), midiSuccess);
    EXPECT_EQ(service.MIDIReceived(own, OwnedList{{0, {0xF8}}}), midiSuccess);
    EXPECT_EQ(service.MIDIGetNumberOfSources(), 1u);
    runtime.runFor(std::chrono::seconds(5));
    EXPECT_EQ(service.lostPackets(), 0u);
}

}  // namespace
}  // namespace varnolex
