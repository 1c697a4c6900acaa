#pragma once

#include <cstdint>

namespace varnolex {

/// A mode or type, stored as any integer, in the width in which the processing road reads it. Numbers without a meaning
/// stay without one: those that don't fit become the last that does, which no tool uses.
constexpr std::uint8_t choiceByte(std::int64_t stored) {
    return static_cast<std::uint8_t>(stored < 0 || stored > 255 ? 255 : stored);
}

}  // namespace varnolex
