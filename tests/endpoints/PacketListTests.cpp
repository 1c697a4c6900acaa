#include <gmock/gmock.h>

#include <cstring>

#include "endpoints/PacketList.hpp"
#include "endpoints/ServiceFixture.hpp"

namespace varnolex {
namespace {

using testing::ElementsAre;

/// A list as another process might write it: any count, then packets with any claimed length, then nothing more.
struct RawPacket {
    HostTime timeStamp;
    std::uint16_t claimedLength;
    Bytes bytes;
};

Bytes rawList(std::uint32_t count, const std::vector<RawPacket>& packets) {
    Bytes memory;
    const auto put = [&](auto number) {
        const auto* first = reinterpret_cast<const std::uint8_t*>(&number);
        memory.insert(memory.end(), first, first + sizeof number);
    };
    put(count);
    for (const RawPacket& packet : packets) {
        memory.resize((memory.size() + 3) / 4 * 4);
        put(packet.timeStamp);
        put(packet.claimedLength);
        memory.insert(memory.end(), packet.bytes.begin(), packet.bytes.end());
    }
    return memory;
}

TEST(PacketList, WhatIsBuiltHasTheWireLayoutAndReadsBackAlike) {
    std::array<std::uint8_t, 64> buffer;
    buffer.fill(0xEE);
    PacketListBuilder builder(buffer);
    ASSERT_TRUE(builder.add(7, Bytes{0x90, 0x3C, 0x64}));
    ASSERT_TRUE(builder.add(0, Bytes{}));
    ASSERT_TRUE(builder.add(~HostTime{0}, Bytes{0xF8, 0xFA}));

    Bytes expected = rawList(3, {{7, 3, {0x90, 0x3C, 0x64}}, {0, 0, {}}, {~HostTime{0}, 2, {0xF8, 0xFA}}});
    EXPECT_EQ(Bytes(builder.list().usedMemory().begin(), builder.list().usedMemory().end()), expected);
    EXPECT_EQ(expected.size(), 4u + 13 + 3 + 10 + 2 + 12);
    EXPECT_THAT(packetsOf(builder.list()), ElementsAre(TimedBytes{7, {0x90, 0x3C, 0x64}}, TimedBytes{0, {}},
                                                       TimedBytes{~HostTime{0}, {0xF8, 0xFA}}));
    EXPECT_TRUE(builder.list().isWhole());
}

TEST(PacketList, OnlyTheLastPacketSaysSo) {
    const OwnedList list{{1, {1}}, {2, {}}, {3, {3}}};
    std::vector<bool> flags;
    for (const Packet& packet : PacketListView(list)) flags.push_back(packet.isLast);
    EXPECT_THAT(flags, ElementsAre(false, false, true));
}

TEST(PacketList, AnyAlignmentInMemoryReadsTheSame) {
    const OwnedList list{{5, {1, 2, 3, 4, 5}}, {6, {7}}};
    const auto used = PacketListView(list).usedMemory();
    for (std::size_t shift = 0; shift < 8; ++shift) {
        Bytes moved(shift + used.size());
        std::memcpy(moved.data() + shift, used.data(), used.size());
        EXPECT_EQ(packetsOf(PacketListView(std::span(moved).subspan(shift))), packetsOf(list)) << shift;
    }
}

TEST(PacketList, EveryPacketOfTheBuilderFitsOrLeavesTheListAsItWas) {
    // Count 4, header 10: the largest packet that a buffer of `size` takes has size - 14 bytes.
    for (std::size_t size = 0; size < 40; ++size) {
        Bytes buffer(size);
        PacketListBuilder builder(buffer);
        EXPECT_FALSE(builder.add(1, Bytes(size < 14 ? 0 : size - 13, 0x11))) << size;
        EXPECT_EQ(packetsOf(builder.list()).size(), 0u) << size;
        EXPECT_EQ(builder.add(1, Bytes(size < 14 ? 0 : size - 14, 0x11)), size >= 14) << size;
        EXPECT_EQ(builder.count(), size >= 14 ? 1u : 0u) << size;
    }
}

TEST(PacketList, AFullListStillTakesAShorterPacketAndClearsToNothing) {
    std::array<std::uint8_t, packetListCapacity> buffer;
    PacketListBuilder builder = MIDIPacketListInit(buffer);
    std::uint32_t taken = 0;
    while (MIDIPacketListAdd(builder, taken, Bytes{0x90, 0x3C, 0x64})) ++taken;
    EXPECT_EQ(taken, (packetListCapacity - 4) / 16);
    EXPECT_EQ(packetsOf(builder.list()).size(), taken);
    EXPECT_TRUE(builder.add(0, Bytes{0xF8}));
    builder.clear();
    EXPECT_EQ(builder.list().count(), 0u);
    EXPECT_FALSE(builder.add(0, Bytes(packetListCapacity, 0)));
}

TEST(PacketList, ALengthThatTheFieldCannotSayIsRefused) {
    Bytes buffer(70'000);
    PacketListBuilder builder(buffer);
    EXPECT_FALSE(builder.add(0, Bytes(65'536, 1)));
    EXPECT_TRUE(builder.add(0, Bytes(65'535, 1)));
    EXPECT_EQ(packetsOf(builder.list()).front().bytes.size(), 65'535u);
}

TEST(PacketList, AHostileListYieldsWhatIsReallyThere) {
    struct Case {
        const char* what;
        Bytes memory;
        std::size_t packets;
        bool whole;
    };
    const std::vector<Case> cases = {
        {"no memory at all", {}, 0, false},
        {"half a count", {1, 0}, 0, false},
        {"an empty list", rawList(0, {}), 0, true},
        {"a count and nothing else", rawList(1, {}), 0, false},
        {"the largest count", rawList(0xFFFF'FFFF, {{1, 1, {5}}}), 1, false},
        {"a header cut short",
         [] {
             Bytes list = rawList(1, {{1, 0, {}}});
             list.pop_back();
             return list;
         }(),
         0, false},
        {"a length beyond the end", rawList(1, {{1, 4, {1, 2, 3}}}), 0, false},
        {"the second length beyond the end", rawList(2, {{1, 1, {1}}, {2, 0xFFFF, {1}}}), 1, false},
        {"a packet that ends short of the boundary", rawList(1, {{1, 3, {1, 2, 3}}}), 1, true},
        {"more behind the list", rawList(1, {{1, 1, {1}}, {2, 1, {2}}}), 1, true},
    };
    for (const Case& tested : cases) {
        const PacketListView list{tested.memory};
        EXPECT_EQ(packetsOf(list).size(), tested.packets) << tested.what;
        EXPECT_EQ(list.isWhole(), tested.whole) << tested.what;
        EXPECT_LE(list.usedMemory().size(), tested.memory.size()) << tested.what;
        std::size_t lastFlags = 0;
        for (const Packet& packet : list) lastFlags += packet.isLast;
        EXPECT_EQ(lastFlags, tested.packets > 0 ? 1u : 0u) << tested.what;
    }
}

TEST(PacketList, EveryTruncationOfAListStaysInsideItsMemory) {
    const OwnedList list{{1, {1, 2, 3}}, {2, {4}}, {3, Bytes(9, 7)}};
    const auto used = PacketListView(list).usedMemory();
    for (std::size_t length = 0; length < used.size(); ++length) {
        // Memory of exactly this length, so that a sanitizer sees the first byte too many.
        const Bytes cut(used.begin(), used.begin() + static_cast<std::ptrdiff_t>(length));
        EXPECT_FALSE(PacketListView(cut).isWhole()) << length;
    }
}

}  // namespace
}  // namespace varnolex
