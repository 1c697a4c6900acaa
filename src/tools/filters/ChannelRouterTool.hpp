#pragma once

#include <array>

#include "engine/ConfiguredTool.hpp"

namespace varnolex {

struct ChannelRouterSettings {
    /// Where each channel goes, both counted from 0.
    std::array<std::uint8_t, 16> channelMap{0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15};
};

/// Moves channel messages to other channels, channel by channel.
class ChannelRouterTool final : public ConfiguredTool<ChannelRouterSettings> {
public:
    ChannelRouterTool();

    void process(const ChainMessage& message, ToolChain& chain) override;

    /// Sends one channel to another, both 1 to 16. Ignored when either is outside. Main thread.
    void setChannel(int from, int to);

    /// The channel (1 to 16) that all channels go to; 0 when they don't all go to one.
    int forcedChannel() const;
};

}  // namespace varnolex
