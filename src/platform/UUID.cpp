#include "platform/UUID.hpp"

namespace varnolex {

namespace {

constexpr std::size_t textLength = 36;

constexpr bool isDashPlace(std::size_t place) { return place == 8 || place == 13 || place == 18 || place == 23; }

/// The value of a hexadecimal digit, or -1.
constexpr int digitValue(char digit) {
    if (digit >= '0' && digit <= '9') return digit - '0';
    if (digit >= 'A' && digit <= 'F') return digit - 'A' + 10;
    if (digit >= 'a' && digit <= 'f') return digit - 'a' + 10;
    return -1;
}

}  // namespace

std::string UUID::text() const {
    std::string result(textLength, '-');
    int digit = 0;
    for (std::size_t place = 0; place < textLength; ++place) {
        if (isDashPlace(place)) continue;
        const std::uint64_t word = digit < 16 ? high : low;
        result[place] = "0123456789ABCDEF"[(word >> (60 - 4 * (digit % 16))) & 15];
        ++digit;
    }
    return result;
}

std::optional<UUID> UUID::fromText(std::string_view text) {
    if (text.size() != textLength) return std::nullopt;
    UUID id;
    int digit = 0;
    for (std::size_t place = 0; place < textLength; ++place) {
        if (isDashPlace(place)) {
            if (text[place] != '-') return std::nullopt;
            continue;
        }
        const int value = digitValue(text[place]);
        if (value < 0) return std::nullopt;
        std::uint64_t& word = digit < 16 ? id.high : id.low;
        word = word << 4 | static_cast<std::uint64_t>(value);
        ++digit;
    }
    return id;
}

}  // namespace varnolex
