#pragma once

#include <string>

namespace varnolex {

/// Lists the tool kinds, or tells everything about one, on standard output. `kind` is empty for the list. Throws
/// `CommandFailure` for a name that no kind has.
void runTools(const std::string& kind, bool json);

}  // namespace varnolex
