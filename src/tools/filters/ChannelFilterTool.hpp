#pragma once

#include "engine/ConfiguredTool.hpp"

namespace varnolex {

struct ChannelFilterSettings {
    /// Bit n stands for channel n + 1.
    std::uint16_t channelMask = 0xFFFF;
};

/// Passes the channel messages of the channels in its mask, and everything that belongs to no channel.
class ChannelFilterTool final : public ConfiguredTool<ChannelFilterSettings> {
public:
    ChannelFilterTool();

    void process(const ChainMessage& message, ToolChain& chain) override;

    /// Whether a channel passes. `channel` is 1 to 16; false for any other.
    bool isChannelEnabled(int channel) const;

    /// Lets a channel pass or not. Ignored outside 1 to 16. Main thread.
    void setChannelEnabled(int channel, bool isOn);
};

}  // namespace varnolex
