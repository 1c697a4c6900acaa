#include "core/text/TextPieces.hpp"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstring>

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

/// "00" to "99": a division by 100 and a look-up cost less than two divisions by 10.
constexpr std::array<char, 200> digitPairs = [] {
    std::array<char, 200> pairs{};
    for (std::size_t number = 0; number < 100; ++number) {
        pairs[2 * number] = static_cast<char>('0' + number / 10);
        pairs[2 * number + 1] = static_cast<char>('0' + number % 10);
    }
    return pairs;
}();

constexpr std::array<char, 512> hexPairs = [] {
    std::array<char, 512> pairs{};
    for (std::size_t byte = 0; byte < 256; ++byte) {
        pairs[2 * byte] = hexDigits[byte >> 4];
        pairs[2 * byte + 1] = hexDigits[byte & 0x0F];
    }
    return pairs;
}();

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

char* putSeconds(char* place, std::uint64_t nanoseconds) {
    constexpr std::size_t mostDigits = 20;
    char* const point = std::to_chars(place, place + mostDigits, nanoseconds / nanosecondsPerSecond).ptr;
    *point = '.';
    auto fraction = static_cast<std::uint32_t>(nanoseconds % nanosecondsPerSecond);
    point[decimalCount] = static_cast<char>('0' + fraction % 10);
    fraction /= 10;
    for (std::size_t pair = decimalCount - 2; pair <= decimalCount; pair -= 2, fraction /= 100)
        std::memcpy(point + pair, &digitPairs[std::size_t{2} * (fraction % 100)], 2);
    return point + 1 + decimalCount;
}

char* putHexBytes(char* place, std::span<const std::uint8_t> bytes) {
    for (std::size_t index = 0; index < bytes.size(); ++index) {
        if (index > 0) *place++ = ' ';
        std::memcpy(place, &hexPairs[std::size_t{2} * bytes[index]], 2);
        place += 2;
    }
    return place;
}

char* putField(char* place, std::string_view text) {
    for (const char character : text)
        *place++ = character == '\t' || character == '\n' || character == '\r' ? ' ' : character;
    return place;
}

void appendSeconds(std::string& out, std::uint64_t nanoseconds) {
    appendUpTo(out, longestSeconds, [&](char* place) { return putSeconds(place, nanoseconds); });
}

void appendJSONSeconds(std::string& out, std::uint64_t nanoseconds) {
    appendSeconds(out, nanoseconds);
    for (std::size_t decimals = decimalCount; decimals > 1 && out.back() == '0'; --decimals) out.pop_back();
}

void appendHexBytes(std::string& out, std::span<const std::uint8_t> bytes) {
    appendUpTo(out, bytes.size() * 3, [&](char* place) { return putHexBytes(place, bytes); });
}

void appendJSONBytes(std::string& out, std::span<const std::uint8_t> bytes) {
    constexpr std::size_t longestItem = 4;
    appendUpTo(out, bytes.size() * longestItem + 2, [&](char* place) {
        *place++ = '[';
        for (const std::uint8_t byte : bytes) {
            place = std::to_chars(place, place + longestItem, static_cast<unsigned>(byte)).ptr;
            *place++ = ',';
        }
        if (!bytes.empty()) --place;
        *place++ = ']';
        return place;
    });
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
    appendUpTo(out, text.size(), [&](char* place) { return putField(place, text); });
}

void appendInteger(std::string& out, std::int64_t number) { appendNumber(out, number); }

}  // namespace varnolex
