#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>

namespace varnolex {

/// Appends what `put(place)` writes behind the text, at most `room` characters, and returns the end of.
template <class Put>
void appendUpTo(std::string& out, std::size_t room, Put&& put) {
    const std::size_t begin = out.size();
    out.resize(begin + room);
    out.resize(static_cast<std::size_t>(put(out.data() + begin) - out.data()));
}

// The pieces that lines of text output are made of. Those that begin with `append` append to `out`; those that begin
// with `put` write to memory that has the room, which is quicker for a whole line, and return the end.

/// Decimal seconds with exactly nine decimals.
void appendSeconds(std::string& out, std::uint64_t nanoseconds);
inline constexpr std::size_t longestSeconds = 30;
char* putSeconds(char* place, std::uint64_t nanoseconds);

/// Decimal seconds as a JSON number, exact, with no more decimals than needed but at least one.
void appendJSONSeconds(std::string& out, std::uint64_t nanoseconds);

/// Two upper-case hexadecimal digits a byte, one blank between bytes.
void appendHexBytes(std::string& out, std::span<const std::uint8_t> bytes);
/// Less than three characters a byte.
char* putHexBytes(char* place, std::span<const std::uint8_t> bytes);

/// A JSON array of integers.
void appendJSONBytes(std::string& out, std::span<const std::uint8_t> bytes);

/// A JSON string with its quotes. Bytes that aren't UTF-8 become U+FFFD.
void appendJSONString(std::string& out, std::string_view text);

/// The text with every tab and line break turned into a blank.
void appendField(std::string& out, std::string_view text);
/// As many characters as the text has.
char* putField(char* place, std::string_view text);

/// A decimal integer.
void appendInteger(std::string& out, std::int64_t number);

}  // namespace varnolex
