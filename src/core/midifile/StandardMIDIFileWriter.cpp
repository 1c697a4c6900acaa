#include <algorithm>
#include <limits>

#include "core/midifile/MIDIFileChunks.hpp"
#include "core/midifile/StandardMIDIFile.hpp"

namespace varnolex {

namespace {

using namespace midifile;
using Bytes = std::span<const std::uint8_t>;

/// A silence longer than a delta time can tell is bridged with empty text events, up to this many.
constexpr std::uint64_t mostBridges = 1024;

void appendBigEndian(std::string& out, std::uint32_t number, int count) {
    for (int shift = (count - 1) * 8; shift >= 0; shift -= 8) out += static_cast<char>(number >> shift & 0xFF);
}

void appendQuantity(std::string& out, std::uint32_t number) {
    int shift = 0;
    while (shift < 21 && number >> (shift + 7) != 0) shift += 7;
    for (; shift > 0; shift -= 7) out += static_cast<char>((number >> shift & 0x7F) | 0x80);
    out += static_cast<char>(number & 0x7F);
}

void appendBytes(std::string& out, Bytes bytes) {
    out.append(reinterpret_cast<const char*>(bytes.data()), bytes.size());
}

bool areData(Bytes bytes) {
    return std::all_of(bytes.begin(), bytes.end(), [](std::uint8_t byte) { return byte < 0x80; });
}

bool isVoiceMessage(Bytes bytes) {
    const std::uint8_t status = bytes.front();
    return status >= 0x80 && status < 0xF0 && bytes.size() == 1 + voiceDataLength(status) && areData(bytes.subspan(1));
}

bool isWholeSysEx(Bytes bytes) {
    return bytes.front() == sysExStatus && bytes.size() >= 2 && bytes.back() == 0xF7 &&
           areData(bytes.subspan(1, bytes.size() - 2));
}

/// Writes one track chunk.
class TrackWriter {
public:
    TrackWriter(std::string& target, std::size_t trackNumber) : out(target), number(trackNumber) {
        out += "MTrk";
        sizePlace = out.size();
        appendBigEndian(out, 0, 4);
    }

    void event(std::uint64_t at, Bytes bytes) {
        if (bytes.empty()) return;
        delta(at);
        if (isVoiceMessage(bytes)) return appendBytes(out, bytes);
        const bool whole = isWholeSysEx(bytes);
        if (whole) bytes = bytes.subspan(1);
        out += static_cast<char>(whole ? sysExStatus : escapeStatus);
        appendQuantity(out, checked(bytes.size(), "a message"));
        appendBytes(out, bytes);
    }

    void meta(std::uint64_t at, Meta type, std::string_view data) {
        delta(at);
        appendMeta(type, data);
    }

    void finish(std::uint64_t endTick) {
        meta(std::max(tick, endTick), Meta::endOfTrack, {});
        const std::size_t size = out.size() - sizePlace - 4;
        if (size > std::numeric_limits<std::uint32_t>::max()) refuse("the track takes more than 4 GiB");
        std::string length;
        appendBigEndian(length, static_cast<std::uint32_t>(size), 4);
        out.replace(sizePlace, 4, length);
    }

private:
    void appendMeta(Meta type, std::string_view data) {
        out += static_cast<char>(metaStatus);
        out += static_cast<char>(type);
        appendQuantity(out, checked(data.size(), "a text"));
        out += data;
    }

    void delta(std::uint64_t at) {
        if (at < tick) refuse("its events aren't in order");
        std::uint64_t pause = at - tick;
        if (pause / greatestQuantity > mostBridges) refuse("a pause is longer than a MIDI file can hold");
        for (; pause > greatestQuantity; pause -= greatestQuantity) {
            appendQuantity(out, greatestQuantity);
            appendMeta(Meta::text, {});
        }
        appendQuantity(out, static_cast<std::uint32_t>(pause));
        tick = at;
    }

