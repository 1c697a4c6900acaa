#include <numeric>

#include "EndpointProbe.hpp"
#include "endpoints/VirtualPortManager.hpp"
#include "platform/DefaultsStore.hpp"
#include "platform/VarnolexLogger.hpp"
#include "support/AllocationTrap.hpp"
#include "support/RecordedEvents.hpp"
#include "tools/endpoints/MidiOutTool.hpp"

namespace varnolex::testing {
namespace {

using Texts = std::vector<std::string>;

class MidiOutToolTest : public ::testing::Test {
protected:
    MidiOutToolTest() {
        destination = probe.service.plugDestination({.displayName = "Synth", .uniqueID = 55});
        probe.service.listen(destination, [this](const PacketListView& list) { hear(list); });
        out.start(probe.client);
    }

    /// One text a list: its messages, parted by commas.
    void hear(const PacketListView& list) {
        std::string text;
        for (const Packet& packet : list) {
            if (!text.empty()) text += ", ";
            text += textOf({{packet.bytes.begin(), packet.bytes.end()}, false, 0, 0});
            times.push_back(packet.timeStamp);
            sizes.push_back(packet.bytes.size());
        }
        heard.push_back(text);
    }

    Texts heardNow() { return std::exchange(heard, {}); }

    // Before the probe: a tool that is stopped sends what it still holds.
    Texts heard;
    std::vector<HostTime> times;
    std::vector<std::size_t> sizes;

