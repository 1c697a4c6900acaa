#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "cli/Streams.hpp"
#include "core/midifile/MIDIFile.hpp"

namespace varnolex {

/// What receivers have heard, and the forms in which it is written.
class MusicOutput {
public:
    /// Adds an endpoint and returns its number.
    std::uint32_t addEndpoint(std::string name);

    /// Makes room for about as many packets.
    void expect(std::size_t packets) { list.reserve(packets); }

    /// Notes that an endpoint has heard a packet, `time` nanoseconds from the beginning.
    void add(std::uint64_t time, std::span<const std::uint8_t> bytes, std::uint32_t endpoint);

    std::size_t size() const { return list.size(); }

    /// Puts what was heard in order of time, and at one time in the order in which it was sent. Once, when all is
    /// there.
    void putInOrder();

    // The forms, of what is in order.

    /// In pieces, so that the text of a long concert doesn't take memory of its own.
    void writeEventText(const OutputSink& sink) const;
    void writeEventJSON(const OutputSink& sink) const;

    /// A MIDI file with a track for each endpoint. The division, tempos and signatures are those of `model` when it is
    /// given, and else 960 ticks a quarter note at 120 of them a minute.
    std::string midiFile(const MIDIFile* model) const;

private:
    /// Appends one line to the text.
    using AppendLine = void (*)(std::string& text, std::uint64_t time, std::span<const std::uint8_t> bytes,
                                std::string_view endpoint);
    void writeLines(const OutputSink& sink, AppendLine append) const;

    struct Packet {
        std::uint64_t time;
        std::size_t offset;
        std::uint32_t length;
        std::uint32_t endpoint;
    };

    std::span<const std::uint8_t> bytes(const Packet& packet) const {
        return std::span(arena).subspan(packet.offset, packet.length);
    }

    std::vector<std::string> names;
    std::vector<Packet> list;
    std::vector<std::uint8_t> arena;
};

/// Writes what was heard, in order, to a MIDI file by the name's ending and else as event text or JSON; "-" is standard
/// output. `model` is as for `MusicOutput::midiFile`. Throws `CommandFailure` or `FileError`.
void writeMusic(const MusicOutput& music, const std::string& file, const MIDIFile* model, bool asJSON);

}  // namespace varnolex
