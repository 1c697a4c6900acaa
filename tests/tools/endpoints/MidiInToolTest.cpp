#include <latch>
#include <thread>

#include "EndpointProbe.hpp"
#include "endpoints/VirtualInput.hpp"
#include "engine/MIDILearnCoordinator.hpp"
#include "support/AllocationTrap.hpp"
#include "support/RecordedEvents.hpp"
#include "tools/endpoints/MidiInTool.hpp"

namespace varnolex::testing {
namespace {

using Texts = std::vector<std::string>;

class MidiInToolTest : public ::testing::Test {
protected:
    MidiInToolTest() {
        source = probe.service.plugSource({.displayName = "Keys", .uniqueID = 77});
        in.start(probe.client);
    }

    Texts hear(const PacketListView& list) {
        probe.taken();
        EXPECT_EQ(probe.service.send(source, list), midiSuccess);
        return probe.taken();
    }

    EndpointProbe<MidiInTool> probe{PipeToolType::midiIn};
    MidiInTool& in = probe.endpointTool();
    MIDIEndpointRef source = 0;
};

TEST_F(MidiInToolTest, cutsAListIntoOneBatchOfMessages) {
    in.connectToSource(77);
    EXPECT_TRUE(in.isOnline());
    EXPECT_EQ(in.settings().endpointName, "Keys");
    EXPECT_EQ(hear(OwnedList{{5, {0x90, 60, 1}}, {6, {}}, {7, {0x90, 61, 1, 62, 1, 0xF8}}}),
              (Texts{"90 3C 01", "90 3D 01", "90 3E 01", "F8 |"}));
    probe.service.send(source, OwnedList{{9, {0x80, 60, 0}}, {0, {0xFA}}});
    EXPECT_EQ(probe.exited[0].timeStamp, 9u);
    EXPECT_EQ(probe.exited[1].timeStamp, probe.runtime.hostTime());
}

TEST_F(MidiInToolTest, endsTheBatchAlsoWhenTheListEndsInNoMessage) {
    in.connectToSource(77);
    EXPECT_EQ(hear(OwnedList{{5, {0x90, 60, 1, 62}}}), (Texts{"90 3C 01", "- |"}));
    EXPECT_EQ(hear(OwnedList{{5, {0x90, 60, 1}}, {6, {}}}), (Texts{"90 3C 01", "- |"}));
    EXPECT_EQ(hear(OwnedList{{6, {}}}), Texts{});
}

TEST_F(MidiInToolTest, endsWhatAGoneSourceHasLeftSounding) {
    in.connectToSource(77);
    hear(OwnedList{{5, {0x93, 60, 1, 61, 1, 61, 0}}, {5, {0x93, 64, 9}}, {6, {0xB3, 64, 127}}, {6, {0xB3, 66, 63}}});
    hear(OwnedList{{7, {0x83, 64, 0}}, {7, {0xB3, 7, 100}}});
    probe.service.unplug(source);
    in.disconnectSource();
    in.endSoundingNotes();
    EXPECT_EQ(probe.taken(), (Texts{"83 3C 40 |", "B3 40 00 |"}));
    in.endSoundingNotes();
    EXPECT_EQ(probe.taken(), Texts{});
}

TEST_F(MidiInToolTest, endsItBehindAWalkThatIsHeldUpWithoutWaitingForIt) {
    in.connectToSource(77);
    hear(OwnedList{{5, {0x93, 64, 9}}});
    std::latch isHeld(1);
    std::latch mayEnd(1);
    std::thread script([&] {
        in.chain()->enter([&] {
            isHeld.count_down();
            mayEnd.wait();
        });
    });
    isHeld.wait();
    in.endSoundingNotes();
    EXPECT_EQ(probe.taken(), Texts{});
    mayEnd.count_down();
    script.join();
    probe.runtime.runFor(std::chrono::milliseconds(1));
    EXPECT_EQ(probe.taken(), Texts{"83 40 40 |"});
}

TEST_F(MidiInToolTest, keepsTheChoiceOfASourceThatIsMissing) {
    in.connectToSource(77);
    in.connectToSource(78);
    EXPECT_FALSE(in.isOnline());
    EXPECT_EQ(in.settings().endpointUniqueID, 78);
    EXPECT_EQ(in.settings().endpointName, "Keys");
    EXPECT_EQ(hear(OwnedList{{5, {0x90, 60, 1}}}), Texts{});
    in.chooseNothing();
    EXPECT_EQ(in.settings().endpointUniqueID, std::nullopt);
    EXPECT_EQ(in.settings().endpointName, "None");
}

TEST_F(MidiInToolTest, staysOfflineWhenTheServiceRefuses) {
    probe.service.failNext(MemoryService::Operation::MIDIPortConnectSource, -9);
    in.connectToSource(77);
    EXPECT_FALSE(in.isOnline());
    EXPECT_EQ(in.connectedEndpoint(), 0u);
    in.stop();
    probe.service.failNext(MemoryService::Operation::MIDIInputPortCreateWithBlock, -9);
    in.start(probe.client);
    EXPECT_EQ(in.inputPort(), 0u);
    in.start(probe.client);
    in.bindStoredEndpoint();
    EXPECT_EQ(hear(OwnedList{{5, {0xFA}}}), Texts{"FA |"});
}

TEST_F(MidiInToolTest, hearsNothingWhileSwitchedOffOrStopped) {
    in.connectToSource(77);
    in.setEnabled(false);
    EXPECT_EQ(hear(OwnedList{{5, {0xFA}}}), Texts{});
    in.setEnabled(true);
    EXPECT_EQ(hear(OwnedList{{5, {0xFA}}}), Texts{"FA |"});
    const std::size_t pending = probe.runtime.pendingItems();
    in.stop();
    EXPECT_LE(probe.runtime.pendingItems(), pending);
    probe.runtime.settle();
    EXPECT_EQ(probe.runtime.pendingItems(), 0u);
    EXPECT_FALSE(in.isOnline());
    EXPECT_EQ(in.inputPort(), 0u);
    EXPECT_EQ(hear(OwnedList{{5, {0xFA}}}), Texts{});
    EXPECT_EQ(in.settings().endpointUniqueID, 77);
}

TEST_F(MidiInToolTest, followsItsSettings) {
    probe.set("endpointUniqueID", 77);
    EXPECT_EQ(hear(OwnedList{{5, {0xFA}}}), Texts{"FA |"});
    probe.set("endpointUniqueID", ParameterValue());
    EXPECT_EQ(hear(OwnedList{{5, {0xFA}}}), Texts{});
    EXPECT_FALSE(in.isOnline());
}

TEST_F(MidiInToolTest, takesAVirtualInputInPlaceOfASource) {
    in.connectToSource(77);
    const auto input = std::make_shared<VirtualInput>("Loop", 99);
    in.connectToVirtualInput(input);
    EXPECT_EQ(in.settings().endpointName, "Loop");
    EXPECT_EQ(in.settings().selectedVirtualInputID, 99);
    EXPECT_EQ(hear(OwnedList{{5, {0xFA}}}), Texts{});
    MessageList gathered;
    input->receive(OwnedList{{5, {0xFA}}, {6, {0x90, 60, 1, 61}}}, gathered);
    EXPECT_EQ(probe.taken(), (Texts{"FA", "90 3C 01", "- |"}));

    in.bindStoredEndpoint();
    EXPECT_EQ(in.connectedVirtualInput(), input);
    in.stop();
    EXPECT_EQ(in.settings().selectedVirtualInputID, 99);
    input->receive(OwnedList{{5, {0xFA}}}, gathered);
    EXPECT_EQ(probe.taken(), Texts{});

    in.connectToVirtualInput(input);
    in.disconnectVirtualInput();
    EXPECT_EQ(in.settings().selectedVirtualInputID, std::nullopt);
    EXPECT_FALSE(in.isOnline());
}

TEST_F(MidiInToolTest, readsTheIDsOfOldFiles) {
    struct Case {
        ParameterValue stored;
        ParameterValue read;
    };
    const std::vector<Case> cases{
        {std::int64_t{-5}, std::int64_t{-5}},
        {std::string("0f8fad5b-d9cb-469f-a165-70867728950e"), std::int64_t{-1}},
        {std::string("Virtual Input 1"), ParameterValue()},
        {std::int64_t{1} << 40, ParameterValue()},
        {true, ParameterValue()},
    };
    for (const Case& one : cases) {
        probe.set("selectedVirtualInputID", one.stored);
        EXPECT_EQ(parameterOf(in, "selectedVirtualInputID"), one.read);
    }
}

TEST_F(MidiInToolTest, lightsItsLampForAMomentHoweverDenseTheTraffic) {
    in.connectToSource(77);
    const auto send = [&] { probe.service.send(source, OwnedList{{5, {0xF8}}}); };
    send();
    EXPECT_FALSE(in.isReceiving());
    probe.runtime.settle();
    EXPECT_TRUE(in.isReceiving());
    for (int count = 0; count < 50; ++count) send();
    EXPECT_EQ(probe.runtime.pendingItems(), 1u);
    probe.runtime.runFor(std::chrono::milliseconds(151));
    EXPECT_FALSE(in.isReceiving());
    send();
    probe.runtime.settle();
    EXPECT_TRUE(in.isReceiving());
}

TEST_F(MidiInToolTest, offersTheFirstStatusOfAPacketToLearning) {
    in.connectToSource(77);
    std::optional<int> learned;
    const auto learn = [&] {
        learned.reset();
        MIDILearnCoordinator::shared().startLearning(MIDILearnCoordinator::LearnType::ccNumber, "test",
                                                     [&](std::uint8_t value) { learned = value; });
    };
    learn();
    hear(OwnedList{{5, {0xF8, 0xB0, 74, 1}}});
    probe.runtime.settle();
    EXPECT_EQ(learned, std::nullopt);
    hear(OwnedList{{5, {0xB0, 74, 1, 75, 1}}});
    probe.runtime.settle();
    EXPECT_EQ(learned, 74);
    learn();
    hear(OwnedList{{5, {0xB0, 0xF8, 74, 1}}});
    probe.runtime.settle();
    EXPECT_EQ(learned, std::nullopt) << "a clock tick is no controller number";
    MIDILearnCoordinator::shared().cancelLearning();
}

class CountingExit final : public ChainExit {
public:
    explicit CountingExit(std::size_t& total) : count(total) {}
    void deliver(const ChainMessage&) noexcept override { ++count; }

private:
    std::size_t& count;
};

TEST_F(MidiInToolTest, tellsTheFlightRecorderWhatArrivesAndWhyNothingDoes) {
    RecordedEvents events(probe.runtime);
    in.chainWasWired(3);
    in.connectToSource(77);
    hear(OwnedList{{5, {0x90, 60, 1, 61, 1, 0xF8}}, {6, {0xF0, 1, 2, 0xF7}}});
    EXPECT_EQ(events.take(),
              (Texts{"7: 3 77 0 0 1", "4: 3 144 60 1 0", "4: 3 144 61 1 0", "4: 3 248 0 0 0", "4: 3 240 1 2 3"}));
    for (int round = 0; round < 2; ++round) {
        in.setEnabled(false);
        hear(OwnedList{{5, {0x90, 60, 1}}});
        hear(OwnedList{{5, {0x90, 60, 1}}});
        EXPECT_EQ(events.take(), Texts{"7: 3 0 0 0 3"}) << "once, until something gets through again";
        in.setEnabled(true);
        hear(OwnedList{{5, {0x90, 60, 1}}});
        events.take();
    }
    VirtualInput input("Port", 0x1234);
    in.connectToVirtualInput(std::shared_ptr<VirtualInput>(std::shared_ptr<void>(), &input));
    EXPECT_EQ(events.take(), (Texts{"7: 3 77 0 0 2", "7: 3 52 18 1 1"}));
}

TEST_F(MidiInToolTest, allocatesNothingPerList) {
    in.connectToSource(77);
    std::size_t count = 0;
    probe.chain->setMessageDidExit(std::make_unique<CountingExit>(count));
    const OwnedList list{{5, {0x90, 60, 1, 61, 1, 0xF8}}, {6, {0xF0, 1, 2, 3, 0xF7}}};
    probe.service.send(source, list);
    const AllocationTrap trap;
    for (int round = 0; round < 100; ++round) probe.service.send(source, list);
    EXPECT_EQ(trap.count(), 0u);
    EXPECT_EQ(count, 404u);
}

}  // namespace
}  // namespace varnolex::testing
