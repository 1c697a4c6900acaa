#pragma once

#include <cstdint>
#include <string_view>

namespace varnolex {

/// The unique ID that belongs to a name: always positive, and the same in every run and on every machine, so that
/// whoever has stored it finds the endpoint again. Whether it is free is for the caller to ask.
constexpr std::int32_t uniqueIDForName(std::string_view name) {
    std::uint32_t hash = 0x811C9DC5;
    for (const char character : name) hash = (hash ^ static_cast<unsigned char>(character)) * 16777619u;
    const auto value = static_cast<std::int32_t>(hash | 1);
    return value < 0 ? -value : value;
}

}  // namespace varnolex
