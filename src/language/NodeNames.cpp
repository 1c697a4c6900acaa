#include "language/NodeNames.hpp"

#include <algorithm>
#include <array>

#include "language/ParameterFunctions.hpp"
#include "language/TextSplitting.hpp"

namespace varnolex {

namespace {

// clang-format off
constexpr std::array<NodeName, 60> nodeNames{{
    {"in", "MidiIn", readInParameters},
    {"out", "MidiOut", readOutParameters},
    {"transpose", "Transpose", readTransposeParameters},
    {"split", "Split", readSplitParameters},
    {"mono", "Monophonic", readMonoParameters},
    {"monophonic", "Monophonic", readMonoParameters},
    {"keymap", "KeyMapper"},
    {"microtune", "MicroTuner"},
    {"duration", "Duration", readDurationParameters},
    {"chord", "Chord", readChordParameters},
    {"scale", "Scale", readScaleParameters},
    {"arp", "Arp", readArpParameters},
    {"latch", "Latch", readLatchParameters},
    {"strum", "Strum", readStrumParameters},
    {"velocitymod", "VelocityMod", readVelocityParameters},
    {"velmod", "VelocityMod", readVelocityParameters},
    {"curve", "Curve", readCurveParameters},
    {"randomizer", "Randomizer", readRandomizerParameters},
    {"channelfilter", "ChannelFilter", readChannelFilterParameters},
    {"chfilter", "ChannelFilter", readChannelFilterParameters},
    {"channelrouter", "ChannelRouter", readChannelRouterParameters},
    {"chrouter", "ChannelRouter", readChannelRouterParameters},
    {"filter", "Filter", readFilterParameters},
    {"ccmap", "CCMap", readCCMapParameters},
    {"ccsplit", "ControlSplit", readControlSplitParameters},
    {"controlsplit", "ControlSplit", readControlSplitParameters},
    {"set", "Set", readSetParameters},
    {"toggle", "Toggle"},
    {"smooth", "Smooth", readSmoothParameters},
    {"lfo", "LFO", readLFOParameters},
    {"threshold", "Threshold", readThresholdParameters},
    {"convert", "EventConverter", readConvertParameters},
    {"eventconverter", "EventConverter", readConvertParameters},
    {"patchmap", "PNMapper", readPatchMapParameters},
    {"clock", "TimingClock", readClockParameters},
    {"timingclock", "TimingClock", readClockParameters},
    {"generator", "MidiGenerator"},
    {"midigenerator", "MidiGenerator"},
    {"delay", "Delay", readDelayParameters},
    {"humanize", "Humanize", readHumanizeParameters},
    {"quantize", "Quantize", readQuantizeParameters},
    {"roundrobin", "RoundRobin", readRoundRobinParameters},
    {"duplicate", "Duplicate", readDuplicateParameters},
    {"panic", "Panic", readPanicParameters},
    {"keystroke", "Keystroke"},
    {"msglist", "MessageList"},
    {"messagelist", "MessageList"},
    {"chorddetect", "ChordDetector"},
    {"chorddetector", "ChordDetector"},
    {"keyboard", "Keyboard"},
    {"keyinput", "KeyboardInput"},
    {"hid", "HID"},
    {"mpe_dist", "MPEDistributor"},
    {"mpe_merge", "MPEMerge"},
    {"mpe_zone", "MPEZoneSetup"},
    {"nrpn_asm", "NRPNAssembler"},
    {"nrpn_dis", "NRPNDisassembler"},
    {"rpn_asm", "RPNAssembler"},
    {"rpn_dis", "RPNDisassembler"},
    {"script", "Script"},
}};
// clang-format on

constexpr std::size_t longestName = 16;

}  // namespace

const NodeName* findNodeName(std::string_view name) {
    if (name.size() > longestName) return nullptr;
    const auto found = std::ranges::find(nodeNames, lowerCased(name), &NodeName::name);
    return found == nodeNames.end() ? nullptr : &*found;
}

std::vector<std::string_view> namesOfKind(std::string_view toolType) {
    std::vector<std::string_view> names;
    for (const NodeName& row : nodeNames)
        if (row.toolType == toolType) names.push_back(row.name);
    return names;
}

}  // namespace varnolex
