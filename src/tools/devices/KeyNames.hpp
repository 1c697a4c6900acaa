#pragma once

#include <cstdint>
#include <string_view>

#include "platform/keys/KeyCodes.hpp"

namespace varnolex {

/// What is written on keys.
inline constexpr std::int64_t layoutQWERTY = 0;
inline constexpr std::int64_t layoutAZERTY = 1;

/// How a panel shows a key; empty for one that it has no name for. Any other layout is a QWERTY one.
std::string_view displayNameOfKey(KeyCode keyCode, std::int64_t keyboardLayout);

}  // namespace varnolex
