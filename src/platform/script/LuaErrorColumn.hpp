#pragma once

#include <cstddef>
#include <optional>
#include <string_view>

namespace varnolex {

/// The column, in characters from 1 on, of an error that Lua tells as `message`, "script:LINE: reason". Lua itself
/// knows only lines. A syntax error has a column where the line has the token once that it is near to. Any other error
/// is at the name that it blames, else at the call of `error`, else where the line's code begins.
std::optional<std::size_t> columnOfLuaError(std::string_view source, std::string_view message);

}  // namespace varnolex