    std::uint32_t checked(std::size_t length, const char* what) const {
        if (length > greatestQuantity) refuse(std::string(what) + " is longer than a MIDI file can hold");
        return static_cast<std::uint32_t>(length);
    }

    [[noreturn]] void refuse(const std::string& reason) const {
        throw MIDIFileError("track " + std::to_string(number) + ": " + reason);
    }

    std::string& out;
    std::size_t number;
    std::size_t sizePlace = 0;
    std::uint64_t tick = 0;
};

std::string dataOf(const TempoChange& change) {
    std::string data;
    appendBigEndian(data, change.microsecondsPerQuarter, 3);
    return data;
}

std::string dataOf(const TimeSignature& signature) {
    return {static_cast<char>(signature.numerator), static_cast<char>(signature.denominatorPower),
            static_cast<char>(signature.clocksPerClick), static_cast<char>(signature.thirtySecondsPerQuarter)};
}

std::string dataOf(const KeySignature& signature) {
    return {static_cast<char>(signature.sharps), static_cast<char>(signature.minor ? 1 : 0)};
}

struct TimedMeta {
    std::uint64_t tick;
    Meta type;
    std::string data;
};

/// A file that was read brings its own conductor track along, which mustn't become a second one.
bool beginsWithConductor(const MIDIFile& file) {
    return !file.tracks.empty() && file.tracks.front().events.empty() && file.tracks.front().name.empty();
}

void writeConductorTrack(std::string& out, const MIDIFile& file) {
    std::vector<TimedMeta> metas;
    for (const TempoChange& change : file.tempos) metas.push_back({change.tick, Meta::tempo, dataOf(change)});
    for (const TimeSignature& one : file.timeSignatures) metas.push_back({one.tick, Meta::timeSignature, dataOf(one)});
    for (const KeySignature& one : file.keySignatures) metas.push_back({one.tick, Meta::keySignature, dataOf(one)});
    std::stable_sort(metas.begin(), metas.end(),
                     [](const TimedMeta& one, const TimedMeta& other) { return one.tick < other.tick; });
    TrackWriter track(out, 1);
    for (const TimedMeta& one : metas) track.meta(one.tick, one.type, one.data);
    track.finish(beginsWithConductor(file) ? file.tracks.front().endTick : 0);
}

void writeTrack(std::string& out, const MIDIFile& file, const MIDIFileTrack& track, std::size_t number) {
    TrackWriter writer(out, number);
    if (!track.name.empty()) writer.meta(0, Meta::trackName, track.name);
    for (const MIDIFileEvent& event : track.events) writer.event(event.tick, file.bytes(event));
    writer.finish(track.endTick);
}

std::uint32_t divisionWord(const MIDIFileDivision& division) {
    if (!division.isSMPTE()) return division.ticksPerQuarter;
    return static_cast<std::uint32_t>((256 - division.framesPerSecond) << 8 | division.ticksPerFrame);
}

}  // namespace

std::string StandardMIDIFile::write(const MIDIFile& file) {
    const std::size_t first = beginsWithConductor(file) ? 1 : 0;
    const std::size_t trackCount = file.tracks.size() - first + 1;
    if (trackCount > 0xFFFF) throw MIDIFileError("a MIDI file holds at most 65535 tracks");
    std::string out;
    std::size_t eventCount = 0;
    for (const MIDIFileTrack& track : file.tracks) eventCount += track.events.size();
    out.reserve(file.arena.size() + eventCount * 3 + trackCount * 64);
    out += "MThd";
    appendBigEndian(out, 6, 4);
    appendBigEndian(out, 1, 2);
    appendBigEndian(out, static_cast<std::uint32_t>(trackCount), 2);
    appendBigEndian(out, divisionWord(file.division), 2);
    writeConductorTrack(out, file);
    for (std::size_t index = first; index < file.tracks.size(); ++index)
        writeTrack(out, file, file.tracks[index], index - first + 2);
    return out;
}

}  // namespace varnolex
