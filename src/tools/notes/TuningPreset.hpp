#pragma once

#include <array>
#include <cstdint>
#include <string_view>

namespace varnolex {

/// A tuning that the microtonal tool's panel offers with one button.
struct TuningPreset {
    std::string_view label;
    /// The offset of each pitch class from equal temperament, C to B, in cents.
    std::array<std::int64_t, 12> tuningCents;
};

inline constexpr std::array<TuningPreset, 3> tuningPresets{{
    {"Equal", {0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0}},
    {"Just", {0, -10, 4, 16, -14, -2, -17, 2, 14, -16, 18, -12}},
    {"Pyth.", {0, -10, 4, -6, 8, -2, -12, 2, -8, 6, -4, 10}},
}};

}  // namespace varnolex
