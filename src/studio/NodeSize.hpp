#pragma once

#include <string_view>

#include "engine/PipeToolType.hpp"
#include "studio/Geometry.hpp"

namespace varnolex {

/// The size of a new node: its kind's, but wide enough for the tool's name.
Size newNodeSize(PipeToolType type, std::string_view name);

/// The size of a node from a file: the stored height, and the largest of the stored width and a new node's.
Size restoredNodeSize(PipeToolType type, std::string_view name, Size stored);

}  // namespace varnolex
