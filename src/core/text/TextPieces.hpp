#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>

namespace varnolex {

/// The pieces that lines of text output are made of. Each appends to `out`.

/// Decimal seconds with exactly nine decimals.
void appendSeconds(std::string& out, std::uint64_t nanoseconds);

/// Decimal seconds as a JSON number, exact, with no more decimals than needed but at least one.
void appendJSONSeconds(std::string& out, std::uint64_t nanoseconds);

/// Two upper-case hexadecimal digits a byte, one blank between bytes.
void appendHexBytes(std::string& out, std::span<const std::uint8_t> bytes);

/// A JSON array of integers.
void appendJSONBytes(std::string& out, std::span<const std::uint8_t> bytes);

/// A JSON string with its quotes. Bytes that aren't UTF-8 become U+FFFD.
void appendJSONString(std::string& out, std::string_view text);

/// The text with every tab and line break turned into a blank.
void appendField(std::string& out, std::string_view text);

/// A decimal integer.
void appendInteger(std::string& out, std::int64_t number);

}  // namespace varnolex
