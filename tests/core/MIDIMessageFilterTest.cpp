#include "CoreFixture.hpp"
#include "core/MIDIMessageFilter.hpp"
#include "core/MIDIMessageHistory.hpp"
#include "core/MessageParser.hpp"
#include "core/NRPNAssembler.hpp"

namespace varnolex {
namespace {

using Zone = MIDIMessageFilter::Zone;
using testing::ElementsAre;

constexpr Zone noZone;
constexpr Zone lowerOf5 = RPNDetector::Zone{MPEZoneType::lower, 5};
constexpr Zone upperOf3 = RPNDetector::Zone{MPEZoneType::upper, 3};

class MIDIMessageFilterTest : public CoreTest {
protected:
    static MessageList parsed(std::string_view bytes) {
        const auto run = hex(bytes);
        return MessageParser().parse(run.data(), run.size(), 5);
    }

    /// Which of the channels 0 to 15 pass, bit n standing for channel n.
    static unsigned passingNotes(const MIDIMessageFilter& filter, Zone first, Zone second) {
        unsigned passing = 0;
        for (unsigned channel = 0; channel < 16; ++channel)
            if (filter.passes(*makeMessage<VoiceMessage>(1, static_cast<std::uint8_t>(0x90 | channel), std::uint8_t{60},
                                                         std::uint8_t{1}),
                              first, second))
                passing |= 1u << channel;
        return passing;
    }
};

TEST_F(MIDIMessageFilterTest, KindsPassByTheirBit) {
    const MessageList all = parsed(
        "90 3C 01 80 3C 00 90 3C 00 A1 3C 05 B2 07 01 C3 01 D4 01 E5 00 40 F1 01 F2 01 02 F3 01 F6 F8 FA FC FB FE FF "
        "F0 01 F7 05");
    const struct {
        std::uint32_t mask;
        std::vector<std::string> passing;
    } cases[]{
        {0, {}},
        {0x1, {"voice 90 3C 01"}},
        {0x2, {"voice 80 3C 00", "voice 90 3C 00"}},
        {0x3C, {"voice A1 3C 05", "voice B2 07 01", "voice C3 01 00", "voice D4 01 00"}},
        {0x40, {"voice E5 00 40"}},
        {0x780, {"common F1 01", "common F2 01 02", "common F3 01", "common F6"}},
        {0x18800, {"realtime F8", "realtime FE", "realtime FF"}},
        {0x60000, {"sysex 01 eox", "invalid 05"}},
    };
    for (const auto& one : cases) {
        MIDIMessageFilter filter;
        filter.setFilterMask(MessageTypeMask(one.mask));
        EXPECT_EQ(shortForms(filter.filtered(all, noZone, noZone)), one.passing) << one.mask;
    }
    EXPECT_EQ(MIDIMessageFilter().filtered(all, lowerOf5, upperOf3), all) << "a fresh filter lets everything pass";
}

TEST_F(MIDIMessageFilterTest, ChannelsPassByTheirBitAndTheirZone) {
    const Zone tooMany = RPNDetector::Zone{MPEZoneType::upper, 40};
    const struct {
        std::uint16_t channels;
        MPEZoneFilter zones;
        Zone first;
        Zone second;
        unsigned passing;
    } cases[]{
        {0xFFFF, MPEZoneFilter::none, noZone, noZone, 0xFFFF},
        {0x8001, MPEZoneFilter::both, lowerOf5, upperOf3, 0x8001},
        {0xFFFF, MPEZoneFilter::second, lowerOf5, noZone, 0xFFC0},
        {0xFFFF, MPEZoneFilter::first, lowerOf5, upperOf3, 0x0FFF},
        {0xFFFF, MPEZoneFilter::none, lowerOf5, upperOf3, 0x0FC0},
        {0xFFFF, MPEZoneFilter::second, upperOf3, lowerOf5, 0x0FFF},
        {0x00FF, MPEZoneFilter::second, lowerOf5, noZone, 0x00C0},
        {0xFFFF, MPEZoneFilter::none, RPNDetector::Zone{MPEZoneType::lower, 0}, noZone, 0xFFFE},
        {0xFFFF, MPEZoneFilter::none, RPNDetector::Zone{MPEZoneType::upper, 0}, noZone, 0x7FFF},
        {0xFFFF, MPEZoneFilter::none, RPNDetector::Zone{MPEZoneType::lower, 15}, noZone, 0},
        {0xFFFF, MPEZoneFilter::none, tooMany, RPNDetector::Zone{MPEZoneType::lower, -1}, 0},
    };
    for (const auto& one : cases) {
        MIDIMessageFilter filter;
        filter.setChannelMask(one.channels);
        filter.setMPEZoneFilter(one.zones);
        EXPECT_EQ(passingNotes(filter, one.first, one.second), one.passing) << &one - cases;
    }
}

TEST_F(MIDIMessageFilterTest, WhatHasNoChannelOrIsFoldedIsHeldToLess) {
    MIDIMessageFilter filter;
    NRPNAssembler assembler;
    const MessageRef folded = assembler.process(parsed("B0 63 01 62 02 06 03 26 04")).front();
    filter.setMPEZoneFilter(MPEZoneFilter::none);
    EXPECT_TRUE(filter.passes(*folded, lowerOf5, noZone)) << "no zone hides a folded change";
    EXPECT_FALSE(filter.passes(*parsed("B0 07 01").front(), lowerOf5, noZone));
    filter.setChannelMask(0xFFFE);
    EXPECT_FALSE(filter.passes(*folded, noZone, noZone));
    filter.setChannelMask(0);
    for (const char* channelless : {"F8", "F2 01 02", "F0 01 F7", "05"})
        EXPECT_TRUE(filter.passes(*parsed(channelless).front(), lowerOf5, upperOf3)) << channelless;
    filter.setChannelMask(0xFFFF);
    filter.setFilterMask(MessageTypeMask::all - MessageTypeMask::cc);
    EXPECT_FALSE(filter.passes(*folded, noZone, noZone));
    const auto revision = filter.revision();
    filter.setChannelMask(0xFFFF);
    EXPECT_EQ(filter.revision(), revision) << "the same value is no change";
    filter.setChannelMask(1);
    EXPECT_GT(filter.revision(), revision);
}

class MIDIMessageHistoryTest : public CoreTest {
protected:
    static MessageList numbered(HostTime first, std::size_t count, SharedName name = {}) {
        MessageList messages;
        for (std::size_t index = 0; index < count; ++index)
            messages.push_back(
                makeMessage<VoiceMessage>(first + index, std::uint8_t{0x90}, std::uint8_t{1}, std::uint8_t{1}, name));
        return messages;
    }

