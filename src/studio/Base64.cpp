#include "studio/Base64.hpp"

#include <array>
#include <cstdint>

namespace varnolex {
namespace {

constexpr std::string_view alphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
constexpr char padding = '=';
constexpr std::int8_t noDigit = -1;

constexpr std::array<std::int8_t, 256> digits = [] {
    std::array<std::int8_t, 256> values{};
    values.fill(noDigit);
    for (std::size_t digit = 0; digit < alphabet.size(); ++digit)
        values[static_cast<unsigned char>(alphabet[digit])] = static_cast<std::int8_t>(digit);
    return values;
}();

/// Zero past the end.
std::uint32_t byteAt(std::string_view bytes, std::size_t index) {
    return index < bytes.size() ? static_cast<unsigned char>(bytes[index]) : 0;
}

}  // namespace

std::string base64FromBytes(std::string_view bytes) {
    std::string text;
    text.reserve((bytes.size() + 2) / 3 * 4);
    for (std::size_t at = 0; at < bytes.size(); at += 3) {
        const std::uint32_t group = byteAt(bytes, at) << 16 | byteAt(bytes, at + 1) << 8 | byteAt(bytes, at + 2);
        for (std::size_t digit = 0; digit < 4; ++digit)
            text += at + digit <= bytes.size() ? alphabet[group >> (18 - 6 * digit) & 63] : padding;
    }
    return text;
}

std::optional<std::string> bytesFromBase64(std::string_view text) {
    if (text.size() % 4 != 0) return std::nullopt;
    while (!text.empty() && text.ends_with(padding) && text.size() % 4 != 2) text.remove_suffix(1);

    std::string bytes;
    bytes.reserve(text.size() / 4 * 3 + 2);
    std::uint32_t group = 0;
    int pendingBits = 0;
    for (const char character : text) {
        const std::int8_t digit = digits[static_cast<unsigned char>(character)];
        if (digit == noDigit) return std::nullopt;
        group = group << 6 | static_cast<std::uint32_t>(digit);
        pendingBits += 6;
        if (pendingBits < 8) continue;
        pendingBits -= 8;
        bytes += static_cast<char>(group >> pendingBits & 0xFF);
    }
    return bytes;
}

}  // namespace varnolex
