#pragma once

#include <span>
#include <string_view>
#include <utility>

#include "engine/PipeTool.hpp"

namespace varnolex {

/// A key with the value it is to take.
using ParameterAssignment = std::pair<std::string_view, ParameterValue>;

/// The row of a key; nothing for an unknown one.
const Parameter* findParameter(const ToolDefinition& definition, std::string_view key);

/// A tool's parameter as it is stored now. Throws `ParameterError` for a key that the tool hasn't got. Main thread.
ParameterValue parameterOf(const PipeTool& tool, std::string_view key);

/// Sets parameters as one change. Throws `ParameterError`, with nothing changed, for an unknown key or a value that
/// the parameter can't take. Main thread.
void setParameters(PipeTool& tool, std::span<const ParameterAssignment> assignments);
void setParameter(PipeTool& tool, std::string_view key, ParameterValue value);

}  // namespace varnolex
