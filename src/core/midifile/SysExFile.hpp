#pragma once

#include <cstdint>
#include <span>
#include <stdexcept>
#include <string_view>
#include <vector>

namespace varnolex {

/// A SysEx file that can't be read. `what()` begins with the byte's place: "offset 0x1f2: ...".
class SysExFileError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// A file that holds System Exclusive messages one after another and nothing else.
struct SysExFile {
    /// The pace of a serial MIDI line, 3125 bytes a second.
    static constexpr std::uint64_t nanosecondsPerByte = 320'000;

    struct Message {
        /// Nanoseconds from the beginning: when the bytes before the message have gone through.
        std::uint64_t time = 0;
        /// From 0xF0 to 0xF7, both included.
        std::span<const std::uint8_t> bytes;
    };

    /// The messages in order, as views into `contents`. Throws `SysExFileError`.
    static std::vector<Message> read(std::string_view contents);
};

}  // namespace varnolex
