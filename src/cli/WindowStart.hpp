#pragma once

#include <optional>
#include <string>

namespace varnolex {

/// Starts the window, `varnolex-studio`, in place of this process: the one beside this program, else the one on the
/// search path. Returns only by throwing `CommandFailure`, when there is no display or no such program.
[[noreturn]] void startWindow(const std::optional<std::string>& document);

}  // namespace varnolex
