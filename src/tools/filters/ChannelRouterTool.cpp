#include "tools/filters/ChannelRouterTool.hpp"

#include <algorithm>

#include "engine/ToolChain.hpp"
#include "tools/ToolDefinitions.hpp"
#include "tools/filters/ChannelMessage.hpp"

// Rewrites the channel of channel messages by a table of 16. System messages pass.

namespace varnolex {
namespace {

using namespace parameters;

constexpr std::array table{
    list<&ChannelRouterSettings::channelMap, 0, 255>("channelMap"),
};

}  // namespace

ChannelRouterTool::ChannelRouterTool() : ConfiguredTool(channelRouterDefinition) {}

void ChannelRouterTool::process(const ChainMessage& message, ToolChain& chain) {
    if (!isOnChannel(message)) return chain.forward(message);
    // A record may hold numbers that are no channels.
    const int channel = settingsInWalk().channelMap[message.channel()] & 0x0F;
    const ShortMessage moved(static_cast<std::uint8_t>(message.kind() | channel), message);
    chain.forward(message.carrying(moved));
}

void ChannelRouterTool::setChannel(int from, int to) {
    if (!isChannelNumber(from) || !isChannelNumber(to)) return;
    change([&](ChannelRouterSettings& next) {
        next.channelMap[static_cast<std::size_t>(from - 1)] = static_cast<std::uint8_t>(to - 1);
    });
}

int ChannelRouterTool::forcedChannel() const {
    const auto map = current().channelMap;
    const bool isOne = std::ranges::all_of(map, [&](std::uint8_t entry) { return entry == map[0]; });
    return isOne ? (map[0] & 0x0F) + 1 : 0;
}

const ToolDefinition channelRouterDefinition{
    PipeToolType::channelRouter, "ChannelRouterConfig", table,
    []() -> std::shared_ptr<PipeTool> { return std::make_shared<ChannelRouterTool>(); }};

}  // namespace varnolex
