#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace varnolex {

/// The bytes as text of the standard alphabet, padded, in one line.
std::string base64FromBytes(std::string_view bytes);

/// The bytes of such a text; nothing for any other.
std::optional<std::string> bytesFromBase64(std::string_view text);

}  // namespace varnolex
