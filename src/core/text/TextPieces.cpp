#include "core/text/TextPieces.hpp"

#include <algorithm>
#include <array>
#include <charconv>

namespace varnolex {

namespace {

constexpr std::uint64_t nanosecondsPerSecond = 1'000'000'000;
constexpr std::size_t decimalCount = 9;
constexpr std::string_view hexDigits = "0123456789ABCDEF";
constexpr std::string_view replacement = "\xEF\xBF\xBD";

template <class Integer>
void appendNumber(std::string& out, Integer number) {
    std::array<char, 24> digits;
    const auto end = std::to_chars(digits.data(), digits.data() + digits.size(), number);
    out.append(digits.data(), end.ptr);
}

/// Writes the leading `decimals` of the nine.
void appendSeconds(std::string& out, std::uint64_t nanoseconds, std::size_t decimals) {
    std::array<char, 40> text;
    char* const point = std::to_chars(text.data(), text.data() + text.size(), nanoseconds / nanosecondsPerSecond).ptr;
    *point = '.';
    std::uint64_t fraction = nanoseconds % nanosecondsPerSecond;
    for (std::size_t index = decimalCount; index > 0; --index, fraction /= 10)
        point[index] = static_cast<char>('0' + fraction % 10);
    out.append(text.data(), point + 1 + decimals);
}

bool isContinuation(std::string_view text, std::size_t index) {
    return index < text.size() && (static_cast<std::uint8_t>(text[index]) & 0xC0) == 0x80;
}

/// The length of the well-formed UTF-8 sequence at `index`, 0 when there is none. Overlong forms, surrogates and
/// code points above U+10FFFF aren't well-formed.
std::size_t sequenceLength(std::string_view text, std::size_t index) {
    const auto first = static_cast<std::uint8_t>(text[index]);
    if (first < 0x80) return 1;
    if (first < 0xC2 || first > 0xF4) return 0;
    const std::size_t length = first < 0xE0 ? 2 : first < 0xF0 ? 3 : 4;
    for (std::size_t step = 1; step < length; ++step)
        if (!isContinuation(text, index + step)) return 0;
    const auto second = static_cast<std::uint8_t>(text[index + 1]);
    const bool outside = (first == 0xE0 && second < 0xA0) || (first == 0xED && second >= 0xA0) ||
                         (first == 0xF0 && second < 0x90) || (first == 0xF4 && second >= 0x90);
    return outside ? 0 : length;
}

bool isPlain(char character) { return character >= 0x20 && character < 0x7F && character != '"' && character != '\\'; }

void appendEscaped(std::string& out, char character) {
    switch (character) {
        case '"':
            out += "\\\"";
            return;
        case '\\':
            out += "\\\\";
            return;
        case '\n':
            out += "\\n";
            return;
        case '\r':
            out += "\\r";
            return;
        case '\t':
            out += "\\t";
            return;
        default:
            break;
    }
    const auto code = static_cast<std::uint8_t>(character);
    if (code >= 0x20 && code != 0x7F) {
        out += character;
        return;
    }
    out += "\\u00";
    out += hexDigits[code >> 4];
    out += hexDigits[code & 0x0F];
}

}  // namespace

void appendSeconds(std::string& out, std::uint64_t nanoseconds) { appendSeconds(out, nanoseconds, decimalCount); }

void appendJSONSeconds(std::string& out, std::uint64_t nanoseconds) {
    std::size_t decimals = decimalCount;
    for (std::uint64_t fraction = nanoseconds; decimals > 1 && fraction % 10 == 0; fraction /= 10) --decimals;
    appendSeconds(out, nanoseconds, decimals);
}

void appendHexBytes(std::string& out, std::span<const std::uint8_t> bytes) {
    if (bytes.empty()) return;
    const std::size_t begin = out.size();
    out.resize(begin + bytes.size() * 3 - 1, ' ');
    char* place = out.data() + begin;
    for (const std::uint8_t byte : bytes) {
        place[0] = hexDigits[byte >> 4];
        place[1] = hexDigits[byte & 0x0F];
        place += 3;
    }
}

void appendJSONBytes(std::string& out, std::span<const std::uint8_t> bytes) {
    constexpr std::size_t longestItem = 4;
    const std::size_t begin = out.size();
    out.resize(begin + bytes.size() * longestItem + 2);
    char* place = out.data() + begin;
    *place++ = '[';
    for (const std::uint8_t byte : bytes) {
        place = std::to_chars(place, place + longestItem, static_cast<unsigned>(byte)).ptr;
        *place++ = ',';
    }
    if (!bytes.empty()) --place;
    *place++ = ']';
    out.resize(static_cast<std::size_t>(place - out.data()));
}

void appendJSONString(std::string& out, std::string_view text) {
    out += '"';
    const auto plainEnd = std::find_if_not(text.begin(), text.end(), isPlain);
    out.append(text.begin(), plainEnd);
    for (auto index = static_cast<std::size_t>(plainEnd - text.begin()); index < text.size();) {
        const std::size_t length = sequenceLength(text, index);
        if (length == 0) out += replacement;
        if (length == 1) appendEscaped(out, text[index]);
        if (length > 1) out.append(text, index, length);
        index += length == 0 ? 1 : length;
    }
    out += '"';
}

void appendField(std::string& out, std::string_view text) {
    const auto breaks = [](char character) { return character == '\t' || character == '\n' || character == '\r'; };
    const std::size_t begin = out.size();
    out += text;
    std::replace_if(out.begin() + static_cast<std::ptrdiff_t>(begin), out.end(), breaks, ' ');
}

void appendInteger(std::string& out, std::int64_t number) { appendNumber(out, number); }

}  // namespace varnolex
