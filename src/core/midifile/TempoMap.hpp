#pragma once

#include <cstdint>
#include <span>
#include <vector>

namespace varnolex {

/// What a tick of a MIDI file is: a part of a quarter note, or a part of an SMPTE frame.
struct MIDIFileDivision {
    /// 1 to 32767; 0 for an SMPTE division.
    std::uint16_t ticksPerQuarter = 960;
    /// 24, 25, 29 (which stands for 29.97) or 30; 0 for a metrical division.
    std::uint8_t framesPerSecond = 0;
    /// 1 to 255; 0 for a metrical division.
    std::uint8_t ticksPerFrame = 0;

    static constexpr MIDIFileDivision metrical(std::uint16_t ticks) { return {ticks, 0, 0}; }
    static constexpr MIDIFileDivision smpte(std::uint8_t frames, std::uint8_t ticks) { return {0, frames, ticks}; }

    constexpr bool isSMPTE() const { return framesPerSecond != 0; }
    constexpr bool operator==(const MIDIFileDivision&) const = default;
};

/// A tempo that holds from its tick on.
struct TempoChange {
    std::uint64_t tick = 0;
    /// 1 to 0xFFFFFF.
    std::uint32_t microsecondsPerQuarter = 500'000;

    bool operator==(const TempoChange&) const = default;
};

/// Turns ticks into nanoseconds and back, with integers only. Where a tick lasts a nanosecond or longer, each tick
/// comes back from its own time. Times saturate at `latestTime`. Immutable after it was made: any thread.
class TempoMap {
public:
    static constexpr std::uint64_t latestTime = 0x7FFF'FFFF'FFFF'FFFF;

    /// `changes` in order of their ticks; of several at one tick the last holds. Before the first the tempo is
    /// 120 quarter notes a minute. An SMPTE division has no use for them.
    TempoMap(MIDIFileDivision division, std::span<const TempoChange> changes);

    /// The nearest nanosecond to the tick's moment, counted from tick 0.
    std::uint64_t nanoseconds(std::uint64_t tick) const;

    /// The tick whose moment is nearest to the time.
    std::uint64_t nearestTick(std::uint64_t time) const;

    /// The time at which the tempo in force at `tick` gives way to the next, as a tick; the largest number when
    /// it holds to the end.
    std::uint64_t tempoEnd(std::uint64_t tick) const;

    /// The tempo in force at a tick. An SMPTE division has the one of 120 quarter notes a minute.
    std::uint32_t microsecondsPerQuarter(std::uint64_t tick) const;

private:
    friend class TempoCursor;

    /// A stretch of equal ticks. Moments are `whole + part / denominator` nanoseconds.
    struct Stretch {
        std::uint64_t tick = 0;
        std::uint64_t whole = 0;
        std::uint64_t part = 0;
        /// The length of one tick, in units of nanoseconds / denominator.
        std::uint64_t step = 0;
        std::uint32_t microsecondsPerQuarter = 500'000;
    };

    void append(std::uint64_t tick, std::uint64_t step, std::uint32_t tempo);
    const Stretch& stretchAt(std::uint64_t tick) const;
    std::uint64_t momentIn(const Stretch& stretch, std::uint64_t tick) const;

    std::uint64_t denominator = 1;
    std::vector<Stretch> stretches;
};

/// Walks along a tempo map: as `TempoMap::nanoseconds`, but cheap for ticks that rise from call to call. The map
/// must outlive it.
class TempoCursor {
public:
    explicit TempoCursor(const TempoMap& tempoMap) : map(&tempoMap) {}

    std::uint64_t nanoseconds(std::uint64_t tick);

private:
    const TempoMap* map;
    std::size_t index = 0;
};

}  // namespace varnolex
