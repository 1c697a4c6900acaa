#pragma once

#include <gtest/gtest.h>

#include <array>

#include "endpoints/memory/MemoryService.hpp"
#include "support/ChainProbe.hpp"

namespace varnolex::testing {

using Bytes = std::vector<std::uint8_t>;

/// A packet list of messages with times, with memory of its own.
class OwnedList {
public:
    OwnedList(std::initializer_list<std::pair<HostTime, Bytes>> packets) {
        for (const auto& [time, bytes] : packets) EXPECT_TRUE(builder.add(time, bytes));
    }
    operator PacketListView() const { return builder.list(); }

private:
    std::array<std::uint8_t, packetListCapacity> memory;
    PacketListBuilder builder{memory};
};

/// An endpoint tool in a chain of its own, over a service in memory.
template <class Tool>
class EndpointProbe : public ChainProbe {
public:
    explicit EndpointProbe(PipeToolType type) : ChainProbe(type) {
        EXPECT_EQ(service.MIDIClientCreateWithBlock("test", {}, client), midiSuccess);
    }
    ~EndpointProbe() { tool->stop(); }

    Tool& endpointTool() { return static_cast<Tool&>(*tool); }

    std::int32_t uniqueIDOf(MIDIEndpointRef endpoint) {
        std::int32_t uniqueID = 0;
        service.MIDIObjectGetIntegerProperty(endpoint, kMIDIPropertyUniqueID, uniqueID);
        return uniqueID;
    }

    std::string nameOf(MIDIEndpointRef endpoint) {
        std::string name;
        service.MIDIObjectGetStringProperty(endpoint, kMIDIPropertyDisplayName, name);
        return name;
    }

    MemoryService service;
    MIDIServiceScope serviceScope{service};
    MIDIClientRef client = 0;
};

}  // namespace varnolex::testing
