#include <set>

#include "CoreFixture.hpp"
#include "core/message/Message.hpp"
#include "core/message/RoutedMessage.hpp"
#include "platform/VarnolexLogger.hpp"

namespace varnolex {
namespace {

using MessageTest = CoreTest;

TEST_F(MessageTest, ClassifiesByStatusAndVelocity) {
    const struct {
        const char* bytes;
        const char* key;
    } cases[]{
        {"80 3C 40", "noteOff"},
        {"90 3C 40", "noteOn"},
        {"95 3C 00", "noteOff"},
        {"A0 3C 40", "aftertouch"},
        {"BF 07 40", "cc"},
        {"C0 05", "program"},
        {"D0 05", "channelPressure"},
        {"E0 00 40", "pitchWheel"},
        {"F1 10", "timeCode"},
        {"F2 10 20", "songPositionPointer"},
        {"F3 10", "songSelect"},
        {"F6", "tuneRequest"},
        {"F8", "clock"},
        {"FA", "start"},
        {"FB", "continueMsg"},
        {"FC", "stop"},
        {"FE", "activeSense"},
        {"FF", "reset"},
        {"F0 01 F7", "sysex"},
        {"F4 01", "invalid"},
    };
    std::uint32_t seen = 0;
    for (const auto& one : cases) {
        const MessageRef message = makeRoutedMessage(hex(one.bytes), 5, SharedName("Pipe"), {});
        EXPECT_EQ(message->messageType().key(), one.key) << one.bytes;
        EXPECT_EQ(message->statusByte, hex(one.bytes).front());
        seen |= message->messageType().rawValue;
    }
    EXPECT_EQ(seen, MessageTypeMask::all.rawValue);
}

TEST_F(MessageTest, KeepsItsTimeOrReadsTheClock) {
    const auto timed = makeMessage<VoiceMessage>(77, 0x90, 1, 2);
    EXPECT_EQ(timed->timeStamp, 77u);
    EXPECT_FALSE(timed->timeStampWasZeroWhenReceived);
    const auto untimed = makeMessage<VoiceMessage>(0, 0x90, 1, 2);
    EXPECT_EQ(untimed->timeStamp, runtime.hostTime());
    EXPECT_TRUE(untimed->timeStampWasZeroWhenReceived);
    EXPECT_NE(timed->id, untimed->id);
    EXPECT_EQ(InvalidMessage::make(5, {})->statusByte, 0);
}

TEST_F(MessageTest, TypesWhatLeavesAChain) {
    const struct {
        const char* bytes;
        const char* expected;
    } cases[]{
        {"F0 F7", "sysex  eox"},    {"F0", "sysex  open"},       {"F0 01 02", "sysex 01 02 open"},
        {"F1", "common F1"},        {"F2 01", "common F2 01"},   {"F6 01", "common F6"},
        {"F4", "invalid F4"},       {"F5", "invalid F5"},        {"F7 01", "invalid F7 01"},
        {"10 20", "invalid 10 20"}, {"F9", "invalid F9"},        {"FD", "invalid FD"},
        {"90", "voice 90 00 00"},   {"C1 05", "voice C1 05 00"}, {"FF", "realtime FF"},
    };
    for (const auto& one : cases) {
        const MessageRef message = makeRoutedMessage(hex(one.bytes), 9, SharedName("Pipe"), SharedName("Tool"));
        EXPECT_EQ(shortForm(*message), one.expected);
        EXPECT_EQ(message->timeStamp, 9u);
        EXPECT_EQ(message->originatingEndpointName.view(), "Pipe");
        EXPECT_EQ(message->routeInfo()->toolName.view(), "Tool");
    }
    EXPECT_FALSE(makeRoutedMessage({}, 9, SharedName("Pipe"), {}));
    EXPECT_FALSE(makeMessage<VoiceMessage>(1, 0x90, 1, 2)->routeInfo());
}

TEST_F(MessageTest, LogsWhatLeavesAChainAndMakesNoMessage) {
    std::string heard;
    auto& logger = VarnolexLogger::shared();
    logger.setEnabled(true);
    const auto before = logger.replaceSink([&](std::string_view line) { heard = line; });
    makeRoutedMessage(hex("F4 0A FF"), 1, SharedName("Bass"), {});
    logger.replaceSink(before);
    logger.setEnabled(false);
    EXPECT_THAT(heard, testing::HasSubstr("[INVALID] route=Bass raw=F4 0A FF"));
}

TEST_F(MessageTest, OwnsItsBytes) {
    auto bytes = hex("01 02 03");
    const auto message = SystemExclusiveMessage::make(1, bytes, true);
    bytes.assign(3, 0);
    EXPECT_EQ(hexText(message->fullBytes()), "F0 01 02 03 F7");
    EXPECT_EQ(message->fullSize(), 5u);
    EXPECT_EQ(SystemExclusiveMessage::make(1, std::vector<std::uint8_t>(200'000), false)->fullBytes().size(), 200'001u);
}

TEST_F(MessageTest, NamesAreSharedByContent) {
    EXPECT_EQ(SharedName("Keys"), SharedName(std::string("Ke") + "ys"));
    EXPECT_NE(SharedName("Keys"), SharedName("Pads"));
    EXPECT_NE(SharedName(""), SharedName());
}

TEST_F(MessageTest, KeysOfTypesAreDistinctAndOtherValuesUnknown) {
    std::set<std::string_view> keys;
    for (std::uint32_t bit = 1; bit <= 0x40000; bit <<= 1) keys.insert(MessageTypeMask(bit).key());
    EXPECT_EQ(keys.size(), 19u);
    for (const std::uint32_t other : {0u, 3u, 0x80000u, 0x80000000u})
        EXPECT_EQ(MessageTypeMask(other).key(), "unknown");
}

}  // namespace
}  // namespace varnolex
