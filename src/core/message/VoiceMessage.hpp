#pragma once

#include <array>

#include "core/message/Message.hpp"

namespace varnolex {

/// A channel message, 0x80 to 0xEF.
class VoiceMessage final : public Message {
public:
    static constexpr MessageClass ownClass = MessageClass::voice;

    /// A message with one data byte has 0 as its second.
    VoiceMessage(HostTime time, std::uint8_t status, std::uint8_t first, std::uint8_t second, SharedName endpoint = {})
        : Message(time, status, endpoint), dataBytes{first, second} {}

    MessageTypeMask messageType() const override;
    MessageClass messageClass() const override { return ownClass; }

    /// 0 to 15.
    int channel() const { return statusByte & 0x0F; }

    /// How many data bytes a message of this status has: 1 or 2.
    std::size_t dataLength() const { return (statusByte & 0xE0) == 0xC0 ? 1 : 2; }

    const std::array<std::uint8_t, 2> dataBytes;
};

static_assert(sizeof(VoiceMessage) <= BlockPool::smallestBlock, "a voice message fits one cache line");

}  // namespace varnolex
