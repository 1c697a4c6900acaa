#pragma once

#include <span>

#include "core/message/Message.hpp"

namespace varnolex {

/// A System Exclusive message. It owns its data, which lies behind the object in one piece of memory.
class SystemExclusiveMessage final : public Message {
public:
    static constexpr MessageClass ownClass = MessageClass::systemExclusive;

    /// `content` is what lies strictly between 0xF0 and 0xF7; at most 4 GiB.
    static Reference<SystemExclusiveMessage> make(HostTime time, std::span<const std::uint8_t> content, bool withEOX,
                                                  SharedName endpoint = {});

    MessageTypeMask messageType() const override { return MessageTypeMask::sysex; }
    MessageClass messageClass() const override { return ownClass; }

    std::span<const std::uint8_t> data() const { return {reinterpret_cast<const std::uint8_t*>(this + 1), dataLength}; }

    /// 0xF0, the data, and 0xF7 if it was received.
    std::vector<std::uint8_t> fullBytes() const;
    std::size_t fullSize() const { return dataLength + (wasReceivedWithEOX ? 2 : 1); }

    const bool wasReceivedWithEOX;

    SystemExclusiveMessage(HostTime time, std::size_t length, bool withEOX, SharedName endpoint)
        : Message(time, 0xF0, endpoint), wasReceivedWithEOX(withEOX), dataLength(static_cast<std::uint32_t>(length)) {}

private:
    const std::uint32_t dataLength;
};

}  // namespace varnolex
