#include "engine/Catalogue.hpp"

#include <algorithm>
#include <array>
#include <string>

namespace varnolex {
namespace {

constexpr std::array<ToolKind, toolKindCount> kinds{{
    // clang-format off
    {PipeToolType::midiIn, "midiIn", "MidiIn", "MIDI In", "MidiIn", "I/O",
     "arrow.right.circle", false, true, {204, 72},
     "Receives MIDI from an external device or virtual port. This is the entry point for MIDI data into "
     "your modular."},
    {PipeToolType::midiOut, "midiOut", "MidiOut", "MIDI Out", "MidiOut", "I/O",
     "arrow.left.circle", true, false, {204, 99},
     "Sends MIDI to an external device or creates a virtual output port that other apps can receive from."},
    {PipeToolType::messageList, "messageList", "MessageList", "Monitor", "Monitor", "Display",
     "list.bullet", true, true, {200, 260},
     "Displays a live list of MIDI messages passing through this point in the modular. Useful for "
     "debugging."},
    {PipeToolType::chordDetector, "chordDetector", "ChordDetector", "Chord Detect", "Chord Detect", "Display",
     "guitars", true, true, {220, 240},
     "Detects and displays chords from active notes in real time. Shows a chromatic circle with "
     "highlighted pitch classes, the chord name, and a history of recent chords. All messages pass "
     "through unchanged."},
    {PipeToolType::transpose, "transpose", "Transpose", "Transpose", "Transpose", "Notes",
     "arrow.up.arrow.down", true, true, {200, 97},
     "Shifts note pitch up or down by a fixed number of semitones. Affects Note On and Note Off messages."},
    {PipeToolType::split, "split", "Split", "Split", "Split", "Notes",
     "scissors", true, true, {170, 173},
     "Splits the keyboard at a chosen note. Notes in the selected zone are moved to a different MIDI "
     "channel."},
    {PipeToolType::monophonic, "monophonic", "Monophonic", "Mono", "Mono", "Notes",
     "1.circle", true, true, {190, 68},
     "Converts polyphonic input to monophonic by only passing one note at a time. Useful for mono synths."},
    {PipeToolType::keyMapper, "keyMapper", "KeyMapper", "Note Map", "Note Map", "Notes",
     "pianokeys", true, true, {190, 167},
     "Remaps individual note numbers to different note numbers. Each of the 128 MIDI notes can be mapped "
     "independently."},
    {PipeToolType::microTuner, "microTuner", "MicroTuner", "Microtonal", "Microtonal", "Notes",
     "waveform.path", true, true, {200, 453},
     "Applies microtonal tuning by adding pitch bend per note. Each pitch class (C, C#, D…) gets a cent "
     "offset."},
    {PipeToolType::durationTool, "durationTool", "Duration", "Gate", "Gate", "Notes",
     "timer", true, true, {180, 83},
     "Enforces a minimum note duration. Short notes are lengthened to the specified time. Useful as a "
     "gate tool."},
    {PipeToolType::chord, "chord", "Chord", "Chord Builder", "Chord Builder", "Notes",
     "music.note.list", true, true, {220, 95},
     "Adds harmony notes to each incoming note, turning single notes into chords."},
    {PipeToolType::scale, "scale", "Scale", "Scale", "Scale", "Notes",
     "music.quarternote.3", true, true, {200, 132},
     "Quantizes notes to the nearest note in a musical scale. Out-of-scale notes are moved to the closest "
     "allowed pitch."},
    {PipeToolType::arp, "arp", "Arp", "Arp", "Arp", "Notes",
     "arrow.up.arrow.down.circle", true, true, {170, 207},
     "Turns held notes into an arpeggio pattern. Requires a MIDI Clock source upstream to set the tempo."},
    {PipeToolType::latch, "latch", "Latch", "Latch", "Latch", "Notes",
     "lock.fill", true, true, {170, 132},
     "Holds notes after you release the keys. Notes sustain until explicitly stopped."},
    {PipeToolType::strum, "strum", "Strum", "Strum", "Strum", "Notes",
     "hand.point.right", true, true, {230, 99},
     "Adds a strum effect to chords by delaying each note slightly, simulating a guitar strum."},
    {PipeToolType::looper, "looper", "Looper", "Looper", "Looper", "Notes",
     "repeat.circle", true, true, {310, 450},
     "MIDI loop recorder. Records notes, CCs, pitch bend, aftertouch, and NRPN components. Overdubs and "
     "plays back synced to MIDI clock. Click the green ? for the full manual."},
    {PipeToolType::velocityModifier, "velocityModifier", "VelocityMod", "Velocity", "Velocity", "Dynamics",
     "gauge.with.dots.needle.33percent", true, true, {180, 190},
     "Scales and shifts note velocity values. Use it to make notes louder, softer, or compress the "
     "dynamic range."},
    {PipeToolType::curveTransformer, "curveTransformer", "Curve", "Shape", "Shape", "Dynamics",
     "point.topleft.down.to.point.bottomright.curvepath", true, true, {180, 146},
     "Reshapes velocity or CC values using a curve function. Makes response feel softer or more "
     "aggressive."},
    {PipeToolType::randomizer, "randomizer", "Randomizer", "Randomizer", "Randomizer", "Dynamics",
     "dice", true, true, {210, 144},
     "Randomizes selected MIDI values within a range. Adds variation and unpredictability to your "
     "performance."},
    {PipeToolType::channelFilter, "channelFilter", "ChannelFilter", "Ch. Filter", "Ch.Filter", "Channel",
     "slider.horizontal.3", true, true, {190, 283},
     "Passes or blocks messages based on their MIDI channel. Only channel voice messages are filtered; "
     "system messages always pass."},
    {PipeToolType::channelRouter, "channelRouter", "ChannelRouter", "Ch. Router", "Ch.Router", "Channel",
     "arrow.triangle.branch", true, true, {220, 263},
     "Remaps MIDI channels. Messages arriving on one channel can be sent out on a different channel."},
    {PipeToolType::filter, "filter", "Filter", "Filter", "Filter", "Control",
     "line.3.horizontal.decrease", true, true, {200, 270},
     "Filters messages by type. Choose which MIDI message types pass through and which are blocked."},
    {PipeToolType::voiceFilter, "voiceFilter", "VoiceFilter", "Voice Filter", "Voice Filter", "Control",
     "music.note", true, true, {200, 270},
     "Filters MIDI channel messages and SysEx by type and channel."},
    {PipeToolType::sysCommonFilter, "sysCommonFilter", "SysCommonFilter", "Sys Common Filter", "Sys Common Filter", "Control",
     "f.cursive.circle", true, true, {250, 144},
     "Filters MIDI System Common messages."},
    {PipeToolType::realTimeFilter, "realTimeFilter", "RealTimeFilter", "Real-Time Filter", "Real-Time Filter", "Control",
     "clock.badge.checkmark", true, true, {230, 198},
     "Filters MIDI Real-Time messages like Clock and transport controls."},
    {PipeToolType::controlSplit, "controlSplit", "ControlSplit", "CC Split", "CC Split", "Control",
     "tuningfork", true, true, {180, 244},
     "Processes CC messages: filter by CC number, invert, limit range, rescale, remap to a different CC "
     "or channel."},
    {PipeToolType::set, "set", "Set", "Override", "Override", "Control",
     "pencil", true, true, {190, 198},
     "Overrides specific values in MIDI messages. Force notes, velocity, channel, CC, or other values to "
     "fixed values."},
    {PipeToolType::toggle, "toggle", "Toggle", "Toggle", "Toggle", "Control",
     "switch.2", true, true, {180, 332},
     "Converts a trigger (note or CC) into toggle or momentary on/off states. Outputs custom MIDI values "
     "for each state."},
    {PipeToolType::ccMap, "ccMap", "CCMap", "CC Map", "CC Map", "Control",
     "arrow.left.arrow.right.circle", true, true, {190, 264},
     "Remaps one CC number to another, with optional scaling and range limiting."},
    {PipeToolType::smooth, "smooth", "Smooth", "Smooth", "Smooth", "Control",
     "wave.3.right", true, true, {180, 187},
     "Smooths CC value changes over time, preventing sudden jumps. Creates gradual transitions between "
     "values."},
    {PipeToolType::lfo, "lfo", "LFO", "LFO", "LFO", "Control",
     "waveform", true, true, {180, 349},
     "Generates a repeating CC waveform (like a synthesizer LFO). Outputs CC messages that modulate a "
     "parameter over time."},
    {PipeToolType::threshold, "threshold", "Threshold", "Threshold", "Threshold", "Control",
     "slider.horizontal.below.rectangle", true, true, {200, 187},
     "Gates CC values based on thresholds. Only passes values in a certain range, or converts to on/off."},
    {PipeToolType::eventConverter, "eventConverter", "EventConverter", "Convert", "Convert", "Convert",
     "arrow.left.arrow.right", true, true, {220, 200},
     "Converts one MIDI message type to another. For example, turn Note On into CC, or CC into "
     "Aftertouch."},
    {PipeToolType::pnMapper, "pnMapper", "PNMapper", "Patch Map", "Patch Map", "Convert",
     "list.number", true, true, {200, 287},
     "Remaps Program Change numbers. Each of the 128 program numbers can be mapped to a different one."},
    {PipeToolType::timingClock, "timingClock", "TimingClock", "Clock", "Clock", "Generate",
     "clock", true, true, {170, 154},
     "Generates MIDI Timing Clock messages at a set BPM. Required by Arp and Quantize tools."},
    {PipeToolType::midiGenerator, "midiGenerator", "MidiGenerator", "MIDI Generator", "Generator", "Generate",
     "dot.radiowaves.right", true, true, {320, 256},
     "Generates and sends custom MIDI messages. Build step sequences, load MIDI files, or send SysEx "
     "dumps."},
    {PipeToolType::delay, "delay", "Delay", "Delay", "Delay", "Time",
     "clock.arrow.2.circlepath", true, true, {170, 78},
     "Delays all MIDI messages by a fixed time. Messages are held and forwarded after the delay."},
    {PipeToolType::humanize, "humanize", "Humanize", "Humanize", "Humanize", "Time",
     "person.wave.2", true, true, {200, 136},
     "Adds random variation to timing and velocity, making mechanical sequences sound more human."},
    {PipeToolType::quantize, "quantize", "Quantize", "Quantize", "Quantize", "Time",
     "grid.circle", true, true, {190, 199},
     "Snaps note timing to a rhythmic grid. Requires a MIDI Clock source upstream."},
    {PipeToolType::roundRobin, "roundRobin", "RoundRobin", "Round Robin", "Round Robin", "Utility",
     "arrow.3.trianglepath", true, true, {210, 161},
     "Distributes notes across multiple MIDI channels in rotation. Useful for polyphonic synths with "
     "per-voice channels."},
    {PipeToolType::duplicate, "duplicate", "Duplicate", "Duplicate", "Duplicate", "Utility",
     "doc.on.doc", true, true, {190, 180},
     "Duplicates each message, sending both the original and a modified copy. Useful for layering sounds."},
    {PipeToolType::panic, "panic", "Panic", "Panic", "Panic", "Utility",
     "exclamationmark.triangle", true, true, {190, 100},
     "Sends All Notes Off and Reset All Controllers on all 16 channels. Use it to silence stuck notes."},
    {PipeToolType::keystroke, "keystroke", "Keystroke", "Keystroke", "Keystroke", "Utility",
     "keyboard", true, true, {200, 364},
     "Triggers computer keystrokes from MIDI messages. Map notes, CCs, or program changes to keyboard "
     "shortcuts."},
    {PipeToolType::keyboard, "keyboard", "Keyboard", "Keyboard", "Keyboard", "Input",
     "pianokeys", false, true, {190, 172},
     "An on-screen piano keyboard that generates MIDI notes when you click the keys."},
    {PipeToolType::keyboardInput, "keyboardInput", "KeyboardInput", "Key Input", "Key Input", "Input",
     "keyboard", false, true, {190, 215},
     "Converts computer keyboard presses into MIDI notes. Use QWERTY keys as a musical keyboard."},
    {PipeToolType::hid, "hid", "HID", "HID", "HID", "Input",
     "gamecontroller", false, true, {160, 140},
     "Converts game controller and HID device input into MIDI CC messages. Axes and buttons auto-map to "
     "CC numbers."},
    {PipeToolType::mpeDistributor, "mpeDistributor", "MPEDistributor", "MPE Distributor", "MPE Distributor", "MPE",
     "arrow.branch", true, true, {230, 205},
     "Converts standard polyphonic MIDI to MPE by assigning each note its own channel. Enables "
     "independent pitch bend, pressure, and brightness per note for MPE synthesizers."},
    {PipeToolType::mpeMerge, "mpeMerge", "MPEMerge", "MPE Merge", "MPE Merge", "MPE",
     "arrow.triangle.merge", true, true, {230, 188},
     "Collapses MPE (channel-per-note) back to standard MIDI on a single output channel. Useful for "
     "feeding MPE data into non-MPE instruments."},
    {PipeToolType::mpeZoneSetup, "mpeZoneSetup", "MPEZoneSetup", "MPE Zone Setup", "MPE Zone Setup", "MPE",
     "slider.horizontal.3", true, true, {240, 225},
     "Sends an MPE Configuration message (RPN 6) to initialize your MPE synthesizer. All incoming "
     "messages pass through unchanged."},
    {PipeToolType::script, "script", "Script", "Script", "Script", "Utility",
     "scroll", true, true, {200, 87},
     "Write custom MIDI processing logic in JavaScript, Lua, or AppleScript. Full access to message data "
     "with send, block, inject, delay, and more."},
    {PipeToolType::constant, "constant", "Constant", "Constant", "Constant", "Expressions",
     "number.circle", false, false, {190, 89},
     "Outputs a fixed numeric value (0–127) via a blue value cable. Connect to parameter ports on other "
     "nodes to set a constant value."},
    {PipeToolType::manipulator, "manipulator", "Manipulator", "Manipulator", "Manipulator", "Expressions",
     "function", false, false, {210, 95},
     "Performs math operations on up to 4 value inputs (A, B, C, D) connected via blue cables. Outputs "
     "the result."},
    {PipeToolType::logic, "logic", "Logic", "Logic", "Logic", "Expressions",
     "checkmark.circle", false, false, {170, 197},
     "Evaluates a logical condition on value inputs and outputs either the True Value or False Value."},
    {PipeToolType::dataReader, "dataReader", "DataReader", "Data Reader", "Data Reader", "Expressions",
     "antenna.radiowaves.left.and.right", true, true, {210, 100},
     "Passes MIDI through unchanged but reads a field from each matching message and outputs it as a "
     "value via a blue cable."},
    {PipeToolType::counter, "counter", "Counter", "Counter", "Counter", "Expressions",
     "plus.circle", true, true, {180, 237},
     "Passes MIDI through and increments a counter each time a trigger message arrives. Outputs the "
     "current counter value."},
    {PipeToolType::nrpnAssembler, "nrpnAssembler", "NRPNAssembler", "NRPN Assembler", "NRPN Assembler", "NRPN / RPN",
     "arrow.triangle.merge", true, true, {240, 94},
     "Assembles sequences of 4 CCs (99, 98, 6, 38) into single synthetic NRPN events. Facilitates routing "
     "complex NRPN data."},
    {PipeToolType::nrpnDisassembler, "nrpnDisassembler", "NRPNDisassembler", "NRPN Disassembler", "NRPN Disassembler", "NRPN / RPN",
     "arrow.triangle.branch", true, true, {260, 62},
     "Converts synthetic NRPN events back into standard 4-CC sequences for output to MIDI hardware."},
    {PipeToolType::rpnAssembler, "rpnAssembler", "RPNAssembler", "RPN Assembler", "RPN Assembler", "NRPN / RPN",
     "arrow.triangle.merge", true, true, {230, 94},
     "Assembles sequences of 4 CCs (101, 100, 6, 38) into single synthetic RPN events."},
    {PipeToolType::rpnDisassembler, "rpnDisassembler", "RPNDisassembler", "RPN Disassembler", "RPN Disassembler", "NRPN / RPN",
     "arrow.triangle.branch", true, true, {250, 62},
     "Converts synthetic RPN events back into standard 4-CC sequences."},  // clang-format on
}};

constexpr bool isInOrder() {
    for (std::size_t index = 0; index < kinds.size(); ++index)
        if (indexOf(kinds[index].type) != index) return false;
    return true;
}
static_assert(isInOrder());

constexpr std::array<std::string_view, 14> groupOrder{
    "I/O",  "Notes",   "Dynamics", "Channel", "Control", "Convert",     "Generate",
    "Time", "Utility", "Input",    "Display", "MPE",     "Expressions", "NRPN / RPN",
};

constexpr std::array<std::string_view, 4> groupsOutsideChains{"I/O", "Input", "Display", "Expressions"};

/// The general filter has been replaced by its three narrower forms: it stays loadable but can't be chosen.
constexpr bool isHidden(PipeToolType type) { return type == PipeToolType::filter; }

std::string lowerCased(std::string_view text) {
    std::string lower(text);
    for (char& letter : lower)
        if (letter >= 'A' && letter <= 'Z') letter = static_cast<char>(letter - 'A' + 'a');
    return lower;
}

std::vector<PaletteGroup> groupsMatching(std::string_view query, auto&& wantsGroup) {
    const std::string wanted = lowerCased(query);
    std::vector<PaletteGroup> result;
    for (const PaletteGroup& group : paletteGroups()) {
        if (!wantsGroup(group.name)) continue;
        PaletteGroup found{group.name, {}};
        for (PipeToolType type : group.kinds)
            if (lowerCased(toolKind(type).displayName).find(wanted) != std::string::npos) found.kinds.push_back(type);
        if (!found.kinds.empty()) result.push_back(std::move(found));
    }
    return result;
}

}  // namespace

std::span<const ToolKind> allToolKinds() { return kinds; }

const ToolKind& toolKind(PipeToolType type) { return kinds[indexOf(type)]; }

std::optional<PipeToolType> toolTypeFromRawValue(std::string_view rawValue) {
    for (const ToolKind& kind : kinds)
        if (kind.rawValue == rawValue) return kind.type;
    return std::nullopt;
}

std::optional<PipeToolType> toolTypeFromAnyName(std::string_view name) {
    const std::string wanted = lowerCased(name);
    for (const auto nameOf : {&ToolKind::rawValue, &ToolKind::caseName, &ToolKind::displayName})
        for (const ToolKind& kind : kinds)
            if (lowerCased(kind.*nameOf) == wanted) return kind.type;
    return std::nullopt;
}

PipeToolType toolTypeFromDrag(std::string_view rawValue) {
    return toolTypeFromRawValue(rawValue).value_or(PipeToolType::midiIn);
}

const std::vector<PaletteGroup>& paletteGroups() {
    static const std::vector<PaletteGroup> groups = [] {
        std::vector<PaletteGroup> made;
        for (std::string_view name : groupOrder) {
            PaletteGroup group{name, {}};
            for (const ToolKind& kind : kinds)
                if (kind.category == name && !isHidden(kind.type)) group.kinds.push_back(kind.type);
            if (!group.kinds.empty()) made.push_back(std::move(group));
        }
        return made;
    }();
    return groups;
}

std::vector<PaletteGroup> searchPalette(std::string_view query) {
    return groupsMatching(query, [](std::string_view) { return true; });
}

std::vector<PaletteGroup> chainPickerGroups(std::string_view query) {
    return groupsMatching(query, [](std::string_view name) {
        return std::find(groupsOutsideChains.begin(), groupsOutsideChains.end(), name) == groupsOutsideChains.end();
    });
}

}  // namespace varnolex
