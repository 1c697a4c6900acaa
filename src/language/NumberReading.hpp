#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

namespace varnolex {

struct IntegerRange {
    std::int64_t low = 0;
    std::int64_t high = 127;
};

struct RealRange {
    double low = 0;
    double high = 127;
};

/// The whole text as an integer, with an optional sign. Nothing for any other text, and for one beyond 64 bits.
std::optional<std::int64_t> readInteger(std::string_view text);

/// The whole text as a decimal number, with an optional sign. Nothing for any other text, infinities and NaN included.
std::optional<double> readReal(std::string_view text);

/// Takes a number off the front of the text, if one stands there, and leaves the text behind it.
std::optional<double> takeReal(std::string_view& text);

/// `a..b`. A side that isn't a number is 0 on the left and 127 on the right.
IntegerRange readDottedRange(std::string_view text);
RealRange readDottedRealRange(std::string_view text);

/// `a-b`, with signs allowed on both sides: -24-24. 0 to 127 if it doesn't read.
IntegerRange readHyphenRange(std::string_view text);

}  // namespace varnolex
