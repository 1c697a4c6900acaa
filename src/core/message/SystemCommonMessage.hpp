#pragma once

#include "core/message/Message.hpp"

namespace varnolex {

enum class SystemCommonType : std::uint8_t {
    timeCode = 0,
    songPositionPointer = 1,
    songSelect = 2,
    tuneRequest = 3,
};

/// 0xF1, 0xF2, 0xF3 or 0xF6.
class SystemCommonMessage final : public Message {
public:
    static constexpr MessageClass ownClass = MessageClass::systemCommon;

    SystemCommonMessage(HostTime time, SystemCommonType kind, std::optional<std::uint8_t> first,
                        std::optional<std::uint8_t> second, SharedName endpoint = {})
        : Message(time, statusOf(kind), endpoint), type(kind), dataByte1(first), dataByte2(second) {}

    MessageTypeMask messageType() const override;
    MessageClass messageClass() const override { return ownClass; }

    static constexpr std::uint8_t statusOf(SystemCommonType kind) {
        if (kind == SystemCommonType::tuneRequest) return 0xF6;
        return static_cast<std::uint8_t>(0xF1 + static_cast<std::uint8_t>(kind));
    }

    /// The kind that begins with a status byte; nothing for any other byte.
    static constexpr std::optional<SystemCommonType> typeOf(std::uint8_t status) {
        if (status >= 0xF1 && status <= 0xF3) return static_cast<SystemCommonType>(status - 0xF1);
        if (status == 0xF6) return SystemCommonType::tuneRequest;
        return std::nullopt;
    }

    /// How many data bytes a complete message of a kind has: 0, 1 or 2.
    static constexpr std::size_t dataLength(SystemCommonType kind) {
        if (kind == SystemCommonType::tuneRequest) return 0;
        return kind == SystemCommonType::songPositionPointer ? 2 : 1;
    }

    const SystemCommonType type;
    const std::optional<std::uint8_t> dataByte1;
    const std::optional<std::uint8_t> dataByte2;
};

}  // namespace varnolex
