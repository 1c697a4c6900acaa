#pragma once

#include <optional>
#include <string>

namespace varnolex {

/// Compiles and runs an AppleScript. The result is the error, if there is one: on this system there always is, since
/// nothing here can run it. Any thread; may take long.
std::optional<std::string> runAppleScript(const std::string& text);

}  // namespace varnolex
