#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

#include <nlohmann/json_fwd.hpp>

namespace varnolex {

/// Deeper than any file of ours, and shallow enough for code that descends into a value by calling itself.
inline constexpr int deepestJSON = 128;

/// Reads UTF-8 JSON from a source that isn't trusted. Of a key that stands twice in an object the last one counts.
/// Throws `DocumentError` with line and column for text that is no JSON, for a number beyond the range of a real, and
/// for more than `deepestJSON` levels.
nlohmann::json parseBoundedJSON(std::string_view text);

/// The number in a value: an integer may be written with a fraction of zero. Nothing for any other value, and for a
/// number beyond 64 bits.
std::optional<std::int64_t> integerIn(const nlohmann::json& value);

}  // namespace varnolex
