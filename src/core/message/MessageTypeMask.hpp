#pragma once

#include <cstdint>
#include <string_view>

namespace varnolex {

/// A set of message kinds, one bit each; also the kind of a single message.
class MessageTypeMask {
public:
    constexpr MessageTypeMask() = default;
    constexpr explicit MessageTypeMask(std::uint32_t bits) : rawValue(bits) {}

    static const MessageTypeMask noteOn, noteOff, aftertouch, cc, program, channelPressure, pitchWheel, timeCode,
        songPositionPointer, songSelect, tuneRequest, clock, start, stop, continueMsg, activeSense, reset, sysex,
        invalid, all;

    /// The short key of a single kind, such as "noteOn"; "unknown" for any other value.
    std::string_view key() const;

    constexpr bool isEmpty() const { return rawValue == 0; }
    /// Whether every kind of `other` is in this set.
    constexpr bool contains(MessageTypeMask other) const { return (rawValue & other.rawValue) == other.rawValue; }
    constexpr bool intersects(MessageTypeMask other) const { return (rawValue & other.rawValue) != 0; }
    constexpr void insert(MessageTypeMask other) { rawValue |= other.rawValue; }
    constexpr void remove(MessageTypeMask other) { rawValue &= ~other.rawValue; }

    constexpr MessageTypeMask operator|(MessageTypeMask other) const {
        return MessageTypeMask(rawValue | other.rawValue);
    }
    constexpr MessageTypeMask operator&(MessageTypeMask other) const {
        return MessageTypeMask(rawValue & other.rawValue);
    }
    constexpr MessageTypeMask operator^(MessageTypeMask other) const {
        return MessageTypeMask(rawValue ^ other.rawValue);
    }
    constexpr MessageTypeMask operator-(MessageTypeMask other) const {
        return MessageTypeMask(rawValue & ~other.rawValue);
    }
    constexpr bool operator==(const MessageTypeMask&) const = default;

    std::uint32_t rawValue = 0;
};

inline constexpr MessageTypeMask MessageTypeMask::noteOn{0x1};
inline constexpr MessageTypeMask MessageTypeMask::noteOff{0x2};
inline constexpr MessageTypeMask MessageTypeMask::aftertouch{0x4};
inline constexpr MessageTypeMask MessageTypeMask::cc{0x8};
inline constexpr MessageTypeMask MessageTypeMask::program{0x10};
inline constexpr MessageTypeMask MessageTypeMask::channelPressure{0x20};
inline constexpr MessageTypeMask MessageTypeMask::pitchWheel{0x40};
inline constexpr MessageTypeMask MessageTypeMask::timeCode{0x80};
inline constexpr MessageTypeMask MessageTypeMask::songPositionPointer{0x100};
inline constexpr MessageTypeMask MessageTypeMask::songSelect{0x200};
inline constexpr MessageTypeMask MessageTypeMask::tuneRequest{0x400};
inline constexpr MessageTypeMask MessageTypeMask::clock{0x800};
inline constexpr MessageTypeMask MessageTypeMask::start{0x1000};
inline constexpr MessageTypeMask MessageTypeMask::stop{0x2000};
inline constexpr MessageTypeMask MessageTypeMask::continueMsg{0x4000};
inline constexpr MessageTypeMask MessageTypeMask::activeSense{0x8000};
inline constexpr MessageTypeMask MessageTypeMask::reset{0x10000};
inline constexpr MessageTypeMask MessageTypeMask::sysex{0x20000};
inline constexpr MessageTypeMask MessageTypeMask::invalid{0x40000};
inline constexpr MessageTypeMask MessageTypeMask::all{0x7FFFF};

}  // namespace varnolex
