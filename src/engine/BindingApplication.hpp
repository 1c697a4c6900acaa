#pragma once

#include <cstdint>
#include <string_view>

namespace varnolex {

class PipeTool;

/// Posted with the tool's id as object after a bound controller has switched a tool on or off.
inline constexpr std::string_view toolEnabledDidChangeViaCC = "Varnolex.toolEnabledDidChangeViaCC";

/// Moves what is bound to this controller on this tool. Processing road: the changes themselves happen in tasks on
/// the main thread.
void applyCCBindings(PipeTool& tool, std::uint8_t ccNumber, std::uint8_t value) noexcept;

}  // namespace varnolex
