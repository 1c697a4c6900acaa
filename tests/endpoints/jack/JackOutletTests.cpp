#include <gmock/gmock.h>

#include <thread>

#include "endpoints/ServiceFixture.hpp"
#include "endpoints/UniqueID.hpp"
#include "endpoints/UniqueIDTable.hpp"
#include "endpoints/jack/JackOutlet.hpp"
#include "platform/RealRuntime.hpp"
#include "platform/VarnolexLogger.hpp"
#include "platform/WholeFile.hpp"
#include "support/AllocationTrap.hpp"
#include "support/SysExBytes.hpp"

namespace varnolex {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr std::int64_t period = 256;
constexpr HostTime tick = 20'000;

struct Event {
    std::int64_t frame = 0;
    Bytes bytes;

    bool operator==(const Event&) const = default;
};

void PrintTo(const Event& event, std::ostream* out) {
    *out << event.frame << ':'
         << testing::PrintToString(
                Bytes(event.bytes.begin(), event.bytes.begin() + std::min<std::ptrdiff_t>(4, std::ssize(event.bytes))));
}

/// A port's buffer with as much room as a test likes.
class FakeSink final : public JackEventSink {
public:
    FakeSink(std::int64_t firstFrame, std::size_t cycleRoom) : first(firstFrame), whole(cycleRoom), left(cycleRoom) {}

    std::size_t room() override { return left; }
    std::size_t wholeRoom() override { return whole; }
    bool write(std::uint32_t offset, std::span<const std::uint8_t> event) override {
        const std::int64_t frame = first + offset;
        if (event.size() > left || (!events.empty() && frame < events.back().frame)) return false;
        left -= event.size();
        events.push_back({frame, {event.begin(), event.end()}});
        return true;
    }

    std::vector<Event> events;

private:
    std::int64_t first;
    std::size_t whole;
    std::size_t left;
};

/// An outlet in a server whose cycles a test runs one by one, a frame being a tick of 20 µs.
class JackOutletTest : public testing::Test {
protected:
    JackCycle cycleNow() const { return {number * period, period, timeOf(number * period), tick}; }
    static HostTime timeOf(std::int64_t frame) { return VirtualRuntime::epoch + static_cast<HostTime>(frame) * tick; }

    /// Time passes to this frame, in which the cycle it belongs to has begun.
    void reach(std::int64_t frame) { runtime.runUntil(timeOf(frame)); }

    /// One cycle: what is to be done inside the callback, then what leaves.
    template <class Inside>
    std::vector<Event> cycle(Inside inside) {
        reach(number * period);
        FakeSink sink(number * period, room);
        {
            const JackTiming::Processing processing(*timing, cycleNow());
            inside();
            outlet->drain(cycleNow(), sink);
        }
        ++number;
        return sink.events;
    }
    std::vector<Event> cycle() {
        return cycle([] {});
    }

    MIDIStatus send(std::initializer_list<TimedBytes> packets, MIDIPortRef port = 1) {
        return outlet->send(port, OwnedList(packets));
    }

    MIDIStatus sendLong(const Bytes& bytes, MIDIPortRef port = 1, HostTime time = 0) {
        std::vector<std::uint8_t> memory(bytes.size() + 32);
        PacketListBuilder list(memory);
        EXPECT_TRUE(list.add(time, bytes));
        return outlet->send(port, list.list());
    }

