#pragma once

#include <cstdint>
#include <vector>

namespace varnolex {

/// A whole SysEx of this size, in which no piece is like another of the same length nearby.
inline std::vector<std::uint8_t> sysEx(std::size_t size) {
    std::vector<std::uint8_t> bytes(size);
    for (std::size_t index = 0; index < size; ++index) bytes[index] = static_cast<std::uint8_t>(index * 7 % 127);
    bytes.front() = 0xF0;
    bytes.back() = 0xF7;
    return bytes;
}

}  // namespace varnolex
