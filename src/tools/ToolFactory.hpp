#pragma once

#include <memory>

#include "engine/PipeTool.hpp"

namespace varnolex {

/// What the tool's file says of its kind.
const ToolDefinition& toolDefinition(PipeToolType type);

/// A new tool of the kind, enabled, with a new id and fresh settings. Main thread.
std::shared_ptr<PipeTool> makeTool(PipeToolType type);

}  // namespace varnolex
