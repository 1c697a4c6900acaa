#include <gmock/gmock.h>

#include "endpoints/MIDIManager.hpp"
#include "endpoints/ServiceFixture.hpp"
#include "support/RecordedEvents.hpp"

namespace varnolex {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

using MIDIManagerTest = ServiceFixture;
using Operation = MemoryService::Operation;

TEST_F(MIDIManagerTest, TheListsHoldWhatTheServiceTellsInItsOrder) {
    const auto keys = service.plugSource(
        {.displayName = "Keys", .uniqueID = -7, .manufacturer = "Maker", .model = "K2", .driverOwner = "driver.usb"});
    const auto nameless = service.plugSource({.uniqueID = 8});
    const auto synth = service.plugDestination({.displayName = "Synth", .uniqueID = 9});
    MIDIManager manager;
    manager.setup();
    EXPECT_NE(manager.clientRef(), 0u);
    EXPECT_THAT(manager.sources(), ElementsAre(MIDISourceInfo{-7, "Keys", "Maker", "K2", "driver.usb", keys},
                                               MIDISourceInfo{8, "Unknown", "", "", "", nameless}));
    EXPECT_THAT(manager.destinations(), ElementsAre(MIDIDestinationInfo{9, "Synth", "", "", "", synth}));
}

TEST_F(MIDIManagerTest, AnEndpointThatVanishedMeanwhileMakesNoRow) {
    service.plugSource({.displayName = "Gone"});
    const auto there = service.plugSource({.displayName = "There", .uniqueID = 3});
    service.failNext(Operation::MIDIGetSource, midiWrongEndpoint);
    service.failNext(Operation::MIDIObjectGetStringProperty, midiUnknownProperty);
    MIDIManager manager;
    manager.setup();
    EXPECT_THAT(manager.sources(), ElementsAre(MIDISourceInfo{3, "Unknown", "", "", "", there}));
}

TEST_F(MIDIManagerTest, RefreshingTwiceCallsTwiceButReplacesNothing) {
    service.plugSource({.displayName = "Keys"});
    MIDIManager manager;
    int calls = 0;
    manager.onEndpointsChanged = [&] { ++calls; };
    manager.setup();
    manager.setup();
    const auto* const before = manager.sources().data();
    const auto revision = manager.revision();
    manager.refresh();
    EXPECT_EQ(calls, 2);
    EXPECT_EQ(manager.sources().data(), before);
    EXPECT_EQ(manager.revision(), revision);
}

TEST_F(MIDIManagerTest, ChangesOfTheServiceRefreshAndAreReported) {
    MIDIManager manager;
    manager.setup();
    runtime.settle();
    std::vector<std::string> reports;
    manager.reportNotification = [&](int kind, std::size_t sources, std::size_t destinations) {
        reports.push_back(std::to_string(kind) + " " + std::to_string(sources) + " " + std::to_string(destinations));
    };
    const auto source = service.plugSource({.displayName = "Keys"});
    runtime.settle();
    service.rename(source, "Organ");
    runtime.settle();
    EXPECT_EQ(manager.sources().front().displayName, "Organ");
    service.unplug(source);
    service.notify(midiSetupChanged);
    service.notify(0);
    service.notify(5);
    runtime.settle();
    EXPECT_THAT(reports, ElementsAre("1 1 0", "3 1 0", "2 0 0", "0 0 0"));
}

TEST_F(MIDIManagerTest, TheFlightRecorderHearsOfChangesByItself) {
    RecordedEvents events(runtime);
    MIDIManager manager;
    manager.setup();
    service.plugSource({.displayName = "Keys"});
    service.plugDestination({.displayName = "Synth"});
    EXPECT_THAT(events.take(), ElementsAre("17: 1 1 1 0 0", "17: 1 1 1 0 0"));
}

TEST_F(MIDIManagerTest, WithoutAClientTheListsStayEmptyAndNothingRetries) {
    service.plugSource({.displayName = "Keys"});
    service.failNext(Operation::MIDIClientCreateWithBlock, midiServerFailure);
    MIDIManager manager;
    manager.setup();
    manager.setup();
    EXPECT_TRUE(manager.isSetUp());
    EXPECT_EQ(manager.clientRef(), 0u);
    EXPECT_THAT(manager.sources(), IsEmpty());
}

TEST_F(MIDIManagerTest, AChangeAfterTheDirectoryIsGoneTouchesNothing) {
    {
        MIDIManager manager;
        manager.setup();
        service.plugSource({.displayName = "Keys"});
    }
    runtime.settle();
    EXPECT_EQ(service.MIDIGetNumberOfSources(), 1u);
}

}  // namespace
}  // namespace varnolex
