#pragma once

#include "core/message/Message.hpp"

namespace varnolex {

/// The value is the status byte.
enum class SystemRealTimeType : std::uint8_t {
    clock = 0xF8,
    start = 0xFA,
    continueMsg = 0xFB,
    stop = 0xFC,
    activeSense = 0xFE,
    systemReset = 0xFF,
};

/// A message of one byte that may stand between the bytes of any other.
class SystemRealTimeMessage final : public Message {
public:
    static constexpr MessageClass ownClass = MessageClass::systemRealTime;

    SystemRealTimeMessage(HostTime time, SystemRealTimeType kind, SharedName endpoint = {})
        : Message(time, static_cast<std::uint8_t>(kind), endpoint), type(kind) {}

    MessageTypeMask messageType() const override;
    MessageClass messageClass() const override { return ownClass; }

    /// The kind of a status byte; nothing for 0xF9, 0xFD and everything below 0xF8.
    static constexpr std::optional<SystemRealTimeType> typeOf(std::uint8_t status) {
        if (status < 0xF8 || status == 0xF9 || status == 0xFD) return std::nullopt;
        return static_cast<SystemRealTimeType>(status);
    }

    const SystemRealTimeType type;
};

}  // namespace varnolex
