#pragma once

#include <cstdint>
#include <optional>

#include "core/midifile/TempoMap.hpp"

namespace varnolex {

/// The times of a MIDI clock, 24 ticks a quarter note from time 0 on: at a steady tempo, or along the tempo map of a
/// MIDI file. Each tick is computed from its number, so nothing adds up.
class ClockFeed {
public:
    /// `bpm` quarter notes a minute.
    explicit ClockFeed(double bpm) : nanosecondsPerTick(60e9 / (24 * bpm)) {}

    /// `map` must have a metrical division of `ticksPerQuarter`, and outlive the feed.
    ClockFeed(const TempoMap& map, std::uint16_t ticksPerQuarter) : tempoMap(&map), division(ticksPerQuarter) {}

    /// The time of the next tick, in nanoseconds.
    std::uint64_t nextTime() const;

    void advance() { ++tick; }

private:
    const TempoMap* tempoMap = nullptr;
    std::uint64_t division = 0;
    double nanosecondsPerTick = 0;
    std::uint64_t tick = 0;
};

}  // namespace varnolex
