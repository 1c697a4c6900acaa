#pragma once

#include <array>
#include <cstdint>

namespace varnolex {

/// A parameter number with its value, as one event of six bytes in place of four controllers: status, channel (0 to
/// 15), then the values of the parameter's MSB and LSB controllers and of the data controllers 6 and 38. No other
/// message has its status and its length. It is meant for the tools of a graph only.
using ParameterNumberEvent = std::array<std::uint8_t, 6>;

/// What tells registered and other parameter numbers apart.
struct ParameterNumberKind {
    /// Of the event.
    std::uint8_t status;
    /// The four, in the order in which they are sent.
    std::array<std::uint8_t, 4> controllers;
};

inline constexpr ParameterNumberKind nrpnKind{0xF4, {99, 98, 6, 38}};
inline constexpr ParameterNumberKind rpnKind{0xF5, {101, 100, 6, 38}};

}  // namespace varnolex
