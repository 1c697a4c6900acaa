#include <gmock/gmock.h>

#include "endpoints/ServiceFixture.hpp"
#include "endpoints/alsa/AlsaOutlet.hpp"
#include "support/AllocationTrap.hpp"
#include "support/SysExBytes.hpp"

namespace varnolex {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

/// A receiver that takes as many bytes as a test lets it.
class FakeReceiver final : public AlsaSink {
public:
    Outcome write(std::span<const std::uint8_t> message) override {
        EXPECT_LE(message.size(), AlsaOutlet::longestPiece);
        if (isGone) return Outcome::refused;
        if (message.size() > room) return Outcome::later;
        room -= message.size();
        events.emplace_back(message.begin(), message.end());
        return Outcome::taken;
    }

    std::vector<Bytes> takeEvents() { return std::exchange(events, {}); }

    std::size_t room = 1'000'000;
    bool isGone = false;

private:
    std::vector<Bytes> events;
};

class AlsaOutletTest : public testing::Test {
protected:
    MIDIStatus send(std::initializer_list<TimedBytes> packets, MIDIPortRef port = 1) {
        return outlet.send(port, OwnedList(packets));
    }

    MIDIStatus sendLong(const Bytes& bytes, MIDIPortRef port = 1) {
        std::vector<std::uint8_t> memory(bytes.size() + 32);
        PacketListBuilder list(memory);
        EXPECT_TRUE(list.add(0, bytes));
        return outlet.send(port, list.list());
    }

    std::vector<Bytes> drained() {
        next = outlet.drain(runtime.hostTime(), receiver);
        return receiver.takeEvents();
    }

