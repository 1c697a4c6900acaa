#include <gmock/gmock.h>

#include "core/message/SystemExclusiveMessage.hpp"
#include "core/message/VoiceMessage.hpp"
#include "endpoints/MIDIManager.hpp"
#include "endpoints/PortEntry.hpp"
#include "endpoints/ServiceFixture.hpp"
#include "endpoints/UniqueID.hpp"
#include "endpoints/VirtualPortManager.hpp"
#include "platform/DefaultsStore.hpp"
#include "support/RecordedEvents.hpp"

namespace varnolex {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

using Operation = MemoryService::Operation;

class VirtualPortsTest : public ServiceFixture {
protected:
    VirtualPortsTest() { manager.setClient(client); }

    std::string stored() { return store.json("virtualPorts").value_or(""); }

    /// Collects what a chain gets: "chain@time:first byte/length", with a dot on the last packet of a list.
    ChainCallback chainNamed(const std::string& name) {
        return [this, name](const std::uint8_t* bytes, std::size_t length, HostTime time, bool isLast) {
            heard.push_back(name + "@" + std::to_string(time) + ":" + std::to_string(bytes[0]) + "/" +
                            std::to_string(length) + (isLast ? "." : ""));
        };
    }

    DefaultsStore store{""};
    VirtualPortManager manager{store};
};

TEST_F(VirtualPortsTest, NewPortsAreNumberedSeenByOthersAndStoredInputsFirst) {
    const auto output = manager.addOutput();
    const auto input = manager.addInput();
    const auto named = manager.addInput("Grün");
    EXPECT_EQ(manager.addInput()->name(), "Virtual Input 3");
    EXPECT_EQ(output->name(), "Virtual Output 1");
    EXPECT_EQ(input->name(), "Virtual Input 1");
    EXPECT_EQ(nameOf(named->endpointRef()), "Grün");
    EXPECT_EQ(uniqueIDOf(output->endpointRef()), output->uniqueID());
    EXPECT_EQ(uniqueIDOf(input->endpointRef()), input->uniqueID());
    EXPECT_TRUE(input->isActive() && output->isActive());

    const auto entries = portEntriesFromJSON(stored());
    ASSERT_TRUE(entries);
    EXPECT_THAT(*entries, SizeIs(4));
    EXPECT_EQ(entries->back(), (PortEntry{"Virtual Output 1", output->uniqueID(), true}));
    EXPECT_EQ(jsonFromPortEntries({{"A", -1, true}}), R"([{"name":"A","uniqueID":-1,"isOutput":true}])");
}

TEST_F(VirtualPortsTest, AUniqueIDFollowsTheNameUnlessItIsTaken) {
    EXPECT_EQ(manager.addInput("")->uniqueID(), 2128831035);
    const auto first = manager.addOutput("Same");
    const auto second = manager.addOutput("Same");
    EXPECT_NE(first->uniqueID(), second->uniqueID());
    EXPECT_GT(second->uniqueID(), 0);

    const auto wanted = uniqueIDForName("Foreign");
    service.plugSource({.displayName = "Other", .uniqueID = wanted});
    EXPECT_NE(manager.addInput("Foreign")->uniqueID(), wanted);

    DefaultsStore otherDefaults("");
    VirtualPortManager otherRun(otherDefaults);
    EXPECT_EQ(otherRun.addOutput("Elsewhere")->uniqueID(), uniqueIDForName("Elsewhere"));
}

TEST_F(VirtualPortsTest, StoredPortsComeBackWithTheirIdentityOnceActivated) {
    const auto inputID = manager.addInput("In")->uniqueID();
    manager.addInput("In");
    const auto randomID = manager.inputs().back()->uniqueID();
    const auto outputID = manager.addOutput("Out")->uniqueID();

    manager.load();
    EXPECT_EQ(service.MIDIGetNumberOfSources() + service.MIDIGetNumberOfDestinations(), 0u) << "torn down";
    ASSERT_THAT(manager.inputs(), SizeIs(2));
    ASSERT_THAT(manager.outputs(), SizeIs(1));
    EXPECT_FALSE(manager.outputs()[0]->isActive());
    manager.activateAll();
    manager.activateAll();
    EXPECT_EQ(service.MIDIGetNumberOfDestinations(), 2u);
    EXPECT_EQ(uniqueIDOf(manager.inputs()[0]->endpointRef()), inputID);
    EXPECT_EQ(uniqueIDOf(manager.inputs()[1]->endpointRef()), randomID);
    EXPECT_EQ(uniqueIDOf(manager.outputs()[0]->endpointRef()), outputID);
}

TEST_F(VirtualPortsTest, LeftoverOutputsAreNotRestored) {
    store.setJSON("virtualPorts", jsonFromPortEntries({{"MIDI Out", 1, true},
                                                       {"MIDI Out 27", 2, true},
                                                       {"my virtual INPUT", 3, true},
                                                       {"My MIDI Out", 4, true},
                                                       {"MIDI Out", 5, false},
                                                       {"Virtual Input 1", 6, false}}));
    manager.load();
    ASSERT_THAT(manager.outputs(), SizeIs(1));
    EXPECT_EQ(manager.outputs()[0]->name(), "My MIDI Out");
    EXPECT_THAT(manager.inputs(), SizeIs(2));
}

TEST_F(VirtualPortsTest, AStoredListThatIsNoneLeavesThePortsAlone) {
    const auto port = manager.addInput("Kept");
    const std::vector<std::string> texts = {
        R"({})",
        R"([1])",
        R"([{"name":"A","uniqueID":1}])",
        R"([{"name":"A","uniqueID":"1","isOutput":true}])",
        R"([{"name":"A","uniqueID":2147483648,"isOutput":true}])",
        R"([{"name":"A","uniqueID":18446744073709551615,"isOutput":true}])",
        R"([{"name":"A","uniqueID":1.5,"isOutput":true}])",
        R"([{"name":7,"uniqueID":1,"isOutput":true}])",
        R"([{"name":"A","uniqueID":1,"isOutput":0}])",
        R"([{"name":"A","uniqueID":1,"isOutput":true},null])",
    };
    for (const std::string& text : texts) {
        store.setJSON("virtualPorts", text);
        manager.load();
        ASSERT_THAT(manager.inputs(), ElementsAre(port)) << text;
    }
    EXPECT_TRUE(port->isActive());
    EXPECT_FALSE(portEntriesFromJSON("[{\"name\":\"A\""));
    EXPECT_FALSE(portEntriesFromJSON(std::string(100'000, '[')));
    EXPECT_THAT(*portEntriesFromJSON(R"([{"uniqueID":-2147483648,"isOutput":false,"name":"","more":[]}])"),
                ElementsAre(PortEntry{"", INT32_MIN, false}));
    EXPECT_TRUE(portEntriesFromJSON(jsonFromPortEntries({{"bad \xFF byte", 1, false}})));
}

TEST_F(VirtualPortsTest, AFailedCreationKeepsThePortAndIsTriedAgain) {
    RecordedEvents events(runtime);
    service.failNext(Operation::MIDISourceCreate, -70'000);
    manager.addOutput("Recorded");
    EXPECT_THAT(events.take(), ElementsAre("15: 144 238 1 254 255"));
    manager.removeOutput(manager.outputs()[0]);
    std::vector<std::pair<int, MIDIStatus>> failures;
    manager.reportCreationFailure = [&](int kind, MIDIStatus status) { failures.emplace_back(kind, status); };
    service.failNext(Operation::MIDIDestinationCreateWithBlock, -11);
    service.failNext(Operation::MIDISourceCreate, -12);
    const auto input = manager.addInput("In");
    const auto output = manager.addOutput("Out");
    EXPECT_THAT(failures, ElementsAre(std::pair{0, -11}, std::pair{1, -12}));
    EXPECT_FALSE(input->isActive() || output->isActive());
    EXPECT_THAT(*portEntriesFromJSON(stored()), SizeIs(2));
    manager.activateAll();
    EXPECT_TRUE(input->isActive() && output->isActive());
    EXPECT_EQ(uniqueIDOf(input->endpointRef()), input->uniqueID());
}

TEST_F(VirtualPortsTest, WithoutAClientPortsAreKeptForLater) {
    manager.setClient(0);
    const auto input = manager.addInput("Later");
    EXPECT_FALSE(input->isActive());
    manager.setClient(client);
    manager.activateAll();
    EXPECT_TRUE(input->isActive());
}

TEST_F(VirtualPortsTest, ARenameKeepsTheEndpointAndItsIdentity) {
    const auto output = manager.addOutput("Before");
    const auto reference = output->endpointRef();
    const auto uniqueID = output->uniqueID();
    std::string renames;
    manager.onOutputRenamed = [&](const auto& port, const std::string& old) { renames += old + ">" + port->name(); };
    manager.renameOutput(output, "After");
    EXPECT_EQ(renames, "Before>After");
    EXPECT_EQ(nameOf(reference), "After");
    EXPECT_EQ(output->endpointRef(), reference);
    EXPECT_EQ(uniqueIDOf(reference), uniqueID);
    EXPECT_EQ(portEntriesFromJSON(stored())->front().name, "After");
}

TEST_F(VirtualPortsTest, ARemovedPortLeavesTheServiceTheListAndTheStore) {
    std::vector<std::string> removed;
    manager.onOutputRemoved = [&](const auto& port) { removed.push_back(port->name()); };
    manager.addInput("In");
    manager.addOutput("Out");
    manager.removeInput(manager.inputs()[0]);
    const auto output = manager.outputs()[0];
    manager.removeOutput(manager.outputs()[0]);
    EXPECT_THAT(removed, ElementsAre("Out"));
    EXPECT_EQ(output->endpointRef(), 0u);
    EXPECT_FALSE(output->isActive());
    EXPECT_EQ(service.MIDIGetNumberOfSources() + service.MIDIGetNumberOfDestinations(), 0u);
    EXPECT_EQ(stored(), "[]");
}

TEST_F(VirtualPortsTest, ChainsHearAtOnceInTheirOrderAndMonitorsOnTheMainThread) {
    std::vector<MessageList> monitored;
    manager.setMessageHandler([&](MessageList messages) { monitored.push_back(std::move(messages)); });
    const auto input = manager.addInput("In");
    const UUID first = runtime.makeUUID();
    const UUID second = runtime.makeUUID();
    input->addChainCallback(first, chainNamed("a"));
    input->addChainCallback(second, chainNamed("b"));
    const auto now = std::to_string(runtime.hostTime());
    service.sendToVirtualDestination(input->endpointRef(),
                                     OwnedList{{7, {0x90, 60, 100, 61, 101}}, {8, {}}, {0, {0xF8}}});
    EXPECT_THAT(heard, ElementsAre("a@7:144/5", "b@7:144/5", "a@" + now + ":248/1.", "b@" + now + ":248/1."));
    EXPECT_THAT(monitored, IsEmpty());
    runtime.settle();
    ASSERT_THAT(monitored, SizeIs(1));
    ASSERT_THAT(monitored[0], SizeIs(3));
    EXPECT_EQ(monitored[0][1]->as<VoiceMessage>()->timeStamp, 7u);
    EXPECT_TRUE(monitored[0][2]->timeStampWasZeroWhenReceived);
    EXPECT_EQ(monitored[0][2]->originatingEndpointName.view(), "In");

    heard.clear();
    input->removeChainCallback(first);
    input->addChainCallback(second, chainNamed("c"));
    service.sendToVirtualDestination(input->endpointRef(), OwnedList{{9, {0xFA}}});
    input->removeChainCallback(second);
    service.sendToVirtualDestination(input->endpointRef(), OwnedList{{9, {0xFB}}});
    EXPECT_THAT(heard, ElementsAre("c@9:250/1."));
    runtime.settle();
    EXPECT_THAT(monitored, SizeIs(3)) << "an input without chains still feeds the monitors";
}

TEST_F(VirtualPortsTest, MessagesCarryTheNameOfTheMomentAlsoWhenTheyCameInPieces) {
    MessageList monitored;
    manager.setMessageHandler([&](MessageList messages) {
        for (const MessageRef& message : messages) monitored.push_back(message);
    });
    const auto input = manager.addInput("Old");
    service.sendToVirtualDestination(input->endpointRef(), OwnedList{{1, {0xF0, 1}}});
    runtime.settle();
    EXPECT_THAT(monitored, IsEmpty());
    manager.renameInput(input, "New");
    service.sendToVirtualDestination(input->endpointRef(), OwnedList{{2, {2, 0xF7}}});
    runtime.settle();
    ASSERT_THAT(monitored, SizeIs(1));
    EXPECT_EQ(monitored[0]->originatingEndpointName.view(), "New");
    EXPECT_THAT(monitored[0]->as<SystemExclusiveMessage>()->data(), ElementsAre(1, 2));
    EXPECT_EQ(monitored[0]->timeStamp, 1u);
}

TEST_F(VirtualPortsTest, WhatIsUnderWayWhenTheManagerGoesReachesNobody) {
    DefaultsStore otherDefaults("");
    bool wasCalled = false;
    {
        VirtualPortManager passing(otherDefaults);
        passing.setClient(client);
        passing.setMessageHandler([&](MessageList) { wasCalled = true; });
        service.sendToVirtualDestination(passing.addInput("In")->endpointRef(), OwnedList{{1, {0xF8}}});
    }
    runtime.settle();
    EXPECT_FALSE(wasCalled);
    EXPECT_EQ(service.MIDIGetNumberOfDestinations(), 0u);
}

}  // namespace
}  // namespace varnolex
