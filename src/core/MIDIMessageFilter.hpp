#pragma once

#include <cstdint>
#include <optional>

#include "core/RPNDetector.hpp"
#include "core/message/Message.hpp"

namespace varnolex {

/// Which MPE zones pass: bit value 1 stands for the first zone that a filter is given, 2 for the second.
struct MPEZoneFilter {
    std::uint8_t rawValue = 3;

    static const MPEZoneFilter none, first, second, both;

    constexpr bool contains(MPEZoneFilter other) const { return (rawValue & other.rawValue) == other.rawValue; }
    constexpr bool operator==(const MPEZoneFilter&) const = default;
};

inline constexpr MPEZoneFilter MPEZoneFilter::none{0};
inline constexpr MPEZoneFilter MPEZoneFilter::first{1};
inline constexpr MPEZoneFilter MPEZoneFilter::second{2};
inline constexpr MPEZoneFilter MPEZoneFilter::both{3};

/// Decides which messages a view shows, by kind, by channel and by MPE zone. Main thread.
class MIDIMessageFilter {
public:
    /// The zones that were detected in the traffic, if any.
    using Zone = std::optional<RPNDetector::Zone>;

    MessageTypeMask filterMask() const { return kinds; }
    /// Bit n stands for channel n, 0 to 15.
    std::uint16_t channelMask() const { return channels; }
    MPEZoneFilter mpeZoneFilter() const { return zones; }

    void setFilterMask(MessageTypeMask mask) { set(kinds, mask); }
    void setChannelMask(std::uint16_t mask) { set(channels, mask); }
    void setMPEZoneFilter(MPEZoneFilter filter) { set(zones, filter); }

    /// Grows whenever a value changes: observers compare it.
    std::uint64_t revision() const { return changes; }

    bool passes(const Message& message, Zone firstZone, Zone secondZone) const {
        return passes(message, hiddenByZones(firstZone, secondZone));
    }

    /// The messages that pass, in order.
    MessageList filtered(const MessageList& messages, Zone firstZone, Zone secondZone) const;

    /// The channels that the zones hide from voice messages, bit n standing for channel n: worked out once for many
    /// messages.
    std::uint16_t hiddenByZones(Zone firstZone, Zone secondZone) const;
    bool passes(const Message& message, std::uint16_t hiddenChannels) const;

private:
    template <class Value>
    void set(Value& value, Value next) {
        if (value == next) return;
        value = next;
        ++changes;
    }

    MessageTypeMask kinds = MessageTypeMask::all;
    std::uint16_t channels = 0xFFFF;
    MPEZoneFilter zones = MPEZoneFilter::both;
    std::uint64_t changes = 0;
};

}  // namespace varnolex
