#pragma once

#include "engine/ChainMessage.hpp"

namespace varnolex {

/// Whether a message belongs to a channel: one to three bytes, the first one below the system messages.
inline bool isOnChannel(const ChainMessage& message) {
    return message.length >= 1 && message.length <= 3 && message.status() < 0xF0;
}

/// Channels as people count them.
constexpr bool isChannelNumber(int channel) { return channel >= 1 && channel <= 16; }

}  // namespace varnolex
