#pragma once

#include <gtest/gtest.h>

#include <array>
#include <string>
#include <vector>

#include "endpoints/MIDIService.hpp"
#include "endpoints/memory/MemoryService.hpp"
#include "platform/VirtualRuntime.hpp"

namespace varnolex {

using Bytes = std::vector<std::uint8_t>;

struct TimedBytes {
    HostTime timeStamp = 0;
    Bytes bytes;

    bool operator==(const TimedBytes&) const = default;
};

inline void PrintTo(const TimedBytes& packet, std::ostream* out) {
    *out << packet.timeStamp << ':' << ::testing::PrintToString(packet.bytes);
}

/// A packet list with memory of its own.
class OwnedList {
public:
    OwnedList(std::initializer_list<TimedBytes> packets) {
        for (const TimedBytes& packet : packets) EXPECT_TRUE(builder.add(packet.timeStamp, packet.bytes));
    }
    operator PacketListView() const { return builder.list(); }

private:
    std::array<std::uint8_t, packetListCapacity> memory;
    PacketListBuilder builder{memory};
};

inline std::vector<TimedBytes> packetsOf(const PacketListView& list) {
    std::vector<TimedBytes> packets;
    for (const Packet& packet : list) packets.push_back({packet.timeStamp, {packet.bytes.begin(), packet.bytes.end()}});
    return packets;
}

/// An in-process service in virtual time, with one client.
class ServiceFixture : public ::testing::Test {
protected:
    ServiceFixture() { EXPECT_EQ(service.MIDIClientCreateWithBlock("test", {}, client), midiSuccess); }

    /// An input port that appends "connection:first byte" of every packet to `heard`.
    MIDIPortRef makeListeningPort() {
        MIDIPortRef port = 0;
        const auto read = [this](const PacketListView& list, std::uintptr_t connection) {
            for (const Packet& packet : list)
                heard.push_back(std::to_string(connection) + ":" + std::to_string(packet.bytes[0]));
        };
        EXPECT_EQ(service.MIDIInputPortCreateWithBlock(client, "in", read, port), midiSuccess);
        return port;
    }

    std::string nameOf(MIDIEndpointRef endpoint) {
        std::string name;
        service.MIDIObjectGetStringProperty(endpoint, kMIDIPropertyDisplayName, name);
        return name;
    }

    std::int32_t uniqueIDOf(MIDIEndpointRef endpoint) {
        std::int32_t uniqueID = 0;
        service.MIDIObjectGetIntegerProperty(endpoint, kMIDIPropertyUniqueID, uniqueID);
        return uniqueID;
    }

    VirtualRuntime runtime;
    RuntimeScope runtimeScope{runtime};
    std::vector<std::string> heard;
    MemoryService service;
    MIDIServiceScope serviceScope{service};
    MIDIClientRef client = 0;
};

}  // namespace varnolex
