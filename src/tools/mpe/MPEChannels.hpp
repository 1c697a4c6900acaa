#pragma once

#include <algorithm>
#include <array>
#include <cstdint>

#include "core/MPEZone.hpp"
#include "engine/ChainMessage.hpp"

namespace varnolex {

/// The zone type that a setting means: 1 the upper one, anything else the lower one.
constexpr MPEZoneType zoneTypeOf(std::int64_t setting) {
    return setting == 1 ? MPEZoneType::upper : MPEZoneType::lower;
}

/// The channels of a zone, 0 to 15. The members are `count` channels from `first` on, and are used in this order.
struct MPEChannels {
    std::uint8_t master;
    std::uint8_t first;
    std::uint8_t count;

    /// A zone has 15 member channels at most, and none for less than one.
    static constexpr MPEChannels of(MPEZoneType type, std::int64_t memberCount) {
        const auto count = static_cast<std::uint8_t>(std::clamp<std::int64_t>(memberCount, 0, 15));
        if (type == MPEZoneType::upper) return {15, static_cast<std::uint8_t>(15 - count), count};
        return {0, 1, count};
    }

    /// Bit n: whether channel n is a member.
    constexpr unsigned members() const { return ((1u << count) - 1) << first; }

    constexpr bool hasMember(int channel) const { return channel >= first && channel < first + count; }
};

/// What sets a registered parameter, 0 to 127, to a coarse value on a channel, and selects none behind it. A value
/// beyond 0 to 127 is limited, since no data byte could hold it.
inline std::array<ShortMessage, 6> registeredParameter(std::uint8_t channel, std::uint8_t parameter,
                                                       std::int64_t value) {
    const auto set = [channel](std::uint8_t number, std::uint8_t to) {
        return ShortMessage::controller(channel, number, to);
    };
    const auto coarse = static_cast<std::uint8_t>(std::clamp<std::int64_t>(value, 0, 127));
    return {set(101, 0), set(100, parameter), set(6, coarse), set(38, 0), set(101, 127), set(100, 127)};
}

constexpr std::uint8_t bendSensitivityParameter = 0;
constexpr std::uint8_t zoneSizeParameter = 6;

}  // namespace varnolex
