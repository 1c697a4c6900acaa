#include <gmock/gmock.h>

#include <thread>

#include "core/message/VoiceMessage.hpp"
#include "endpoints/input/PerSourceBufferRegistry.hpp"
#include "platform/RealRuntime.hpp"
#include "platform/VirtualRuntime.hpp"
#include "platform/concurrency/LiveValue.hpp"
#include "support/AllocationTrap.hpp"

namespace varnolex {
namespace {

using testing::ElementsAre;

/// Messages whose times count on from `first`.
MessageList numbered(HostTime first, std::size_t count) {
    MessageList messages;
    for (std::size_t index = 0; index < count; ++index)
        messages.push_back(makeMessage<VoiceMessage>(first + index, std::uint8_t{0x90}, std::uint8_t{60},
                                                     static_cast<std::uint8_t>(index % 128)));
    return messages;
}

std::vector<HostTime> timesOf(const MessageList& messages) {
    std::vector<HostTime> times;
    for (const MessageRef& message : messages) times.push_back(message->timeStamp);
    return times;
}

class RingBufferTest : public testing::Test {
protected:
    static void append(MIDIMessageRingBuffer& buffer, HostTime first, std::size_t count) {
        MessageList messages = numbered(first, count);
        buffer.append(messages);
        EXPECT_TRUE(messages.empty());
    }
    static MessageList drain(MIDIMessageRingBuffer& buffer) {
        MessageList messages;
        buffer.drain(messages);
        return messages;
    }

    VirtualRuntime runtime;
    RuntimeScope scope{runtime};
};

TEST_F(RingBufferTest, TheNewestStayWhateverTheSizesOfTheBatches) {
    for (const std::size_t limit : {1u, 2u, 7u, 300u, 1000u}) {
        for (const std::size_t batch : {1u, 2u, 3u, 255u, 256u, 257u, 1001u, 2500u}) {
            MIDIMessageRingBuffer buffer(limit);
            for (int round = 0; round < 3; ++round) {
                std::size_t appended = 0;
                for (; appended < 2600; appended += batch) append(buffer, appended + 1, batch);
                EXPECT_EQ(buffer.totalReceived(), appended);
                const MessageList messages = drain(buffer);
                ASSERT_EQ(messages.size(), std::min(limit, appended)) << limit << " by " << batch;
                for (std::size_t index = 0; index < messages.size(); ++index)
                    ASSERT_EQ(messages[index]->timeStamp, appended - messages.size() + index + 1);
                EXPECT_EQ(buffer.totalReceived() + buffer.count(), 0u);
            }
        }
    }
}

TEST_F(RingBufferTest, ExactlyTwoHundredThousandStay) {
    MIDIMessageRingBuffer buffer;
    append(buffer, 1, 250'000);
    EXPECT_EQ(buffer.count(), 200'000u);
    EXPECT_EQ(buffer.totalReceived(), 250'000u);
    append(buffer, 250'001, 1);
    EXPECT_EQ(buffer.count(), 200'000u);
    const MessageList messages = drain(buffer);
    EXPECT_EQ(messages.front()->timeStamp, 50'002u);
    EXPECT_EQ(messages.back()->timeStamp, 250'001u);
}

TEST_F(RingBufferTest, AtItsWorkingSizeItLeavesTheHeapAlone) {
    MIDIMessageRingBuffer buffer(4000);
    MessageList messages = numbered(1, 1500);
    MessageList output;
    std::size_t count = 0;
    const auto round = [&] {
        for (int part = 0; part < 4; ++part) {
            buffer.append(messages);
            count = part == 1 ? buffer.count() : count;
            std::swap(messages, output);
            buffer.drain(messages);
        }
    };
    round();
    const AllocationTrap trap;
    round();
    EXPECT_EQ(trap.count(), 0u);
}

TEST_F(RingBufferTest, SourcesAreDrainedOneAfterTheOtherAndForgottenWithWhatTheyHold) {
    PerSourceBufferRegistry registry(3);
    const auto second = registry.buffer(2);
    EXPECT_EQ(registry.buffer(2), second);
    registry.addBuffer(1);
    registry.addBuffer(3);
    append(*registry.buffer(3), 30, 1);
    append(*registry.find(1), 10, 5);
    append(*second, 20, 2);
    registry.removeBuffer(3);
    EXPECT_EQ(registry.find(3), nullptr);
    EXPECT_THAT(timesOf(registry.drainAll()), ElementsAre(12, 13, 14, 20, 21));
    EXPECT_THAT(timesOf(registry.drainAll()), ElementsAre());
    EXPECT_EQ(second->totalReceived(), 0u);
}

TEST(RingBufferThreads, NothingIsLostOrTurnedAroundWhileSourcesComeAndGo) {
    constexpr std::size_t sourceCount = 3;
    constexpr HostTime messagesOfEach = 60'000;
    RealRuntime runtime;
    const RuntimeScope scope(runtime);
    PerSourceBufferRegistry registry;
    SharedValue<std::size_t> finished{0};
    std::array<HostTime, sourceCount> seen{};
    {
        std::vector<std::jthread> writers;
        for (std::uint32_t source = 0; source < sourceCount; ++source)
            writers.emplace_back([&, source] {
                MessageList messages;
                for (HostTime next = 1; next <= messagesOfEach;) {
                    for (HostTime many = next % 37 + 1; many > 0 && next <= messagesOfEach; --many)
                        messages.push_back(makeMessage<VoiceMessage>(next++, static_cast<std::uint8_t>(0x90 + source),
                                                                     std::uint8_t{1}, std::uint8_t{1}));
                    registry.buffer(source)->append(messages);
                }
                finished.add(1);
            });
        for (bool isLast = false; !isLast;) {
            isLast = finished.get() == sourceCount;
            for (const MessageRef& message : registry.drainAll()) {
                HostTime& last = seen[message->statusByte & 0x0Fu];
                ASSERT_EQ(message->timeStamp, last + 1);
                last = message->timeStamp;
            }
            registry.addBuffer(sourceCount + 1);
            registry.removeBuffer(sourceCount + 1);
        }
    }
    EXPECT_THAT(seen, testing::Each(messagesOfEach));
}

}  // namespace
}  // namespace varnolex
