#include "language/NumberReading.hpp"

#include <charconv>
#include <cmath>
#include <system_error>
#include <utility>

#include "language/TextSplitting.hpp"

namespace varnolex {

namespace {

// Longer digits are noise, and refusing them at once keeps a hostile text from being read again and again.
constexpr std::size_t longestNumber = 64;

std::string_view withoutPlus(std::string_view number) {
    const bool plus = number.size() > 1 && number[0] == '+' && number[1] != '-';
    return plus ? number.substr(1) : number;
}

std::pair<std::string_view, std::string_view> dottedSides(std::string_view text) {
    const auto dots = text.find("..");
    if (dots == std::string_view::npos) return {text, {}};
    return {text.substr(0, dots), text.substr(dots + 2)};
}

}  // namespace

std::optional<std::int64_t> readInteger(std::string_view text) {
    const auto number = withoutPlus(trimmed(text));
    if (number.size() > longestNumber) return std::nullopt;
    std::int64_t value = 0;
    const char* end = number.data() + number.size();
    const auto [stop, error] = std::from_chars(number.data(), end, value);
    if (error != std::errc() || stop != end) return std::nullopt;
    return value;
}

std::optional<double> readReal(std::string_view text) {
    auto rest = trimmed(text);
    const auto value = takeReal(rest);
    return rest.empty() ? value : std::nullopt;
}

std::optional<double> takeReal(std::string_view& text) {
    const auto number = withoutPlus(text).substr(0, longestNumber);
    double value = 0;
    const auto [stop, error] = std::from_chars(number.data(), number.data() + number.size(), value);
    if (error != std::errc() || !std::isfinite(value)) return std::nullopt;
    text.remove_prefix(static_cast<std::size_t>(stop - text.data()));
    return value;
}

IntegerRange readDottedRange(std::string_view text) {
    const auto [low, high] = dottedSides(text);
    return {readInteger(low).value_or(0), readInteger(high).value_or(127)};
}

RealRange readDottedRealRange(std::string_view text) {
    const auto [low, high] = dottedSides(text);
    return {readReal(low).value_or(0), readReal(high).value_or(127)};
}

IntegerRange readHyphenRange(std::string_view text) {
    // From the end, so that the sign of the left number isn't taken for the hyphen.
    for (auto hyphen = text.rfind('-'); hyphen != std::string_view::npos && hyphen > 0;
         hyphen = text.rfind('-', hyphen - 1)) {
        const auto low = readInteger(text.substr(0, hyphen));
        const auto high = readInteger(text.substr(hyphen + 1));
        if (low && high) return {*low, *high};
    }
    return {};
}

}  // namespace varnolex
