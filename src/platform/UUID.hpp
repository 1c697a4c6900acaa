#pragma once

#include <compare>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

namespace varnolex {

/// A 128-bit identity. A plain value: copying it costs two words, comparing it is two comparisons.
/// Fresh ones come from `Runtime::makeUUID()`; a default one is all zero and stands for "none".
struct UUID {
    std::uint64_t high = 0;
    std::uint64_t low = 0;

    auto operator<=>(const UUID&) const = default;

    /// The version 4 UUID made of 128 random bits.
    static constexpr UUID ofRandomBits(std::uint64_t first, std::uint64_t second) {
        constexpr std::uint64_t versionBits = 0xF000, version4 = 0x4000;
        constexpr std::uint64_t variantBits = std::uint64_t{3} << 62, variant = std::uint64_t{2} << 62;
        return {(first & ~versionBits) | version4, (second & ~variantBits) | variant};
    }

    bool isNil() const { return high == 0 && low == 0; }

    /// Upper-case text in the 8-4-4-4-12 form.
    std::string text() const;

    /// Reads the 8-4-4-4-12 form in either case; nothing for any other text.
    static std::optional<UUID> fromText(std::string_view text);
};

}  // namespace varnolex

template <>
struct std::hash<varnolex::UUID> {
    std::size_t operator()(const varnolex::UUID& id) const noexcept {
        return static_cast<std::size_t>(id.high ^ (id.low * 0x9E3779B97F4A7C15ull));
    }
};
