#pragma once

#include <cstddef>
#include <optional>
#include <string_view>

namespace varnolex {

/// The column, in characters from 1 on, of a syntax error that Lua tells as `message`, "script:LINE: reason near
/// TOKEN". Lua itself knows only lines: there is a column where the line has that token once.
std::optional<std::size_t> columnOfLuaSyntaxError(std::string_view source, std::string_view message);

}  // namespace varnolex