    EndpointProbe<MidiOutTool> probe{PipeToolType::midiOut};
    MidiOutTool& out = probe.endpointTool();
    MIDIEndpointRef destination = 0;
};

TEST_F(MidiOutToolTest, sendsABatchAsOneList) {
    out.connectToDestination(55);
    EXPECT_TRUE(out.isOnline());
    EXPECT_EQ(out.settings().endpointName, "Synth");
    probe.send({0x90, 60, 1}, false, 11);
    probe.send({0xF8}, false, 12);
    EXPECT_EQ(heardNow(), Texts{});
    probe.send({0xC0, 1}, true, 13);
    EXPECT_EQ(heardNow(), Texts{"90 3C 01, F8, C0 01"});
    EXPECT_EQ(times, (std::vector<HostTime>{11, 12, 13}));
    probe.send({0x90, 61, 1}, false);
    probe.sendEmpty(false);
    EXPECT_EQ(heardNow(), Texts{});
    probe.sendEmpty(true);
    probe.sendEmpty(true);
    EXPECT_EQ(heardNow(), Texts{"90 3D 01"});
    EXPECT_EQ(probe.taken(), Texts{});
}

TEST_F(MidiOutToolTest, endsNotesAndPedalsForWhoeverLeaves) {
    out.connectToDestination(55);
    for (const Bytes& sent :
         {Bytes{0x91, 60, 1}, {0x92, 62, 1}, {0x82, 62, 0}, {0xB1, 64, 64}, {0xB2, 69, 127}, {0xB2, 69, 0}})
        probe.send(sent, true);
    heardNow();
    out.endSoundingNotes();
    EXPECT_EQ(heardNow(), Texts{"81 3C 40, B1 40 00"});
    out.endSoundingNotes();
    EXPECT_EQ(heardNow(), Texts{});
}

TEST_F(MidiOutToolTest, writesNoteOffsAsItIsToldAndPassesTheOriginalOn) {
    out.connectToDestination(55);
    probe.set("passThrough", true);
    EXPECT_EQ(probe.answer({0x85, 60, 64}), Texts{"85 3C 40 |"});
    EXPECT_EQ(probe.answer({0x85, 60}), Texts{"85 3C |"});
    probe.set("noteOffVelocity", true);
    EXPECT_EQ(probe.answer({0x85, 60, 64}, false), Texts{"85 3C 40"});
    probe.sendEmpty(true);
    EXPECT_EQ(probe.taken(), Texts{"- |"});
    EXPECT_EQ(heardNow(), (Texts{"95 3C 00", "85 3C", "85 3C 40"}));
}

TEST_F(MidiOutToolTest, dropsWhatHasNowhereToGoWithTheBatchItBelongsTo) {
    probe.send({0x90, 60, 1});
    out.connectToDestination(55);
    probe.send({0x90, 61, 1}, false);
    out.releaseDestination();
    EXPECT_FALSE(out.isOnline());
    probe.send({0x90, 62, 1});
    out.connectToDestination(55);
    probe.send({0x90, 63, 1});
    EXPECT_EQ(heardNow(), Texts{"90 3F 01"});
    out.connectToDestination(56);
    EXPECT_FALSE(out.isOnline());
    EXPECT_EQ(out.settings().endpointUniqueID, 56);
    EXPECT_EQ(out.settings().endpointName, "Synth");
    probe.send({0x90, 64, 1});
    EXPECT_EQ(heardNow(), Texts{});
}

TEST_F(MidiOutToolTest, spreadsABatchOverListsWhenOneIsTooSmall) {
    out.connectToDestination(55);
    std::size_t sent = 0;
    const auto send = [&](std::size_t length, bool isLast) {
        Bytes bytes(length, 1);
        bytes.front() = 0xF0;
        probe.send(bytes, isLast, sent + 1);
        sent += 1;
    };
    for (const std::size_t length : {100, 3900, 200, 5000, 3, 65535, 70000}) send(length, false);
    send(4, true);
    EXPECT_EQ(sizes, (std::vector<std::size_t>{100, 3900, 200, 5000, 3, 65535, 65535, 4465, 4}));
    EXPECT_EQ(times, (std::vector<HostTime>{1, 2, 3, 4, 5, 6, 7, 7, 8}));
    EXPECT_EQ(heard.size(), 8u);
}

TEST_F(MidiOutToolTest, doesNotGatherForeverWhenNoBatchEnds) {
    out.connectToDestination(55);
    const Bytes block(1000, 0x10);
    for (int count = 0; count < 3000; ++count) probe.send(block, false);
    EXPECT_GT(std::accumulate(sizes.begin(), sizes.end(), std::size_t{0}), 1'000'000u);
}

TEST_F(MidiOutToolTest, offersASourceOfItsOwnUnderItsName) {
    out.setName("");
    out.setVirtual(true);
    out.start(probe.client);
    ASSERT_NE(out.virtualSourceRef(), 0u);
    EXPECT_TRUE(out.isOnline());
    EXPECT_EQ(probe.nameOf(out.virtualSourceRef()), "Varnolex Output");
    out.setName("Lead");
    EXPECT_EQ(probe.nameOf(out.virtualSourceRef()), "Lead");
    probe.service.listenToVirtualSource(out.virtualSourceRef(), [this](const PacketListView& list) { hear(list); });
    probe.send({0xFA});
    EXPECT_EQ(heardNow(), Texts{"FA"});
    out.connectToDestination(55);
    EXPECT_FALSE(out.isVirtual());
    EXPECT_EQ(probe.service.MIDIGetNumberOfSources(), 0u);
    probe.send({0xFC});
    EXPECT_EQ(heardNow(), Texts{"FC"});
}

TEST_F(MidiOutToolTest, sendsThroughAVirtualOutputInPlaceOfADestination) {
    DefaultsStore defaults({});
    VirtualPortManager ports(defaults);
    const auto output = ports.addOutput("Bus");
    out.connectToDestination(55);
    // Not created yet: there is nowhere to send to, but the choice is kept.
    out.connectToVirtualOutput(output);
    EXPECT_FALSE(out.isOnline());
    EXPECT_EQ(out.settings().endpointUniqueID, std::nullopt);
    EXPECT_EQ(out.settings().selectedVirtualOutputID, output->uniqueID());
    EXPECT_EQ(out.settings().endpointName, "Bus");
    probe.send({0xFA});

    ports.setClient(probe.client);
    ports.activateAll();
    probe.service.listenToVirtualSource(output->endpointRef(), [this](const PacketListView& list) { hear(list); });
    out.bindStoredEndpoint();
    EXPECT_TRUE(out.isOnline());
    probe.send({0xFB});
    EXPECT_EQ(heardNow(), Texts{"FB"});
    out.disconnectVirtualOutput();
    EXPECT_FALSE(out.isOnline());
    EXPECT_EQ(out.settings().selectedVirtualOutputID, std::nullopt);
    probe.send({0xFC});
    EXPECT_EQ(heardNow(), Texts{});
}

TEST_F(MidiOutToolTest, sendsWhatIsPendingWhenItStopsAndKeepsItsChoice) {
    out.connectToDestination(55);
    probe.send({0x80, 60, 0}, false);
    out.stop();
    EXPECT_EQ(heardNow(), Texts{"90 3C 00"});
    EXPECT_EQ(out.outputPort(), 0u);
    EXPECT_FALSE(out.isOnline());
    EXPECT_EQ(out.settings().endpointUniqueID, 55);
    out.start(probe.client);
    out.bindStoredEndpoint();
    probe.send({0xFA});
    EXPECT_EQ(heardNow(), Texts{"FA"});
}

TEST_F(MidiOutToolTest, readsOwnSourceModeOfOldRecordsAsAWishAndNeverWritesIt) {
    const auto apply = [&](bool isVirtual, ParameterValue outputID) {
        out.editSettings(SettingsBase::silence, [&](void* settings) {
            for (const auto& [key, value] :
                 {std::pair{"isVirtual", ParameterValue(isVirtual)}, {"selectedVirtualOutputID", outputID}}) {
                const Parameter* row = findParameter(out.definition(), key);
                row->write(settings, value, *row);
            }
        });
        out.recordWasApplied();
    };
    apply(true, {});
    EXPECT_TRUE(out.needsVirtualOutputMigration());
    EXPECT_FALSE(out.isVirtual());
    EXPECT_EQ(parameterOf(out, "isVirtual"), ParameterValue(false));
    apply(true, std::int64_t{4});
    EXPECT_FALSE(out.needsVirtualOutputMigration());
    apply(false, {});
    EXPECT_FALSE(out.needsVirtualOutputMigration());
}

TEST_F(MidiOutToolTest, tellsTheFlightRecorderWhatItSendsAndWhatIsRefused) {
    RecordedEvents events(probe.runtime);
    out.chainWasWired(2);
    probe.send({0x90, 60, 1});
    probe.send({0x90, 60, 1});
    EXPECT_EQ(events.take(), Texts{"14: 2 5 0 0 0"}) << "a row of lost messages is told of once";
    out.connectToDestination(55);
    probe.send({0x90, 60, 1}, false);
    probe.send({0x80, 60, 64}, true);
    EXPECT_EQ(events.take(), (Texts{"14: 2 1 55 0 0", "5: 2 144 60 1 0", "5: 2 144 60 0 5"}));
    probe.service.failNext(MemoryService::Operation::MIDISend, -6, 2);
    for (int note = 0; note < 4; ++note) probe.send({0x90, 60, 1});
    EXPECT_EQ(events.take(), (Texts{"13: 2 3 250 255 0", "5: 2 144 60 1 1", "5: 2 144 60 1 1", "13: 2 3 0 0 0",
                                    "5: 2 144 60 1 1", "5: 2 144 60 1 1"}))
        << "a status is recorded when it changes";
    out.connectToDestination(56);
    EXPECT_EQ(events.take(), Texts{"14: 2 0 56 0 0"});
    out.connectToDestination(55);
    probe.send({0x90, 60, 1}, false);
    out.releaseDestination();
    events.take();
    probe.sendEmpty(true);
    EXPECT_EQ(events.take(), Texts{"14: 2 5 0 0 0"}) << "a batch that can't leave any more";
}

TEST_F(MidiOutToolTest, reportsWhatTheServiceRefuses) {
    Texts lines;
    const auto former = VarnolexLogger::shared().replaceSink([&](std::string_view line) { lines.emplace_back(line); });
    out.stop();
    probe.service.failNext(MemoryService::Operation::MIDIOutputPortCreate, -9);
    probe.service.failNext(MemoryService::Operation::MIDISourceCreate, -8);
    out.setVirtual(true);
    out.start(probe.client);
    VarnolexLogger::shared().replaceSink(former);
    EXPECT_EQ(lines, (Texts{"MidiOutTool.start MIDIOutputPortCreate: status -9",
                            "MidiOutTool.createVirtualSource: status -8"}));
}

TEST_F(MidiOutToolTest, allocatesNothingPerMessage) {
    out.connectToDestination(55);
    std::size_t lists = 0;
    const auto other = probe.service.plugDestination({.displayName = "Other", .uniqueID = 56});
    probe.service.listen(other, [&](const PacketListView&) { ++lists; });
    out.connectToDestination(56);
    const Bytes note{0x90, 60, 1}, sysEx(9000, 1);
    const auto sendBatch = [&] {
        for (int count = 0; count < 500; ++count) probe.send(note, false);
        probe.send(sysEx, true);
    };
    sendBatch();
    const AllocationTrap trap;
    for (int round = 0; round < 20; ++round) sendBatch();
    EXPECT_EQ(trap.count(), 0u);
    EXPECT_GT(lists, 40u);
}

}  // namespace
}  // namespace varnolex::testing
