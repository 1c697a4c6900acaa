#pragma once

#include <string>
#include <string_view>

#include "core/midifile/MIDIFile.hpp"

namespace varnolex {

/// The Standard MIDI File format.
struct StandardMIDIFile {
    /// Reads formats 0, 1 and 2. Tempo changes and signatures of all tracks make one map, whatever track they
    /// stand in; the sequences of a format 2 file are read as tracks that begin together. A System Exclusive
    /// message in several packets becomes one event at the tick of the first. Real bytes of an escape make an
    /// event of their own. Other meta events and unknown chunks are skipped. Throws `MIDIFileError`.
    static MIDIFile read(std::string_view contents);

    /// Writes format 1: a first track with the tempo changes and signatures, then each track of the file with
    /// its name; a first track with neither events nor a name is taken for the former. Bytes that the format has no
    /// place for go into escapes. Throws `MIDIFileError` when the events of a track aren't in order or something is
    /// longer than the format can tell.
    static std::string write(const MIDIFile& file);
};

}  // namespace varnolex
