#pragma once

#include <cstddef>
#include <cstdint>

namespace varnolex {

/// How many data bytes follow the status byte of a channel or system common message: 0 for every other status.
constexpr std::size_t dataLengthOf(std::uint8_t status) {
    if (status < 0xF0) return (status & 0xE0) == 0xC0 ? 1 : 2;
    if (status == 0xF2) return 2;
    return status == 0xF1 || status == 0xF3 ? 1 : 0;
}

}  // namespace varnolex
