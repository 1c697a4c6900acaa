#pragma once

#include "engine/PipeTool.hpp"

namespace varnolex {

// The row that each tool's file ends with, in catalogue order.
extern const ToolDefinition midiInDefinition;
extern const ToolDefinition midiOutDefinition;
extern const ToolDefinition messageListDefinition;
extern const ToolDefinition chordDetectorDefinition;
extern const ToolDefinition transposeDefinition;
extern const ToolDefinition splitDefinition;
extern const ToolDefinition monophonicDefinition;
extern const ToolDefinition keyMapperDefinition;
extern const ToolDefinition microTunerDefinition;
extern const ToolDefinition durationToolDefinition;
extern const ToolDefinition chordDefinition;
extern const ToolDefinition scaleDefinition;
extern const ToolDefinition arpDefinition;
extern const ToolDefinition latchDefinition;
extern const ToolDefinition strumDefinition;
extern const ToolDefinition looperDefinition;
extern const ToolDefinition velocityModifierDefinition;
extern const ToolDefinition curveTransformerDefinition;
extern const ToolDefinition randomizerDefinition;
extern const ToolDefinition channelFilterDefinition;
extern const ToolDefinition channelRouterDefinition;
extern const ToolDefinition filterDefinition;
extern const ToolDefinition voiceFilterDefinition;
extern const ToolDefinition sysCommonFilterDefinition;
extern const ToolDefinition realTimeFilterDefinition;
extern const ToolDefinition controlSplitDefinition;
extern const ToolDefinition setDefinition;
extern const ToolDefinition toggleDefinition;
extern const ToolDefinition ccMapDefinition;
extern const ToolDefinition smoothDefinition;
extern const ToolDefinition lfoDefinition;
extern const ToolDefinition thresholdDefinition;
extern const ToolDefinition eventConverterDefinition;
extern const ToolDefinition pnMapperDefinition;
extern const ToolDefinition timingClockDefinition;
extern const ToolDefinition midiGeneratorDefinition;
extern const ToolDefinition delayDefinition;
extern const ToolDefinition humanizeDefinition;
extern const ToolDefinition quantizeDefinition;
extern const ToolDefinition roundRobinDefinition;
extern const ToolDefinition duplicateDefinition;
extern const ToolDefinition panicDefinition;
extern const ToolDefinition keystrokeDefinition;
extern const ToolDefinition keyboardDefinition;
extern const ToolDefinition keyboardInputDefinition;
extern const ToolDefinition hidDefinition;
extern const ToolDefinition mpeDistributorDefinition;
extern const ToolDefinition mpeMergeDefinition;
extern const ToolDefinition mpeZoneSetupDefinition;
extern const ToolDefinition scriptDefinition;
extern const ToolDefinition constantDefinition;
extern const ToolDefinition manipulatorDefinition;
extern const ToolDefinition logicDefinition;
extern const ToolDefinition dataReaderDefinition;
extern const ToolDefinition counterDefinition;
extern const ToolDefinition nrpnAssemblerDefinition;
extern const ToolDefinition nrpnDisassemblerDefinition;
extern const ToolDefinition rpnAssemblerDefinition;
extern const ToolDefinition rpnDisassemblerDefinition;

}  // namespace varnolex
