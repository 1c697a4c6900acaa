#include <gtest/gtest.h>

#include <random>

#include "tools/endpoints/PacketCutter.hpp"

namespace varnolex::testing {
namespace {

using Bytes = std::vector<std::uint8_t>;

struct Cut {
    Bytes packet;
    std::vector<Bytes> messages;
    /// Whether the last message reaches the packet's end.
    bool isAtEnd = true;
};

TEST(PacketCutter, cutsPacketsIntoMessages) {
    const std::vector<Cut> cuts{
        {{0x90, 0x3C, 0x64}, {{0x90, 0x3C, 0x64}}},
        {{0x3C}, {{0x3C}}},
        {{0xF8, 0xF8}, {{0xF8, 0xF8}}},
        {{0x90, 0x3C, 0x64, 0x3E}, {{0x90, 0x3C, 0x64}}, false},
        {{0x90, 0x3C, 0x64, 0x3E, 0x64, 0xF8}, {{0x90, 0x3C, 0x64}, {0x90, 0x3E, 0x64}, {0xF8}}},
        {{0xC1, 1, 2, 0xFE, 3}, {{0xC1, 1}, {0xC1, 2}, {0xFE}, {0xC1, 3}}},
        {{0xD1, 1, 0xC1, 2}, {{0xD1, 1}, {0xC1, 2}}},
        {{0xB0, 1, 2, 0xE0, 3, 4}, {{0xB0, 1, 2}, {0xE0, 3, 4}}},
        {{0xF0, 1, 2, 3, 0xF7, 0x90, 1, 2}, {{0xF0, 1, 2, 3, 0xF7}, {0x90, 1, 2}}},
        {{0xF0, 1, 2, 3}, {{0xF0, 1, 2, 3}}},
        {{0x90, 1, 2, 0xF0, 0xF7, 3, 4, 0xF6}, {{0x90, 1, 2}, {0xF0, 0xF7}, {0xF6}}},
        {{0x90, 1, 2, 0xF3, 5, 3, 4}, {{0x90, 1, 2}, {0xF3, 5}}, false},
        {{0xF1, 1, 0xF2, 1, 2, 0xF4, 0xF5, 0xF7}, {{0xF1, 1}, {0xF2, 1, 2}, {0xF4}, {0xF5}, {0xF7}}},
        {{1, 2, 3, 0x80, 4, 5}, {{0x80, 4, 5}}},
        {{1, 2, 3, 4}, {}, false},
        {{0x90, 1, 2, 0x90, 3}, {{0x90, 1, 2}, {0x90, 3}}},
        {{0xFA, 0xF8, 0xF8, 0xF2}, {{0xFA}, {0xF8}, {0xF8}, {0xF2}}},
    };
    for (const Cut& one : cuts) {
        PacketCutter cutter(one.packet);
        std::vector<Bytes> messages;
        bool isAtEnd = false;
        while (const auto message = cutter.next()) {
            messages.emplace_back(message->begin(), message->end());
            isAtEnd = cutter.isAtEnd();
        }
        EXPECT_EQ(messages, one.messages) << ::testing::PrintToString(one.packet);
        EXPECT_EQ(isAtEnd, one.isAtEnd) << ::testing::PrintToString(one.packet);
        EXPECT_FALSE(cutter.next());
    }
}

TEST(PacketCutter, givesNoMoreThanThePacketHolds) {
    std::mt19937 draw(7);
    for (int round = 0; round < 20000; ++round) {
        Bytes packet(draw() % 24);
        for (std::uint8_t& byte : packet) byte = static_cast<std::uint8_t>(draw() % 3 == 0 ? draw() | 0x80 : draw());
        PacketCutter cutter(packet);
        std::size_t given = 0;
        while (const auto message = cutter.next()) {
            ASSERT_FALSE(message->empty());
            given += message->size();
            // Running status may give its status byte once for each data byte.
            ASSERT_LE(given, 2 * packet.size());
        }
    }
}

}  // namespace
}  // namespace varnolex::testing
