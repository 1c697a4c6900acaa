#pragma once

#include <cstdint>
#include <span>
#include <stdexcept>
#include <string>
#include <vector>

#include "core/midifile/TempoMap.hpp"

namespace varnolex {

/// A MIDI file that can't be read or written. `what()` names the place: "track 3, offset 0x1f2: ...", the track
/// counted from 1, the offset being that of the byte in the file.
class MIDIFileError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

struct TimeSignature {
    std::uint64_t tick = 0;
    std::uint8_t numerator = 4;
    /// The denominator is 2 to this power.
    std::uint8_t denominatorPower = 2;
    std::uint8_t clocksPerClick = 24;
    std::uint8_t thirtySecondsPerQuarter = 8;

    bool operator==(const TimeSignature&) const = default;
};

struct KeySignature {
    std::uint64_t tick = 0;
    /// The number of sharps, or of flats when negative.
    std::int8_t sharps = 0;
    bool minor = false;

    bool operator==(const KeySignature&) const = default;
};

/// One event's place in time and in the file's bytes.
struct MIDIFileEvent {
    std::uint64_t tick = 0;
    std::uint32_t offset = 0;
    std::uint32_t length = 0;
};

struct MIDIFileTrack {
    std::string name;
    /// In order of their ticks.
    std::vector<MIDIFileEvent> events;
    /// Where the track ends, at its last event or behind it.
    std::uint64_t endTick = 0;
};

/// A sequence of timed MIDI messages in tracks, with what is needed to tell their time. An event is one whole
/// message from its status byte on, or whatever bytes an escape of the file carried.
struct MIDIFile {
    MIDIFileDivision division;
    std::vector<TempoChange> tempos;
    std::vector<TimeSignature> timeSignatures;
    std::vector<KeySignature> keySignatures;
    std::vector<MIDIFileTrack> tracks;
    /// The bytes of all events.
    std::vector<std::uint8_t> arena;

    std::span<const std::uint8_t> bytes(const MIDIFileEvent& event) const {
        return std::span(arena).subspan(event.offset, event.length);
    }

    /// Adds an event behind the others of a track; `tick` must not lie before the last one's. Throws
    /// `MIDIFileError` when the bytes of all events would exceed 4 GiB.
    void append(MIDIFileTrack& track, std::uint64_t tick, std::span<const std::uint8_t> message);

    TempoMap tempoMap() const { return TempoMap(division, tempos); }

    /// The latest end of all tracks.
    std::uint64_t endTick() const;
};

/// An event of the merged tracks. The bytes are a view into the file.
struct MergedEvent {
    std::uint64_t tick = 0;
    /// Nanoseconds from the beginning.
    std::uint64_t time = 0;
    std::size_t track = 0;
    std::span<const std::uint8_t> bytes;
};

/// Hands out the events of all tracks in order of time. At one tick the earlier track goes first, and each
/// track's own order is kept. The file must outlive it and stay unchanged.
class MIDIFileMerge {
public:
    explicit MIDIFileMerge(const MIDIFile& midiFile);
    MIDIFileMerge(const MIDIFileMerge&) = delete;
    MIDIFileMerge& operator=(const MIDIFileMerge&) = delete;

    /// False at the end.
    bool next(MergedEvent& event);

private:
    struct Lane {
        std::uint64_t tick;
        std::size_t track;
        const MIDIFileEvent* event;
        const MIDIFileEvent* end;
        bool isBehind(const Lane& other) const { return tick != other.tick ? tick > other.tick : track > other.track; }
    };

    void sink(std::size_t place);

    const MIDIFile& file;
    const TempoMap map;
    TempoCursor cursor;
    /// A binary heap with the next event's lane at its root.
    std::vector<Lane> lanes;
};

}  // namespace varnolex
