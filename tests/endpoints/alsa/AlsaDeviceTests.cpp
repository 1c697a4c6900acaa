#include <alsa/asoundlib.h>
#include <fcntl.h>
#include <gmock/gmock.h>

#include <filesystem>
#include <fstream>

#include "endpoints/ServiceFixture.hpp"
#include "endpoints/alsa/AlsaService.hpp"
#include "platform/RealRuntime.hpp"
#include "support/ChildProcess.hpp"
#include "support/SysExBytes.hpp"

namespace varnolex {
namespace {

constexpr int patienceMilliseconds = 30'000;

/// A program on the sequencer of this machine, with one input port that collects what it hears.
class Station {
public:
    explicit Station(const std::string& name) : service({.clientName = name}) {
        service.MIDIClientCreateWithBlock("test", {}, client);
        service.MIDIOutputPortCreate(client, "out", output);
        service.MIDIInputPortCreateWithBlock(client, "in", collecting(), input);
    }

    MIDIReadBlock collecting() {
        return [this](const PacketListView& list, std::uintptr_t) {
            auto packets = packetsOf(list);
            heard.with([&](auto& all) { std::ranges::move(packets, std::back_inserter(all)); });
        };
    }

    MIDIEndpointRef makeSource(const std::string& name) {
        MIDIEndpointRef made = 0;
        EXPECT_EQ(service.MIDISourceCreate(client, name, made), midiSuccess);
        return made;
    }
    MIDIEndpointRef makeDestination(const std::string& name, MIDIReadBlock read) {
        MIDIEndpointRef made = 0;
        EXPECT_EQ(service.MIDIDestinationCreateWithBlock(client, name, std::move(read), made), midiSuccess);
        return made;
    }
    MIDIEndpointRef find(const std::string& displayName, bool isSource) {
        const std::size_t count = isSource ? service.MIDIGetNumberOfSources() : service.MIDIGetNumberOfDestinations();
        for (std::size_t index = 0; index < count; ++index) {
            const MIDIEndpointRef endpoint =
                isSource ? service.MIDIGetSource(index) : service.MIDIGetDestination(index);
            std::string name;
            service.MIDIObjectGetStringProperty(endpoint, kMIDIPropertyDisplayName, name);
            if (name.starts_with(displayName)) return endpoint;
        }
        return 0;
    }
    std::int32_t uniqueIDOf(MIDIEndpointRef endpoint) {
        std::int32_t uniqueID = 0;
        service.MIDIObjectGetIntegerProperty(endpoint, kMIDIPropertyUniqueID, uniqueID);
        return uniqueID;
    }
    Bytes heardBytes() const {
        Bytes bytes;
        heard.with([&](const auto& all) {
            for (const TimedBytes& each : all) bytes.insert(bytes.end(), each.bytes.begin(), each.bytes.end());
        });
        return bytes;
    }

    Guarded<std::vector<TimedBytes>> heard;
    AlsaService service;
    MIDIClientRef client = 0;
    MIDIPortRef output = 0;
    MIDIPortRef input = 0;
};

/// What lies in no packet list of the usual size.
class LongList {
public:
    explicit LongList(const Bytes& bytes) : memory(bytes.size() + 32) { list.add(0, bytes); }
    operator PacketListView() const { return list.list(); }

private:
    std::vector<std::uint8_t> memory;
    PacketListBuilder list{memory};
};

/// The service on a real sequencer, among programs that know nothing of it.
class AlsaDeviceTest : public testing::Test {
protected:
    void SetUp() override {
        if (!std::filesystem::exists("/dev/snd/seq")) GTEST_SKIP() << "no sequencer here: tests/vm/run has one";
        station = std::make_unique<Station>("Varnolex");
        ASSERT_TRUE(station->service.isConnected()) << station->service.reasonForAbsence();
    }

    template <class Condition>
    bool waitFor(Condition condition) {
        for (int waited = 0; waited < patienceMilliseconds; waited += 5) {
            runtime.pollMain();
            if (condition()) return true;
            pause(5);
        }
        return false;
    }
    MIDIEndpointRef await(Station& at, const std::string& name, bool isSource) {
        EXPECT_TRUE(waitFor([&] { return at.find(name, isSource) != 0; })) << name;
        return at.find(name, isSource);
    }
    static std::string textOf(const std::string& path) {
        std::ifstream stream(path);
        return {std::istreambuf_iterator<char>(stream), {}};
    }