    static std::vector<HostTime> timesOf(const MessageList& messages) {
        std::vector<HostTime> times;
        for (const MessageRef& message : messages) times.push_back(message->timeStamp);
        return times;
    }
};

TEST_F(MIDIMessageHistoryTest, TheNewestStayWhateverTheSizesOfTheBatches) {
    for (const std::size_t most : {0u, 1u, 10u, 1000u}) {
        for (const std::size_t batch : {1u, 7u, 999u, 1000u, 1001u, 1500u}) {
            MIDIMessageHistory history(most);
            std::size_t added = 0;
            while (added < 3000) {
                history.add(numbered(added + 1, batch));
                added += batch;
                const auto times = timesOf(history.messages());
                ASSERT_EQ(times.size(), std::min(most, added)) << most << " by " << batch;
                for (std::size_t index = 0; index < times.size(); ++index)
                    ASSERT_EQ(times[index], added - times.size() + index + 1);
            }
            EXPECT_EQ(history.totalAdded(), added);
        }
    }
}

TEST_F(MIDIMessageHistoryTest, ASmallerLimitTakesEffectWithTheNextBatch) {
    MIDIMessageHistory history;
    history.add(numbered(1, 1500));
    history.setMaxCount(2);
    EXPECT_EQ(history.messages().size(), 1000u);
    history.add({});
    EXPECT_THAT(timesOf(history.messages()), ElementsAre(1499, 1500));
    history.clear();
    EXPECT_TRUE(history.messages().empty());
    EXPECT_EQ(history.totalAdded(), 0u);
    history.add(numbered(7, 1));
    EXPECT_THAT(timesOf(history.messages()), ElementsAre(7));
}

TEST_F(MIDIMessageHistoryTest, LooksThroughNamesAndFilterTogether) {
    const SharedName keys("Keys");
    const SharedName pads("Pads");
    MIDIMessageHistory history;
    history.add(numbered(1, 1, keys));
    history.add(numbered(2, 1));
    history.add(numbered(3, 1, pads));
    history.add({makeMessage<VoiceMessage>(4, std::uint8_t{0xB0}, std::uint8_t{1}, std::uint8_t{1}, keys)});
    MIDIMessageFilter filter;
    const auto shown = [&](const EndpointNames& names) {
        return timesOf(history.filteredMessages(filter, names, noZone, noZone));
    };
    EXPECT_THAT(shown({}), ElementsAre(1, 2, 3, 4));
    EXPECT_THAT(shown({keys}), ElementsAre(1, 2, 4));
    EXPECT_THAT(shown({SharedName("Others")}), ElementsAre(2));
    filter.setFilterMask(MessageTypeMask::noteOn);
    EXPECT_THAT(shown({keys, pads}), ElementsAre(1, 2, 3));
}

}  // namespace
}  // namespace varnolex
