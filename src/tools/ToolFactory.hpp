#pragma once

#include <memory>

#include "engine/PipeTool.hpp"

namespace varnolex {

/// The definition of a kind; nothing for a kind that this build has no tool for.
const ToolDefinition* findToolDefinition(PipeToolType type);

/// A new tool of the kind, enabled, with a new id and fresh settings. A kind without a tool of its own gets a
/// `StandInTool`. Main thread.
std::shared_ptr<PipeTool> makeTool(PipeToolType type);

}  // namespace varnolex
