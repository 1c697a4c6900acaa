#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "engine/PipeTool.hpp"

namespace varnolex {

// A tool's settings as documents keep them: a flat JSON object with a member for each row of the kind's table. Main
// thread.

/// The tool's record with sorted keys; nothing for a kind without one. Live values aren't part of it. An infinite
/// number is written as the largest one there is; a number that is none is left out, and so reads as its default.
std::optional<std::string> encodeConfig(const PipeTool& tool);

/// Sets the tool to a record as one change: an absent or null key takes its default, an unknown key is ignored. Empty
/// data does nothing. When the record can't be decoded the tool stays as it is, and the reason is logged.
void applyConfig(std::string_view data, PipeTool& tool);

/// The same for callers that tell the reason themselves: nothing when all went well, else a text such as
/// "\"semitones\" must be an integer".
std::optional<std::string> tryApplyConfig(std::string_view data, PipeTool& tool);

/// "Decode failed for TransposeConfig: ", and the reason.
std::string decodeFailure(const PipeTool& tool, std::string_view reason);

}  // namespace varnolex