    VirtualRuntime runtime;
    RuntimeScope scope{runtime};
    std::shared_ptr<Bell> bell = std::make_shared<Bell>();
    std::shared_ptr<AlsaLosses> losses = std::make_shared<AlsaLosses>();
    AlsaOutlet outlet{bell, losses, nullptr};
    FakeReceiver receiver;
    HostTime next = 0;
};

TEST_F(AlsaOutletTest, BytesBecomeWholeMessagesAndWhatIsNoneIsCounted) {
    struct Case {
        Bytes sent;
        std::vector<Bytes> written;
        std::uint64_t lost = 0;
    };
    const std::vector<Case> cases{
        {{0x90, 60, 100}, {{0x90, 60, 100}}},
        {{0x90, 60, 100, 64, 0}, {{0x90, 60, 100}, {0x90, 64, 0}}},
        {{0xC3, 5, 0xD3, 6, 0xE3, 0, 64}, {{0xC3, 5}, {0xD3, 6}, {0xE3, 0, 64}}},
        {{0xF2, 1, 2, 0xF1, 3, 0xF3, 4, 0xF6}, {{0xF2, 1, 2}, {0xF1, 3}, {0xF3, 4}, {0xF6}}},
        {{0x90, 60, 0xF8, 100}, {{0x90, 60, 100}, {0xF8}}},
        {{0xF0, 1, 0xFE, 2, 0xF7}, {{0xF0, 1}, {0xFE}, {2, 0xF7}}},
        // A status inside a SysEx ends it.
        {{0xF0, 1, 0x90, 60, 100}, {{0xF0, 1}, {0xF7}, {0x90, 60, 100}}},
        {{0xF0, 1, 0xF0, 2, 0xF7}, {{0xF0, 1}, {0xF7}, {0xF0, 2, 0xF7}}},
        {{60, 100}, {}, 1},
        {{0x90, 60}, {}, 1},
        {{0xF7}, {}, 1},
        {{0x90, 60, 0x80, 61, 0}, {{0x80, 61, 0}}, 1},
        // System common messages end running status.
        {{0x90, 60, 100, 0xF6, 61, 100}, {{0x90, 60, 100}, {0xF6}}, 1},
    };
    for (const Case& each : cases) {
        SCOPED_TRACE(testing::PrintToString(each.sent));
        const std::uint64_t before = losses->packets.get();
        send({{0, each.sent}});
        EXPECT_EQ(drained(), each.written);
        EXPECT_EQ(losses->packets.get() - before, each.lost);
        EXPECT_EQ(next, AlsaOutlet::never);
    }
}

TEST_F(AlsaOutletTest, WhatLiesAheadLeavesAtItsTimeInOneOrderWithTheRest) {
    const HostTime start = runtime.hostTime();
    send({{start + 3000, {0x90, 3, 1}}, {start + 1000, {0x90, 1, 1}}, {0, {0x90, 0, 1}}, {start, {0x90, 10, 1}}});
    EXPECT_THAT(drained(), ElementsAre(Bytes{0x90, 0, 1}, Bytes{0x90, 10, 1}));
    EXPECT_EQ(next, start + 1000);
    runtime.runUntil(start + 2000);
    // Due before this was sent: it must not be overtaken though nobody has looked since.
    send({{0, {0x80, 1, 0}}});
    EXPECT_THAT(drained(), ElementsAre(Bytes{0x90, 1, 1}, Bytes{0x80, 1, 0}));
    EXPECT_EQ(next, start + 3000);
    runtime.runUntil(start + 3000);
    EXPECT_THAT(drained(), ElementsAre(Bytes{0x90, 3, 1}));
}

TEST_F(AlsaOutletTest, LongSysExLeavesWholeInPiecesAsThereIsRoom) {
    const Bytes whole = sysEx(65'000);
    sendLong(whole);
    send({{0, {0x90, 60, 100}}});
    send({{0, {0xF8}}});
    Bytes heard;
    int clocks = 0;
    std::size_t rounds = 0;
    for (; rounds < 1000 && (rounds == 0 || next != AlsaOutlet::never); ++rounds) {
        receiver.room = 3 * AlsaOutlet::longestPiece + 1;
        for (const Bytes& event : drained()) {
            if (event == Bytes{0xF8}) {
                ++clocks;
                EXPECT_EQ(rounds, 0u) << "the clock passes what waits for more room";
            } else {
                heard.insert(heard.end(), event.begin(), event.end());
            }
        }
        runtime.runFor(Nanoseconds(AlsaOutlet::retryAfter));
    }
    Bytes expected = whole;
    expected.insert(expected.end(), {0x90, 60, 100});
    EXPECT_EQ(heard, expected);
    EXPECT_EQ(clocks, 1);
    EXPECT_EQ(losses->packets.get(), 0u);
}

TEST_F(AlsaOutletTest, ASysExIsNeverMixedWithThatOfAnotherSender) {
    send({{0, {0xF0, 1}}}, 1);
    send({{0, {0xF0, 9, 0xF7}}}, 2);
    send({{0, {0x90, 60, 100}}}, 2);
    EXPECT_THAT(drained(), ElementsAre(Bytes{0xF0, 1}));
    send({{0, {2, 0xF7}}}, 1);
    EXPECT_THAT(drained(), ElementsAre(Bytes{2, 0xF7}, Bytes{0xF0, 9, 0xF7}, Bytes{0x90, 60, 100}));
}

TEST_F(AlsaOutletTest, ASysExThatIsNotContinuedIsEndedAndLetsTheOthersGo) {
    send({{0, {0xF0, 1}}}, 1);
    send({{0, {0x90, 60, 100}}}, 2);
    EXPECT_THAT(drained(), ElementsAre(Bytes{0xF0, 1}));
    EXPECT_EQ(next, runtime.hostTime() + AlsaOutlet::abandonedAfter);
    runtime.runUntil(next);
    EXPECT_THAT(drained(), ElementsAre(Bytes{0xF7}, Bytes{0x90, 60, 100}));
    EXPECT_EQ(losses->packets.get(), 1u);
}

TEST_F(AlsaOutletTest, AReceiverThatTakesNothingForASecondLosesWhatWaitsAndIsTriedAgain) {
    receiver.room = 0;
    send({{0, {0x90, 60, 100}}, {0, {0x80, 60, 0}}});
    EXPECT_THAT(drained(), IsEmpty());
    EXPECT_EQ(next, runtime.hostTime() + AlsaOutlet::retryAfter);
    runtime.runFor(Nanoseconds(AlsaOutlet::patience));
    EXPECT_THAT(drained(), IsEmpty());
    EXPECT_EQ(losses->packets.get(), 2u);
    receiver.room = 3;
    send({{0, {0x90, 61, 100}}, {0, {0x80, 61, 0}}});
    EXPECT_THAT(drained(), ElementsAre(Bytes{0x90, 61, 100}));
    receiver.room = 3;
    EXPECT_THAT(drained(), ElementsAre(Bytes{0x80, 61, 0}));
    receiver.isGone = true;
    send({{0, {0x90, 62, 100}}});
    EXPECT_THAT(drained(), IsEmpty());
    EXPECT_EQ(losses->packets.get(), 3u);
    EXPECT_EQ(next, AlsaOutlet::never);
}

TEST_F(AlsaOutletTest, AFullOutletRefusesCountsAndGoesOn) {
    std::uint64_t refused = 0;
    for (std::size_t index = 0; index < 2 * OutgoingMail::letterLimit; ++index)
        if (send({{0, {0x90, 60, 100}}}) == midiQueueFull) ++refused;
    EXPECT_EQ(refused, OutgoingMail::letterLimit);
    EXPECT_EQ(losses->packets.get(), refused);
    EXPECT_FALSE(outlet.isEmpty());
    EXPECT_EQ(drained().size(), OutgoingMail::letterLimit);
    EXPECT_TRUE(outlet.isEmpty());
    EXPECT_EQ(send({{0, {0x80, 60, 0}}}), midiSuccess);
    EXPECT_THAT(drained(), ElementsAre(Bytes{0x80, 60, 0}));
}

TEST_F(AlsaOutletTest, TheFirstUseIsToldBehindEachClosingUntilItGetsThrough) {
    int told = 0;
    bool getsThrough = false;
    AlsaOutlet lazy(bell, losses, [&] {
        ++told;
        return getsThrough;
    });
    const OwnedList note{{0, {0x90, 60, 100}}};
    lazy.send(1, note);
    EXPECT_FALSE(lazy.isUsed());
    getsThrough = true;
    lazy.send(1, note);
    lazy.send(1, note);
    EXPECT_TRUE(lazy.isUsed());
    EXPECT_EQ(told, 2);
    lazy.close();
    EXPECT_EQ(losses->packets.get(), 3u);
    lazy.send(1, note);
    EXPECT_EQ(told, 3);
}

TEST_F(AlsaOutletTest, SendingAndDrainingAllocateNothingInSteadyState) {
    const Bytes whole = sysEx(1000);
    std::vector<std::uint8_t> memory(2000);
    PacketListBuilder list(memory);
    list.add(0, {{0x90, 60, 100}});
    list.add(0, whole);
    struct Nowhere final : AlsaSink {
        Outcome write(std::span<const std::uint8_t>) override { return Outcome::taken; }
    } nowhere;
    const auto round = [&] {
        for (int count = 0; count < 100; ++count) outlet.send(1, list.list());
        outlet.drain(runtime.hostTime(), nowhere);
    };
    round();
    const AllocationTrap trap;
    round();
    EXPECT_EQ(trap.count(), 0u);
}

}  // namespace
}  // namespace varnolex
