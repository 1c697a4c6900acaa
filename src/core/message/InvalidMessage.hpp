#pragma once

#include <span>

#include "core/message/Message.hpp"

namespace varnolex {

/// Bytes that make no message. It owns them; they lie behind the object in one piece of memory.
class InvalidMessage final : public Message {
public:
    static constexpr MessageClass ownClass = MessageClass::invalid;

    /// At most 4 GiB.
    static Reference<InvalidMessage> make(HostTime time, std::span<const std::uint8_t> bytes, SharedName endpoint = {});

    MessageClass messageClass() const override { return ownClass; }

    std::span<const std::uint8_t> rawData() const {
        return {reinterpret_cast<const std::uint8_t*>(this + 1), rawLength};
    }

    InvalidMessage(HostTime time, std::uint8_t status, std::size_t length, SharedName endpoint)
        : Message(time, status, endpoint), rawLength(static_cast<std::uint32_t>(length)) {}

private:
    const std::uint32_t rawLength;
};

}  // namespace varnolex
