#include "tools/filters/ChannelFilterTool.hpp"

#include <array>

#include "engine/ToolChain.hpp"
#include "tools/ToolDefinitions.hpp"
#include "tools/filters/ChannelMessage.hpp"

// Lets channel messages go on by a mask of 16 channels. System messages pass.

namespace varnolex {
namespace {

using namespace parameters;

constexpr std::array table{
    word<&ChannelFilterSettings::channelMask>("channelMask").tolerant(),
};

}  // namespace

ChannelFilterTool::ChannelFilterTool() : ConfiguredTool(channelFilterDefinition) {}

void ChannelFilterTool::process(const ChainMessage& message, ToolChain& chain) {
    if (isOnChannel(message) && ((current().channelMask >> message.channel()) & 1) == 0)
        return chain.forward(message.dropped());
    chain.forward(message);
}

bool ChannelFilterTool::isChannelEnabled(int channel) const {
    return isChannelNumber(channel) && ((current().channelMask >> (channel - 1)) & 1) != 0;
}

void ChannelFilterTool::setChannelEnabled(int channel, bool isOn) {
    if (!isChannelNumber(channel)) return;
    const auto bit = static_cast<std::uint16_t>(1u << (channel - 1));
    change([&](ChannelFilterSettings& next) {
        next.channelMask = static_cast<std::uint16_t>(isOn ? next.channelMask | bit : next.channelMask & ~bit);
    });
}

const ToolDefinition channelFilterDefinition{
    PipeToolType::channelFilter, "ChannelFilterConfig", table,
    []() -> std::shared_ptr<PipeTool> { return std::make_shared<ChannelFilterTool>(); }};

}  // namespace varnolex
