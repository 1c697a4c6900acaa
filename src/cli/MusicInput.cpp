#include "cli/MusicInput.hpp"

#include <limits>
#include <map>

#include "cli/CommandFailure.hpp"
#include "cli/Streams.hpp"
#include "core/midifile/StandardMIDIFile.hpp"
#include "core/midifile/SysExFile.hpp"
#include "core/text/EventText.hpp"
#include "endpoints/PacketList.hpp"

namespace varnolex {
MusicInput MusicInput::read(const std::string& file, LongPackets longPackets) {
    const std::string content = readInput(file);
    const std::string name = inputName(file);
    MusicInput input;
    try {
        if (isMIDIFileName(file))
            input.readMIDIFile(content);
        else if (hasEnding(file, {".syx"}))
            input.readSysExFile(content);
        else
            input.readEventText(content, name, longPackets);
    } catch (const MIDIFileError& error) {
        throw CommandFailure(name + ": " + error.what());
    } catch (const SysExFileError& error) {
        throw CommandFailure(name + ": " + error.what());
    }
    if (longPackets == LongPackets::refused) input.refuseLongPackets(name);
    return input;
}

void MusicInput::readMIDIFile(const std::string& content) {
    midi = StandardMIDIFile::read(content);
    MIDIFileMerge merged(*midi);
    MergedEvent event;
    while (merged.next(event))
        list.push_back({event.time, static_cast<std::uint32_t>(event.bytes.data() - midi->arena.data()),
                        static_cast<std::uint32_t>(event.bytes.size()), 0});
}

void MusicInput::readSysExFile(const std::string& content) {
    for (const SysExFile::Message& message : SysExFile::read(content)) append(message.time, message.bytes, 0);
}

void MusicInput::readEventText(const std::string& content, const std::string& name, LongPackets longPackets) {
    EventTextReader reader(content, name);
    std::map<std::string, std::uint32_t, std::less<>> places{{names[0], 0}};
    const auto placeOf = [&](std::string_view endpoint) {
        const auto [place, isNew] = places.try_emplace(std::string(endpoint), static_cast<std::uint32_t>(names.size()));
        if (isNew) names.emplace_back(endpoint);
        return place->second;
    };
    constexpr std::size_t usualLine = 20;
    list.reserve(content.size() / usualLine);
    std::uint32_t latest = 0;
    EventLine line;
    while (reader.next(line)) {
        if (longPackets == LongPackets::refused && line.bytes.size() > packetlayout::longestPacket)
            throw EventTextError(name, line.line, "expected at most 65535 bytes in a packet");
        const std::string_view endpoint = line.endpoint.value_or(names[0]);
        // Most lines come from where the line before came from.
        if (endpoint != names[latest]) latest = placeOf(endpoint);
        append(line.time, line.bytes, latest);
    }
}

void MusicInput::append(std::uint64_t time, std::span<const std::uint8_t> packet, std::uint32_t endpoint) {
    if (arena.size() + packet.size() > std::numeric_limits<std::uint32_t>::max())
        throw CommandFailure("the input holds more than 4 GiB of MIDI");
    list.push_back(
        {time, static_cast<std::uint32_t>(arena.size()), static_cast<std::uint32_t>(packet.size()), endpoint});
    arena.insert(arena.end(), packet.begin(), packet.end());
}

void MusicInput::refuseLongPackets(const std::string& name) const {
    using packetlayout::longestPacket;
    for (std::size_t index = 0; index < list.size(); ++index)
        if (list[index].length > longestPacket)
            throw CommandFailure(name + ": message " + std::to_string(index + 1) + " has " +
                                 std::to_string(list[index].length) + " bytes; a packet holds at most " +
                                 std::to_string(longestPacket));
}

}  // namespace varnolex
