#pragma once

#include "engine/PipeTool.hpp"

namespace varnolex {

// The row that each tool's file ends with, in catalogue order.
extern const ToolDefinition midiInDefinition;
extern const ToolDefinition midiOutDefinition;
extern const ToolDefinition transposeDefinition;
extern const ToolDefinition splitDefinition;
extern const ToolDefinition monophonicDefinition;
extern const ToolDefinition keyMapperDefinition;
extern const ToolDefinition microTunerDefinition;
extern const ToolDefinition arpDefinition;
extern const ToolDefinition latchDefinition;
extern const ToolDefinition channelFilterDefinition;
extern const ToolDefinition channelRouterDefinition;
extern const ToolDefinition filterDefinition;
extern const ToolDefinition voiceFilterDefinition;
extern const ToolDefinition sysCommonFilterDefinition;
extern const ToolDefinition realTimeFilterDefinition;
extern const ToolDefinition lfoDefinition;
extern const ToolDefinition timingClockDefinition;
extern const ToolDefinition constantDefinition;
extern const ToolDefinition manipulatorDefinition;
extern const ToolDefinition logicDefinition;
extern const ToolDefinition dataReaderDefinition;
extern const ToolDefinition counterDefinition;

}  // namespace varnolex