    RealRuntime runtime;
    RuntimeScope scope{runtime};
    std::unique_ptr<Station> station;
};

/// A file of `count` notes, 10 ms long and 20 ms apart.
std::string noteFile(int count) {
    std::string track;
    const auto add = [&](std::initializer_list<int> bytes) {
        for (const int byte : bytes) track.push_back(static_cast<char>(byte));
    };
    // 100 ticks of 1 ms each in a quarter.
    add({0, 0xFF, 0x51, 3, 0x01, 0x86, 0xA0});
    for (int index = 0; index < count; ++index) {
        add({10, 0x90, index % 128, 100});
        add({10, 0x80, index % 128, 64});
    }
    add({0, 0xFF, 0x2F, 0});
    std::string file("MThd\0\0\0\6\0\0\0\1\0\x64MTrk\0\0", 20);
    file.push_back(static_cast<char>(track.size() >> 8));
    file.push_back(static_cast<char>(track.size() & 0xFF));
    const std::string path = testing::TempDir() + "alsa-notes.mid";
    std::ofstream(path, std::ios::binary) << file << track;
    return path;
}

TEST_F(AlsaDeviceTest, NotesOfAPlayerPassThroughInOrderWithTheirTimes) {
    constexpr int count = 100;
    const std::string dumped = testing::TempDir() + "alsa-dump.txt";
    const ChildProcess dump({"stdbuf", "-oL", "aseqdump"}, dumped);
    const MIDIEndpointRef receiver = await(*station, "aseqdump", false);
    station->makeDestination("Notes",
                             [&, collect = station->collecting()](const PacketListView& list, auto connection) {
                                 collect(list, connection);
                                 station->service.MIDISend(station->output, receiver, list);
                             });
    const HostTime start = runtime.hostTime();
    const ChildProcess player({"aplaymidi", "-p", "Varnolex:2", "-d", "0", noteFile(count)});
    std::string expected;
    for (int index = 0; index < count; ++index) {
        expected += "on " + std::to_string(index % 128) + "\noff " + std::to_string(index % 128) + "\n";
    }
    const auto notesDumped = [&] {
        std::string notes;
        std::istringstream lines(textOf(dumped));
        for (std::string line; std::getline(lines, line);) {
            const auto at = line.find("note ");
            if (at != std::string::npos)
                notes += (line.find("Note on") != std::string::npos ? "on " : "off ") +
                         std::to_string(std::stoi(line.substr(at + 5))) + "\n";
        }
        return notes;
    };
    EXPECT_TRUE(waitFor([&] { return notesDumped().size() >= expected.size(); }));
    EXPECT_EQ(notesDumped(), expected);
    const auto packets = station->heard.get();
    ASSERT_EQ(packets.size(), 2u * count);
    HostTime former = start;
    for (const TimedBytes& packet : packets) {
        EXPECT_GE(packet.timeStamp, former);
        former = packet.timeStamp;
    }
    EXPECT_LE(former, runtime.hostTime());
    // The stamps are those of delivery: as long as the piece, however late they were read.
    const double length = secondsFromTicks(packets.back().timeStamp - packets.front().timeStamp);
    EXPECT_NEAR(length, (2 * count - 1) * 0.01, 0.1);
    RecordProperty("lengthInSeconds", std::to_string(length));
    EXPECT_EQ(station->service.lostPackets(), 0u);
    EXPECT_EQ(station->service.overruns(), 0u);
}

TEST_F(AlsaDeviceTest, LongSysExReachesOthersWholeEachWay) {
    const Bytes whole = sysEx(65'000);
    Station peer("Peer");
    const MIDIEndpointRef source = station->makeSource("Long");
    peer.makeDestination("Sink", peer.collecting());
    peer.service.MIDIPortConnectSource(peer.input, await(peer, "Varnolex Long", true), 0);
    station->service.MIDIReceived(source, LongList(whole));
    EXPECT_TRUE(waitFor([&] { return peer.heardBytes().size() >= whole.size(); }));
    EXPECT_EQ(peer.heardBytes(), whole);
    peer.heard.set({});
    const MIDIEndpointRef sink = await(*station, "Peer Sink", false);
    station->service.MIDISend(station->output, sink, LongList(whole));
    EXPECT_TRUE(waitFor([&] { return peer.heardBytes().size() >= whole.size(); }));
    EXPECT_EQ(peer.heardBytes(), whole);
    // Through a port of the system, which says nothing of the room behind it.
    peer.heard.set({});
    peer.service.MIDIPortConnectSource(peer.input, await(peer, "Midi Through", true), 0);
    station->service.MIDISend(station->output, await(*station, "Midi Through", false), LongList(whole));
    EXPECT_TRUE(waitFor([&] { return peer.heardBytes().size() >= whole.size(); }));
    EXPECT_EQ(peer.heardBytes(), whole);
    EXPECT_EQ(station->service.lostPackets(), 0u);
    EXPECT_EQ(peer.service.overruns(), 0u);
}

TEST_F(AlsaDeviceTest, LongSysExReachesAProgramWithLittleRoom) {
    const Bytes whole = sysEx(65'000);
    const std::string dumped = testing::TempDir() + "alsa-sysex.txt";
    const ChildProcess dump({"stdbuf", "-oL", "aseqdump"}, dumped);
    station->service.MIDISend(station->output, await(*station, "aseqdump", false), LongList(whole));
    const auto bytesDumped = [&] {
        Bytes bytes;
        std::istringstream lines(textOf(dumped));
        for (std::string line; std::getline(lines, line);) {
            const std::string label = "System exclusive";
            const auto at = line.find(label);
            if (at == std::string::npos) continue;
            std::istringstream numbers(line.substr(at + label.size()));
            for (int number = 0; numbers >> std::hex >> number;) bytes.push_back(static_cast<std::uint8_t>(number));
        }
        return bytes;
    };
    EXPECT_TRUE(waitFor([&] { return bytesDumped().size() >= whole.size(); }));
    EXPECT_EQ(bytesDumped(), whole);
    EXPECT_EQ(station->service.lostPackets(), 0u);
}

TEST_F(AlsaDeviceTest, ProgramsComeAndGoAndComeBackWithTheirIDs) {
    std::int32_t uniqueID = 0;
    for (int round = 0; round < 2; ++round) {
        const ChildProcess dump({"aseqdump"});
        const MIDIEndpointRef found = await(*station, "aseqdump", false);
        if (round == 0) uniqueID = station->uniqueIDOf(found);
        EXPECT_EQ(station->uniqueIDOf(found), uniqueID);
    }
    EXPECT_TRUE(waitFor([&] { return station->find("aseqdump", false) == 0; }));
}

TEST_F(AlsaDeviceTest, ASourceThatComesBackIsHeardAgain) {
    MIDIEndpointRef reference = 0;
    for (std::uint8_t round = 1; round <= 2; ++round) {
        // Takes the number that the peer had the last time.
        const auto other = round == 2 ? std::make_unique<Station>("Other") : nullptr;
        Station peer("Peer");
        const MIDIEndpointRef source = peer.makeSource("Keys");
        if (round == 1) {
            reference = await(*station, "Peer Keys", true);
            EXPECT_EQ(station->service.MIDIPortConnectSource(station->input, reference, 0), midiSuccess);
        }
        // Until the way is there nobody hears it.
        EXPECT_TRUE(waitFor([&] {
            peer.service.MIDIReceived(source, OwnedList{{0, {0x90, round, 100}}});
            const Bytes heard = station->heardBytes();
            return heard.size() > 2 && heard[heard.size() - 2] == round;
        }));
        EXPECT_EQ(station->find("Peer Keys", true), reference);
    }
    EXPECT_TRUE(waitFor([&] { return station->find("Peer Keys", true) == 0; }));
}

TEST_F(AlsaDeviceTest, WhatLiesAheadArrivesAtItsTime) {
    Station peer("Peer");
    peer.makeDestination("Sink", [&](const PacketListView& list, std::uintptr_t) {
        const HostTime arrival = runtime.hostTime();
        peer.heard.with([&](auto& all) {
            for (const TimedBytes& packet : packetsOf(list)) all.push_back({arrival, packet.bytes});
        });
    });
    const MIDIEndpointRef sink = await(*station, "Peer Sink", false);
    station->service.MIDISend(station->output, sink, OwnedList{{0, {0xFE}}});
    EXPECT_TRUE(waitFor([&] { return peer.heardBytes() == Bytes{0xFE}; }));
    const HostTime now = runtime.hostTime();
    const auto due = [now](std::uint8_t index) { return now + index * HostTime{10'000'000}; };
    for (std::uint8_t index = 10; index > 0; --index)
        station->service.MIDISend(station->output, sink, OwnedList{{due(index), {0x90, index, 1}}});
    EXPECT_TRUE(waitFor([&] { return peer.heard.get().size() == 11; }));
    const auto packets = peer.heard.get();
    HostTime latest = 0;
    for (std::uint8_t index = 1; index <= 10; ++index) {
        EXPECT_EQ(packets[index].bytes[1], index);
        EXPECT_GE(packets[index].timeStamp, due(index));
        latest = std::max(latest, packets[index].timeStamp - due(index));
    }
    RecordProperty("latestByMicroseconds", std::to_string(latest / 1000));
}

TEST_F(AlsaDeviceTest, ARawDeviceIsASourceAndADestination) {
    const MIDIEndpointRef device = station->find("Virtual Raw MIDI", false);
    if (!device) GTEST_SKIP() << "no virtual raw MIDI card here: tests/vm/run has one";
    std::string path;
    for (const auto& entry : std::filesystem::directory_iterator("/dev/snd"))
        if (entry.path().filename().string().starts_with("midiC") && entry.path().string().ends_with("D0"))
            path = entry.path();
    const int raw = ::open(path.c_str(), O_RDWR | O_NONBLOCK);
    ASSERT_GE(raw, 0);
    // The card keeps nothing for those who haven't read yet, and no more than this for those who have.
    const Bytes whole = sysEx(2'000);
    Bytes piece(3000);
    EXPECT_LT(::read(raw, piece.data(), piece.size()), 0);
    station->service.MIDISend(station->output, device, LongList(whole));
    Bytes heard;
    EXPECT_TRUE(waitFor([&] {
        const auto size = ::read(raw, piece.data(), piece.size());
        if (size > 0) heard.insert(heard.end(), piece.begin(), piece.begin() + size);
        return heard.size() >= whole.size();
    }));
    EXPECT_EQ(heard, whole);
    EXPECT_EQ(station->service.lostPackets(), 0u);
    // And the other way, with running status.
    station->service.MIDIPortConnectSource(station->input, station->find("Virtual Raw MIDI", true), 0);
    const Bytes notes{0x90, 60, 100, 61, 100, 0xF8, 62, 100};
    EXPECT_EQ(::write(raw, notes.data(), notes.size()), std::ssize(notes));
    EXPECT_TRUE(waitFor([&] { return station->heardBytes().size() >= 10; }));
    EXPECT_EQ(station->heardBytes(), (Bytes{0x90, 60, 100, 0x90, 61, 100, 0xF8, 0x90, 62, 100}));
    ::close(raw);
}

TEST_F(AlsaDeviceTest, WhatTheSequencerThrowsAwayIsCountedAndTheRestGoesOn) {
    // The block may be run to the service's end.
    const auto isHeld = std::make_shared<SharedValue<bool>>(true);
    station->makeDestination("Flood",
                             [isHeld, collect = station->collecting()](const PacketListView& list, auto connection) {
                                 while (isHeld->get()) pause(1);
                                 collect(list, connection);
                             });
    snd_seq_t* flood = nullptr;
    ASSERT_GE(snd_seq_open(&flood, "default", SND_SEQ_OPEN_OUTPUT, SND_SEQ_NONBLOCK), 0);
    const int port = snd_seq_create_simple_port(flood, "flood", 0, SND_SEQ_PORT_TYPE_APPLICATION);
    snd_seq_addr_t target{};
    ASSERT_GE(snd_seq_parse_address(flood, &target, "Varnolex:2"), 0);
    const auto play = [&](unsigned char note) {
        snd_seq_event_t event{};
        snd_seq_ev_set_source(&event, port);
        snd_seq_ev_set_dest(&event, target.client, target.port);
        snd_seq_ev_set_direct(&event);
        snd_seq_ev_set_noteon(&event, 0, note, 100);
        return snd_seq_event_output_direct(flood, &event);
    };
    for (int count = 0; count < 20'000; ++count) play(1);
    isHeld->set(false);
    EXPECT_TRUE(waitFor([&] { return station->service.overruns() > 0; }));
    EXPECT_TRUE(waitFor([&] {
        play(2);
        const Bytes heard = station->heardBytes();
        return heard.size() > 2 && heard[heard.size() - 2] == 2;
    }));
    snd_seq_close(flood);
}

}  // namespace
}  // namespace varnolex
