#include "cli/MusicOutput.hpp"

#include <algorithm>

#include "cli/CommandFailure.hpp"
#include "core/midifile/StandardMIDIFile.hpp"
#include "core/text/EventText.hpp"

namespace varnolex {

std::uint32_t MusicOutput::addEndpoint(std::string name) {
    names.push_back(std::move(name));
    return static_cast<std::uint32_t>(names.size() - 1);
}

void MusicOutput::add(std::uint64_t time, std::span<const std::uint8_t> packet, std::uint32_t endpoint) {
    list.push_back({time, arena.size(), static_cast<std::uint32_t>(packet.size()), endpoint});
    arena.insert(arena.end(), packet.begin(), packet.end());
}

void MusicOutput::putInOrder() {
    if (!std::ranges::is_sorted(list, {}, &Packet::time)) std::ranges::stable_sort(list, {}, &Packet::time);
}

void MusicOutput::writeEventText(const OutputSink& sink) const { writeLines(sink, appendEventText); }

void MusicOutput::writeEventJSON(const OutputSink& sink) const { writeLines(sink, appendEventJSON); }

void MusicOutput::writeLines(const OutputSink& sink, AppendLine append) const {
    constexpr std::size_t pieceSize = std::size_t{1} << 18;
    std::string piece;
    for (const Packet& packet : list) {
        append(piece, packet.time, bytes(packet), names[packet.endpoint]);
        if (piece.size() < pieceSize) continue;
        sink(piece);
        piece.clear();
    }
    sink(piece);
}

std::string MusicOutput::midiFile(const MIDIFile* model) const {
    MIDIFile file;
    if (model) {
        file.division = model->division;
        file.tempos = model->tempos;
        file.timeSignatures = model->timeSignatures;
        file.keySignatures = model->keySignatures;
    } else {
        file.tempos.push_back({0, 500'000});
    }
    const TempoMap map = file.tempoMap();
    file.tracks.resize(names.size());
    for (std::size_t index = 0; index < names.size(); ++index) file.tracks[index].name = names[index];
    for (const Packet& packet : list)
        file.append(file.tracks[packet.endpoint], map.nearestTick(packet.time), bytes(packet));
    return StandardMIDIFile::write(file);
}

void writeMusic(const MusicOutput& music, const std::string& file, const MIDIFile* model, bool asJSON) {
    try {
        writeOutput(file, [&](const OutputSink& sink) {
            if (isMIDIFileName(file)) return sink(music.midiFile(model));
            asJSON ? music.writeEventJSON(sink) : music.writeEventText(sink);
        });
    } catch (const MIDIFileError& error) {
        throw CommandFailure(file + ": " + error.what());
    }
}

}  // namespace varnolex
