#include "core/midifile/SysExFile.hpp"

#include <array>
#include <cstdio>
#include <string>

namespace varnolex {

namespace {

[[noreturn]] void refuse(std::size_t offset, const char* reason) {
    std::array<char, 32> place;
    std::snprintf(place.data(), place.size(), "offset 0x%zx: ", offset);
    throw SysExFileError(std::string(place.data()) + reason);
}

/// The offset behind the 0xF7 of the message that begins at `begin`.
std::size_t endOfMessage(std::span<const std::uint8_t> bytes, std::size_t begin) {
    std::size_t index = begin + 1;
    while (index < bytes.size() && bytes[index] < 0x80) ++index;
    if (index == bytes.size()) refuse(begin, "the message that begins here has no 0xF7 at its end");
    if (bytes[index] != 0xF7) refuse(index, "expected a data byte or 0xF7 inside a System Exclusive message");
    return index + 1;
}

}  // namespace

std::vector<SysExFile::Message> SysExFile::read(std::string_view contents) {
    const std::span bytes(reinterpret_cast<const std::uint8_t*>(contents.data()), contents.size());
    std::vector<Message> messages;
    for (std::size_t begin = 0; begin < bytes.size();) {
        if (bytes[begin] != 0xF0) refuse(begin, "expected 0xF0, the beginning of a System Exclusive message");
        const std::size_t end = endOfMessage(bytes, begin);
        messages.push_back({begin * nanosecondsPerByte, bytes.subspan(begin, end - begin)});
        begin = end;
    }
    return messages;
}

}  // namespace varnolex
