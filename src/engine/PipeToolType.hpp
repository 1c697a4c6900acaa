#pragma once

#include <cstddef>
#include <cstdint>

namespace varnolex {

/// The closed list of tool kinds, in the order of the catalogue. The number is a kind's index.
enum class PipeToolType : std::uint8_t {
    midiIn,
    midiOut,
    messageList,
    chordDetector,
    transpose,
    split,
    monophonic,
    keyMapper,
    microTuner,
    durationTool,
    chord,
    scale,
    arp,
    latch,
    strum,
    looper,
    velocityModifier,
    curveTransformer,
    randomizer,
    channelFilter,
    channelRouter,
    filter,
    voiceFilter,
    sysCommonFilter,
    realTimeFilter,
    controlSplit,
    set,
    toggle,
    ccMap,
    smooth,
    lfo,
    threshold,
    eventConverter,
    pnMapper,
    timingClock,
    midiGenerator,
    delay,
    humanize,
    quantize,
    roundRobin,
    duplicate,
    panic,
    keystroke,
    keyboard,
    keyboardInput,
    hid,
    mpeDistributor,
    mpeMerge,
    mpeZoneSetup,
    script,
    constant,
    manipulator,
    logic,
    dataReader,
    counter,
    nrpnAssembler,
    nrpnDisassembler,
    rpnAssembler,
    rpnDisassembler
};

inline constexpr std::size_t toolKindCount = 59;

constexpr std::size_t indexOf(PipeToolType kind) { return static_cast<std::size_t>(kind); }

}  // namespace varnolex
