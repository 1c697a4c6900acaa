#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "core/midifile/MIDIFile.hpp"

namespace varnolex {

/// Recorded MIDI, from whatever kind of file: packets in order of their times, each from an endpoint.
class MusicInput {
public:
    struct Packet {
        /// Nanoseconds from the beginning.
        std::uint64_t time = 0;
        std::uint32_t offset = 0;
        std::uint32_t length = 0;
        /// Into `endpoints`.
        std::uint32_t endpoint = 0;
    };

    /// Whether messages that no packet of the service holds are refused.
    enum class LongPackets : std::uint8_t { refused, accepted };

    /// Reads a Standard MIDI File, a SysEx file or event text, by the name's ending; "-" is event text from standard
    /// input. Throws with a sentence that names the file and the place.
    static MusicInput read(const std::string& file, LongPackets longPackets = LongPackets::refused);

    const std::vector<Packet>& packets() const { return list; }
    std::span<const std::uint8_t> bytes(const Packet& packet) const {
        return (midi ? std::span<const std::uint8_t>(midi->arena) : std::span<const std::uint8_t>(arena))
            .subspan(packet.offset, packet.length);
    }

    /// The names of the endpoints that packets come from. The first is "Input", from which comes what names none.
    const std::vector<std::string>& endpoints() const { return names; }

    /// The file behind the packets, when they come from a MIDI file.
    const std::optional<MIDIFile>& midiFile() const { return midi; }

    /// The last packet's time.
    std::uint64_t endTime() const { return list.empty() ? 0 : list.back().time; }

private:
    void readMIDIFile(const std::string& content);
    void readSysExFile(const std::string& content);
    void readEventText(const std::string& content, const std::string& name, LongPackets longPackets);
    void append(std::uint64_t time, std::span<const std::uint8_t> packet, std::uint32_t endpoint);
    void refuseLongPackets(const std::string& name) const;

    std::vector<Packet> list;
    std::vector<std::uint8_t> arena;
    std::vector<std::string> names{"Input"};
    std::optional<MIDIFile> midi;
};

}  // namespace varnolex