    VirtualRuntime runtime;
    RuntimeScope scope{runtime};
    std::shared_ptr<JackTiming> timing = std::make_shared<JackTiming>();
    std::shared_ptr<JackLosses> losses = std::make_shared<JackLosses>();
    std::shared_ptr<JackOutlet> outlet = std::make_shared<JackOutlet>(timing, losses, nullptr);
    std::int64_t number = 10;
    std::size_t room = 32'720;
};

Bytes joined(const std::vector<Event>& events) {
    Bytes bytes;
    for (const Event& event : events) bytes.insert(bytes.end(), event.bytes.begin(), event.bytes.end());
    return bytes;
}

TEST_F(JackOutletTest, WhatIsSentInsideTheCycleLeavesAtItsFrameAndWhatComesFromElsewhereAPeriodLater) {
    EXPECT_THAT(cycle([&] {
                    send({{timeOf(2600), {0x90, 1, 1}}, {timeOf(2601), {0x80, 1, 1}}});
                }),
                ElementsAre(Event{2600, {0x90, 1, 1}}, Event{2601, {0x80, 1, 1}}));
    reach(2700);
    send({{timeOf(2700), {0x90, 2, 1}}});
    reach(2710);
    send({{0, {0x80, 2, 1}}});
    EXPECT_THAT(cycle(), ElementsAre(Event{2956, {0x90, 2, 1}}, Event{2966, {0x80, 2, 1}}));
    EXPECT_EQ(losses->packets.get(), 0u);
}

TEST_F(JackOutletTest, WhatLiesAheadWaitsForItsTime) {
    cycle([&] { send({{timeOf(3500), {0xC0, 1}}, {timeOf(2570), {0xC0, 2}}}); });
    send({{timeOf(3400), {0xC0, 3}}, {timeOf(3400), {0xC0, 4}}});
    EXPECT_THAT(cycle(), IsEmpty());
    EXPECT_THAT(cycle(), IsEmpty());
    EXPECT_THAT(cycle(), ElementsAre(Event{3400, {0xC0, 3}}, Event{3400, {0xC0, 4}}, Event{3500, {0xC0, 1}}));
}

TEST_F(JackOutletTest, ANotesEndNeverOvertakesItsStartAndClockWaitsForNobody) {
    cycle();
    reach(2700);
    send({{0, {0x90, 1, 1}}});
    EXPECT_THAT(cycle([&] {
                    send({{timeOf(2820), {0x80, 1, 1}}, {timeOf(2820), {0xF8}}});
                }),
                ElementsAre(Event{2820, {0xF8}}, Event{2956, {0x90, 1, 1}}, Event{2956, {0x80, 1, 1}}));
}

TEST_F(JackOutletTest, PacketsAreCutIntoMessages) {
    const auto cut = [this](Bytes packet) {
        std::vector<Bytes> messages;
        for (const Event& event : cycle([&] { sendLong(packet); })) messages.push_back(event.bytes);
        return messages;
    };
    struct Case {
        Bytes packet;
        std::vector<Bytes> messages;
        std::uint64_t lost = 0;
    };
    const std::vector<Case> cases = {
        {{0x90, 1, 2, 0xC3, 4, 0xE0, 5, 6}, {{0x90, 1, 2}, {0xC3, 4}, {0xE0, 5, 6}}},
        {{0x90, 1, 2, 3, 4}, {{0x90, 1, 2}, {0x90, 3, 4}}},
        {{0xF2, 1, 2, 0xF3, 1, 0xF6, 0xF1, 9}, {{0xF2, 1, 2}, {0xF3, 1}, {0xF6}, {0xF1, 9}}},
        {{0x90, 1, 0xF8, 2}, {{0xF8}, {0x90, 1, 2}}},
        {{0xF0, 1, 2, 0xF7, 0xF8}, {{0xF0, 1, 2, 0xF7}, {0xF8}}},
        {{0xF0, 1, 0xFE, 2, 0xF7}, {{0xF0, 1}, {0xFE}, {2, 0xF7}}},
        {{0xF0, 1, 0x90, 2, 3}, {{0xF0, 1}, {0xF7}, {0x90, 2, 3}}},
        {{0xF0, 0xF7}, {{0xF0, 0xF7}}},
        {{1, 0xC0, 5}, {{0xC0, 5}}, 1},
        {{0x90, 1}, {}, 1},
        {{0x90, 1, 0xB0, 7, 8}, {{0xB0, 7, 8}}, 1},
        {{0xF7, 0xC0, 1}, {{0xC0, 1}}, 1},
    };
    for (const Case& each : cases) {
        losses->packets.set(0);
        EXPECT_EQ(cut(each.packet), each.messages) << testing::PrintToString(each.packet);
        EXPECT_EQ(losses->packets.get(), each.lost) << testing::PrintToString(each.packet);
    }
}

TEST_F(JackOutletTest, SysExOfAnySizeSpreadsOverCyclesWithNothingButRealTimeBytesInside) {
    const Bytes dump = sysEx(64 * 1024 - 1);
    std::vector<Event> events = cycle([&] {
        sendLong(dump);
        send({{0, {0x90, 1, 1}}}, 2);
        send({{0, {0xB0, 1, 1}}}, 1);
    });
    EXPECT_LE(events[0].bytes.size(), room);
    const auto more = cycle([&] { send({{timeOf(number * period + 7), {0xF8}}}, 2); });
    EXPECT_THAT(more, testing::Contains(Event{(number - 1) * period + 7, {0xF8}}));
    for (const Event& event : more)
        if (event.bytes[0] != 0xF8) events.push_back(event);
    for (int round = 0; round < 3; ++round)
        for (const Event& event : cycle()) events.push_back(event);
    Bytes expected = dump;
    for (const std::uint8_t byte : {0x90, 1, 1, 0xB0, 1, 1}) expected.push_back(byte);
    EXPECT_EQ(joined(events), expected);
    EXPECT_EQ(losses->packets.get(), 0u);
}

TEST_F(JackOutletTest, SysExThatAnEventCanHoldIsNotSplit) {
    const Bytes dump = sysEx(20'000);
    std::vector<std::size_t> sizes;
    cycle([&] {
        sendLong(dump);
        sendLong(dump);
    });
    for (const Event& event : cycle()) sizes.push_back(event.bytes.size());
    EXPECT_THAT(sizes, ElementsAre(20'000u));
}

TEST_F(JackOutletTest, WhatOthersSendWaitsUntilASysExHasEndedOrIsAbandoned) {
    const auto first = cycle([&] {
        send({{0, {0xF0, 1, 2}}}, 1);
        send({{0, {0x90, 5, 5}}, {0, {0xF0, 9, 0xF7}}}, 2);
        send({{0, {3, 4}}}, 1);
    });
    EXPECT_EQ(joined(first), (Bytes{0xF0, 1, 2, 3, 4}));
    EXPECT_EQ(joined(cycle([&] { send({{0, {5, 0xF7}}}, 1); })), (Bytes{5, 0xF7, 0x90, 5, 5, 0xF0, 9, 0xF7}));

    cycle([&] {
        send({{0, {0xF0, 1}}}, 1);
        send({{0, {0x90, 6, 6}}}, 2);
    });
    number += 200;
    EXPECT_EQ(joined(cycle()), (Bytes{0xF7, 0x90, 6, 6}));
    EXPECT_EQ(losses->packets.get(), 1u);
}

TEST_F(JackOutletTest, AFloodKeepsItsOrderAndWhatFindsNoPlaceIsCounted) {
    room = 300;
    std::size_t accepted = 0;
    while (send({{timeOf(1),
                  {0xE0, static_cast<std::uint8_t>(accepted % 128), static_cast<std::uint8_t>(accepted / 128)}}}) ==
           midiSuccess)
        ++accepted;
    EXPECT_GE(accepted, OutgoingMail::letterLimit);
    EXPECT_EQ(losses->packets.get(), 1u);
    std::size_t heard = 0;
    for (int round = 0; round < 200; ++round)
        for (const Event& event : cycle()) {
            ASSERT_EQ(event.bytes,
                      (Bytes{0xE0, static_cast<std::uint8_t>(heard % 128), static_cast<std::uint8_t>(heard / 128)}));
            ++heard;
        }
    EXPECT_EQ(heard, accepted);
}

TEST_F(JackOutletTest, WhatIsUnderWayWhenTheReceiverGoesIsCountedAndNeverComesLate) {
    send({{0, {0x90, 1, 1}}, {timeOf(100'000), {0x80, 1, 1}}});
    cycle([&] { send({{0, {0xF0, 1}}}); });
    send({{0, {1, 2}}});
    outlet->close();
    EXPECT_EQ(losses->packets.get(), 2u);
    EXPECT_EQ(joined(cycle([&] { send({{0, {0x90, 2, 2}}}); })), (Bytes{0x90, 2, 2}));
}

TEST_F(JackOutletTest, SteadyTrafficLeavesTheHeapAlone) {
    const OwnedList list{{0, {0x90, 60, 100}}, {0, Bytes(600, 0x11)}, {0, {0xF8}}};
    const auto play = [&] {
        const JackTiming::Processing processing(*timing, cycleNow());
        for (int round = 0; round < 8; ++round) outlet->send(1, list);
        struct : JackEventSink {
            std::size_t room() override { return 32'000; }
            std::size_t wholeRoom() override { return 32'000; }
            bool write(std::uint32_t, std::span<const std::uint8_t>) override { return true; }
        } blackHole;
        outlet->drain(cycleNow(), blackHole);
    };
    for (int warming = 0; warming < 8; ++warming) play();
    const AllocationTrap trap;
    play();
    EXPECT_EQ(trap.count(), 0u);
}

TEST(JackOutletThreads, ManySendersLoseNothingAndKeepTheirOrderEach) {
    constexpr std::size_t senderCount = 3;
    constexpr std::uint32_t sends = 20'000;
    RealRuntime runtime;
    const RuntimeScope scope(runtime);
    const auto timing = std::make_shared<JackTiming>();
    const auto losses = std::make_shared<JackLosses>();
    JackOutlet outlet(timing, losses, nullptr);
    const auto messageOf = [](std::size_t sender, std::uint32_t number) {
        return Bytes{static_cast<std::uint8_t>(0xE0 + sender), static_cast<std::uint8_t>(number & 127),
                     static_cast<std::uint8_t>(number >> 7 & 127)};
    };
    std::vector<std::jthread> senders;
    for (std::size_t sender = 0; sender < senderCount; ++sender)
        senders.emplace_back([&, sender] {
            for (std::uint32_t number = 0; number < sends;) {
                const OwnedList list{{0, messageOf(sender, number)}};
                if (outlet.send(static_cast<MIDIPortRef>(sender), list) == midiSuccess)
                    ++number;
                else
                    std::this_thread::yield();
            }
        });
    std::array<std::uint32_t, senderCount> heard{};
    std::size_t wrong = 0;
    for (std::int64_t first = 0; heard != std::array<std::uint32_t, senderCount>{sends, sends, sends};
         first += period) {
        const JackCycle cycle{first, period, runtime.hostTime(), tick};
        FakeSink sink(first, 32'000);
        const JackTiming::Processing processing(*timing, cycle);
        outlet.drain(cycle, sink);
        for (const Event& event : sink.events) {
            const std::size_t sender = event.bytes[0] - 0xE0u;
            wrong += event.bytes != messageOf(sender, heard[sender]++);
        }
    }
    EXPECT_EQ(wrong, 0u);
}

TEST(ClockPairingTest, FollowsADriftAndIgnoresReadingsThatWereDisturbed) {
    ClockPairing pairing;
    constexpr std::uint64_t serverStart = 77'000'000;
    for (std::uint64_t cycle = 0; cycle < 20'000; ++cycle) {
        const std::uint64_t server = serverStart + cycle * 5333;
        // Two clocks that differ by 50 millionths, the host's read late now and then.
        const HostTime host = 5'000'000'000 + cycle * 5'333'267;
        const HostTime delay = cycle % 50 == 49 ? 3'000'000 : 400;
        pairing.read(host, server, host + delay);
        const auto error = static_cast<std::int64_t>(pairing.hostTime(server) - host);
        ASSERT_LT(std::llabs(error), 6'000) << "cycle " << cycle;
    }
}

TEST(UniqueIDTableTest, ANameGetsItsIDAgainAlsoWhenItHadToGiveWayOrWasRenamed) {
    const auto file = std::filesystem::path(testing::TempDir()) / "unique-ids.json";
    std::filesystem::remove(file);
    const std::int32_t usual = uniqueIDForName("synth:in");
    const auto nothingTaken = [](std::int32_t) { return false; };
    {
        UniqueIDTable table(file);
        EXPECT_EQ(table.idForName("synth:in", [&](std::int32_t id) { return id == usual; }), usual + 1);
        EXPECT_EQ(table.rename("keys:a", "keys:b", 4711, nothingTaken), 4711);
    }
    {
        UniqueIDTable table(file);
        EXPECT_EQ(table.idForName("synth:in", nothingTaken), usual + 1);
        EXPECT_EQ(table.idForName("keys:b", nothingTaken), 4711);
        EXPECT_EQ(table.idForName("keys:a", nothingTaken), uniqueIDForName("keys:a"));
    }
    // Two programs at once.
    UniqueIDTable one(file), other(file);
    const auto padTaken = [&](std::int32_t id) { return id == uniqueIDForName("pad:in"); };
    EXPECT_EQ(one.idForName("pad:in", padTaken), uniqueIDForName("pad:in") + 1);
    EXPECT_EQ(other.rename("keys:b", "keys:c", 4711, nothingTaken), 4711);
    EXPECT_EQ(other.idForName("pad:in", nothingTaken), uniqueIDForName("pad:in") + 1);
    EXPECT_EQ(one.idForName("keys:c", nothingTaken), 4711);

    const auto sink = VarnolexLogger::shared().replaceSink([](std::string_view) {});
    writeWholeFile(file, R"({"synth:in": "seven", "keys:b": 99999999999, "x": -4})");
    EXPECT_EQ(UniqueIDTable(file).idForName("synth:in", nothingTaken), usual);
    writeWholeFile(file, "[[[");
    EXPECT_EQ(UniqueIDTable(file).idForName("synth:in", nothingTaken), usual);
    VarnolexLogger::shared().replaceSink(sink);
}

}  // namespace
}  // namespace varnolex
