#include <gtest/gtest.h>

#include "support/ChainProbe.hpp"
#include "tools/filters/ChannelFilterTool.hpp"
#include "tools/filters/ChannelRouterTool.hpp"

namespace varnolex::testing {
namespace {

using Texts = std::vector<std::string>;

TEST(ChannelFilterTool, blocksOnlyMessagesOfTheChannelsThatAreOff) {
    ChainProbe probe(PipeToolType::channelFilter);
    probe.set("channelMask", 0x0001);
    EXPECT_EQ(probe.answer({0x90, 60, 1}), Texts{"90 3C 01 |"});
    EXPECT_EQ(probe.answer({0x91, 60, 1}), Texts{"- |"});
    EXPECT_EQ(probe.answer({0xC5, 60}), Texts{"- |"});
    EXPECT_EQ(probe.answer({0xF8}), Texts{"F8 |"});
    EXPECT_EQ(probe.answer({0xF0, 1, 2, 3, 0xF7}), Texts{"F0 01 02 03 F7 |"});
    probe.set("channelMask", 0);
    EXPECT_EQ(probe.answer({0x90, 60, 1}), Texts{"- |"});
    EXPECT_EQ(probe.answer({0xFA}), Texts{"FA |"});
}

TEST(ChannelFilterTool, answersForChannelsFromOneToSixteenAndIgnoresOthers) {
    ChainProbe probe(PipeToolType::channelFilter);
    auto& filter = static_cast<ChannelFilterTool&>(*probe.tool);
    for (const int channel : {-1, 0, 17, 1 << 20}) {
        EXPECT_FALSE(filter.isChannelEnabled(channel));
        filter.setChannelEnabled(channel, false);
    }
    EXPECT_EQ(filter.settings().channelMask, 0xFFFF);
    filter.setChannelEnabled(1, false);
    filter.setChannelEnabled(16, false);
    EXPECT_EQ(filter.settings().channelMask, 0x7FFE);
    EXPECT_FALSE(filter.isChannelEnabled(16));
    filter.setChannelEnabled(16, true);
    EXPECT_TRUE(filter.isChannelEnabled(16));
}

TEST(ChannelRouterTool, movesChannelMessagesAndNothingElse) {
    ChainProbe probe(PipeToolType::channelRouter);
    auto& router = static_cast<ChannelRouterTool&>(*probe.tool);
    EXPECT_EQ(probe.answer({0x9F, 60, 1}), Texts{"9F 3C 01 |"});
    router.setChannel(16, 2);
    for (const auto& [from, to] : {std::pair{0, 1}, {17, 1}, {1, 0}, {1, 17}}) router.setChannel(from, to);
    const std::vector<std::uint8_t> source{0x9F, 60, 1};
    EXPECT_EQ(probe.answer(source, false), Texts{"91 3C 01"});
    EXPECT_EQ(source[0], 0x9F);
    EXPECT_EQ(probe.answer({0xCF, 5}), Texts{"C1 05 |"});
    EXPECT_EQ(probe.answer({0x90, 60, 1}), Texts{"90 3C 01 |"});
    EXPECT_EQ(probe.answer({0xFF}), Texts{"FF |"});
    EXPECT_EQ(probe.answer({0xF2, 1, 1}), Texts{"F2 01 01 |"});
}

TEST(ChannelRouterTool, tellsTheOneChannelThatAllGoTo) {
    ChainProbe probe(PipeToolType::channelRouter);
    auto& router = static_cast<ChannelRouterTool&>(*probe.tool);
    EXPECT_EQ(router.forcedChannel(), 0);
    probe.set("channelMap", ParameterValue(std::vector<std::int64_t>(16, 0)));
    EXPECT_EQ(router.forcedChannel(), 1);
    EXPECT_EQ(probe.answer({0xE7, 0, 1}), Texts{"E0 00 01 |"});
    router.setChannel(4, 5);
    EXPECT_EQ(router.forcedChannel(), 0);
}

TEST(ChannelRouterTool, keepsTheStatusWholeWhenARecordHoldsNoChannel) {
    ChainProbe probe(PipeToolType::channelRouter);
    probe.set("channelMap", ParameterValue(std::vector<std::int64_t>{255}));
    EXPECT_EQ(probe.answer({0x90, 60, 1}), Texts{"9F 3C 01 |"});
    EXPECT_THROW(probe.set("channelMap", ParameterValue(std::vector<std::int64_t>{256})), ParameterError);
    EXPECT_EQ(probe.answer({0x90, 60, 1}), Texts{"9F 3C 01 |"});
}

}  // namespace
}  // namespace varnolex::testing
