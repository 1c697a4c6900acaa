#include "tools/ToolFactory.hpp"

#include <array>

#include "engine/Catalogue.hpp"
#include "tools/ToolDefinitions.hpp"

namespace varnolex {
namespace {

// One row a kind, in catalogue order.
constexpr std::array<const ToolDefinition*, toolKindCount> definitions{
    /* midiIn */ &midiInDefinition,
    /* midiOut */ &midiOutDefinition,
    /* messageList */ &messageListDefinition,
    /* chordDetector */ &chordDetectorDefinition,
    /* transpose */ &transposeDefinition,
    /* split */ &splitDefinition,
    /* monophonic */ &monophonicDefinition,
    /* keyMapper */ &keyMapperDefinition,
    /* microTuner */ &microTunerDefinition,
    /* durationTool */ &durationToolDefinition,
    /* chord */ &chordDefinition,
    /* scale */ &scaleDefinition,
    /* arp */ &arpDefinition,
    /* latch */ &latchDefinition,
    /* strum */ &strumDefinition,
    /* looper */ &looperDefinition,
    /* velocityModifier */ &velocityModifierDefinition,
    /* curveTransformer */ &curveTransformerDefinition,
    /* randomizer */ &randomizerDefinition,
    /* channelFilter */ &channelFilterDefinition,
    /* channelRouter */ &channelRouterDefinition,
    /* filter */ &filterDefinition,
    /* voiceFilter */ &voiceFilterDefinition,
    /* sysCommonFilter */ &sysCommonFilterDefinition,
    /* realTimeFilter */ &realTimeFilterDefinition,
    /* controlSplit */ &controlSplitDefinition,
    /* set */ &setDefinition,
    /* toggle */ &toggleDefinition,
    /* ccMap */ &ccMapDefinition,
    /* smooth */ &smoothDefinition,
    /* lfo */ &lfoDefinition,
    /* threshold */ &thresholdDefinition,
    /* eventConverter */ &eventConverterDefinition,
    /* pnMapper */ &pnMapperDefinition,
    /* timingClock */ &timingClockDefinition,
    /* midiGenerator */ &midiGeneratorDefinition,
    /* delay */ &delayDefinition,
    /* humanize */ &humanizeDefinition,
    /* quantize */ &quantizeDefinition,
    /* roundRobin */ &roundRobinDefinition,
    /* duplicate */ &duplicateDefinition,
    /* panic */ &panicDefinition,
    /* keystroke */ &keystrokeDefinition,
    /* keyboard */ &keyboardDefinition,
    /* keyboardInput */ &keyboardInputDefinition,
    /* hid */ &hidDefinition,
    /* mpeDistributor */ &mpeDistributorDefinition,
    /* mpeMerge */ &mpeMergeDefinition,
    /* mpeZoneSetup */ &mpeZoneSetupDefinition,
    /* script */ &scriptDefinition,
    /* constant */ &constantDefinition,
    /* manipulator */ &manipulatorDefinition,
    /* logic */ &logicDefinition,
    /* dataReader */ &dataReaderDefinition,
    /* counter */ &counterDefinition,
    /* nrpnAssembler */ &nrpnAssemblerDefinition,
    /* nrpnDisassembler */ &nrpnDisassemblerDefinition,
    /* rpnAssembler */ &rpnAssemblerDefinition,
    /* rpnDisassembler */ &rpnDisassemblerDefinition,
};

}  // namespace

const ToolDefinition& toolDefinition(PipeToolType type) { return *definitions[indexOf(type)]; }

std::shared_ptr<PipeTool> makeTool(PipeToolType type) { return toolDefinition(type).make(); }

}  // namespace varnolex
