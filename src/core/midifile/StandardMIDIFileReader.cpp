#include <algorithm>
#include <array>
#include <cstdio>
#include <limits>

#include "core/midifile/MIDIFileChunks.hpp"
#include "core/midifile/StandardMIDIFile.hpp"

namespace varnolex {

namespace {

using namespace midifile;
using Bytes = std::span<const std::uint8_t>;

/// Later than this nothing in a file may stand: a century, far inside what a time stamp holds.
constexpr std::uint64_t latestMusic = 100ull * 366 * 86'400 * 1'000'000'000;

constexpr std::size_t chunkHeaderLength = 8;
constexpr std::size_t fileHeaderLength = 6;

/// A position in the file, with the words that errors need. Reads are checked against `end`.
class Place {
public:
    Place(Bytes wholeFile, std::size_t begin, std::size_t stop, std::size_t trackNumber)
        : file(wholeFile), offset(begin), end(stop), track(trackNumber) {}

    bool atEnd() const { return offset == end; }
    std::size_t remaining() const { return end - offset; }
    std::size_t position() const { return offset; }
    std::uint8_t peek() const { return file[offset]; }

    std::uint8_t byte(const char* expectation) {
        if (atEnd()) refuse(expectation);
        return file[offset++];
    }

    std::uint32_t bigEndian(std::size_t count, const char* expectation) {
        std::uint32_t number = 0;
        for (std::size_t index = 0; index < count; ++index) number = number << 8 | byte(expectation);
        return number;
    }

    /// A number in base 128 of at most four bytes.
    std::uint32_t quantity(const char* expectation) {
        const std::size_t begin = offset;
        std::uint32_t number = 0;
        for (int count = 0; count < 4; ++count) {
            const std::uint8_t next = byte(expectation);
            number = number << 7 | (next & 0x7F);
            if (next < 0x80) return number;
        }
        offset = begin;
        refuse("expected a variable-length number of at most four bytes");
    }

    Bytes take(std::size_t length, const char* expectation) {
        if (length > remaining()) refuse(expectation);
        const Bytes taken = file.subspan(offset, length);
        offset += length;
        return taken;
    }

    [[noreturn]] void refuse(const char* reason) const { refuseAt(offset, reason); }

    [[noreturn]] void refuseAt(std::size_t where, const std::string& reason) const {
        std::array<char, 64> text;
        if (track > 0)
            std::snprintf(text.data(), text.size(), "track %zu, offset 0x%zx: ", track, where);
        else
            std::snprintf(text.data(), text.size(), "offset 0x%zx: ", where);
        throw MIDIFileError(text.data() + reason);
    }

private:
    Bytes file;
    std::size_t offset;
    std::size_t end;
    std::size_t track;
};

/// Reads the events of one track chunk into a track of the file.
class TrackReader {
public:
    TrackReader(MIDIFile& midiFile, Place chunk) : file(midiFile), place(chunk) {}

    MIDIFileTrack read() {
        track.events.reserve(place.remaining() / 4);
        while (!place.atEnd() && !ended) readEvent();
        closeSysEx();
        track.endTick = tick;
        return std::move(track);
    }

private:
    void readEvent() {
        tick += place.quantity("the track ends inside a delta time");
        const std::size_t begin = place.position();
        const std::uint8_t first = place.byte("the track ends where an event was expected");
        if (first < 0xF0)
            readVoice(begin, first);
        else if (first == metaStatus)
            readMeta();
        else if (first == sysExStatus)
            readSysEx();
        else if (first == escapeStatus)
            readEscape();
        else
            place.refuseAt(begin, "this status byte has no place in a MIDI file");
    }

    void readVoice(std::size_t begin, std::uint8_t first) {
        closeSysEx();
        const bool repeats = first < 0x80;
        if (repeats && runningStatus == 0) place.refuseAt(begin, "expected a status byte, found a data byte");
        if (!repeats) runningStatus = first;
        std::array<std::uint8_t, 3> message{runningStatus, first, 0};
        const std::size_t length = 1 + voiceDataLength(runningStatus);
        for (std::size_t index = repeats ? 2 : 1; index < length; ++index) {
            message[index] = place.byte("the track ends inside a message");
            if (message[index] >= 0x80)
                place.refuseAt(place.position() - 1, "expected a data byte, found a status byte");
        }
        file.append(track, tick, Bytes(message).first(length));
    }

    void readSysEx() {
        closeSysEx();
        const Bytes packet = takePacket();
        sysExTick = tick;
        sysExOpen = true;
        sysEx.assign(1, sysExStatus);
        continueSysEx(packet);
    }

    void readEscape() {
        const Bytes packet = takePacket();
        if (sysExOpen)
            continueSysEx(packet);
        else if (!packet.empty())
            file.append(track, tick, packet);
    }

    void continueSysEx(Bytes packet) {
        sysEx.insert(sysEx.end(), packet.begin(), packet.end());
        if (!packet.empty() && packet.back() == 0xF7) closeSysEx();
    }

    /// A message that no packet ended stands as it is: what listens decides what an unfinished message is worth.
    void closeSysEx() {
        if (!sysExOpen) return;
        sysExOpen = false;
        file.append(track, sysExTick, sysEx);
    }

    Bytes takePacket() {
        const std::uint32_t length = place.quantity("the track ends inside the length of a SysEx packet");
        return place.take(length, "the SysEx packet is longer than the rest of the track");
    }

    void readMeta() {
        const std::size_t begin = place.position() - 1;
        const std::uint8_t type = place.byte("the track ends inside a meta event");
        const std::uint32_t length = place.quantity("the track ends inside the length of a meta event");
        const Bytes data = place.take(length, "the meta event is longer than the rest of the track");
        switch (type) {
            case Meta::endOfTrack:
                ended = true;
                break;
            case Meta::trackName:
                keepName(data);
                break;
            case Meta::tempo:
                keepTempo(data, begin);
                break;
            case Meta::timeSignature:
                if (data.size() == 4) file.timeSignatures.push_back({tick, data[0], data[1], data[2], data[3]});
                break;
            case Meta::keySignature:
                if (data.size() == 2)
                    file.keySignatures.push_back({tick, static_cast<std::int8_t>(data[0]), data[1] != 0});
                break;
            default:
                break;
        }
    }

    void keepName(Bytes data) {
        if (track.name.empty()) track.name.assign(data.begin(), data.end());
    }

    void keepTempo(Bytes data, std::size_t begin) {
        if (data.size() != 3) return;
        const std::uint32_t microseconds = static_cast<std::uint32_t>(data[0] << 16 | data[1] << 8 | data[2]);
        if (microseconds == 0) place.refuseAt(begin, "a tempo of 0 microseconds a quarter note can't be played");
        file.tempos.push_back({tick, microseconds});
    }

    MIDIFile& file;
    Place place;
    MIDIFileTrack track;
    std::uint64_t tick = 0;
    std::uint8_t runningStatus = 0;
    bool ended = false;
    bool sysExOpen = false;
    std::uint64_t sysExTick = 0;
    std::vector<std::uint8_t> sysEx;
};

/// Reads the chunks of a file.
class FileReader {
public:
    explicit FileReader(Bytes contents) : bytes(contents), place(contents, 0, contents.size(), 0) {}

    MIDIFile read() {
        if (bytes.size() > std::numeric_limits<std::uint32_t>::max()) place.refuse("the file is larger than 4 GiB");
        readHeader();
        file.arena.reserve(bytes.size());
        while (place.remaining() >= chunkHeaderLength && readChunk()) {
        }
        if (file.tracks.size() < promisedTracks) refuseMissingTracks();
        order(file.tempos);
        order(file.timeSignatures);
        order(file.keySignatures);
        if (file.tempoMap().nanoseconds(file.endTick()) > latestMusic)
            place.refuseAt(0, "the music lasts longer than a hundred years");
        return std::move(file);
    }

private:
    void readHeader() {
        constexpr const char* noHeader = "expected the header of a MIDI file (\"MThd\")";
        if (bytes.size() < chunkHeaderLength + fileHeaderLength) place.refuse(noHeader);
        if (!isNamed(place.take(4, noHeader), "MThd")) place.refuseAt(0, noHeader);
        const std::uint32_t length = place.bigEndian(4, noHeader);
        if (length < fileHeaderLength) place.refuseAt(4, "the file's header is too short");
        const std::size_t body = place.position();
        const std::uint32_t format = place.bigEndian(2, noHeader);
        if (format > 2) place.refuseAt(body, "expected format 0, 1 or 2");
        promisedTracks = place.bigEndian(2, noHeader);
        const std::size_t divisionPlace = place.position();
        readDivision(divisionPlace, static_cast<std::uint16_t>(place.bigEndian(2, noHeader)));
        place.take(length - fileHeaderLength, "the file ends inside its header");
    }

    void readDivision(std::size_t where, std::uint16_t word) {
        if (word == 0) place.refuseAt(where, "a quarter note can't have 0 ticks");
        if (word < 0x8000) {
            file.division = MIDIFileDivision::metrical(word);
            return;
        }
        const int frames = -static_cast<std::int8_t>(word >> 8);
        if (frames != 24 && frames != 25 && frames != 29 && frames != 30)
            place.refuseAt(where, "expected 24, 25, 29 or 30 frames a second");
        if ((word & 0xFF) == 0) place.refuseAt(where, "a frame can't have 0 ticks");
        file.division =
            MIDIFileDivision::smpte(static_cast<std::uint8_t>(frames), static_cast<std::uint8_t>(word & 0xFF));
    }

    /// False when nothing that matters follows.
    bool readChunk() {
        const std::size_t begin = place.position();
        const bool isTrack = isNamed(place.take(4, ""), "MTrk");
        const std::uint32_t length = place.bigEndian(4, "");
        const std::size_t number = isTrack ? file.tracks.size() + 1 : 0;
        if (length > place.remaining()) {
            if (file.tracks.size() >= promisedTracks) return false;
            Place(bytes, begin, begin, number)
                .refuseAt(begin, "the chunk promises " + std::to_string(length) + " bytes, but the file ends after " +
                                     std::to_string(place.remaining()));
        }
        const std::size_t body = place.position();
        if (isTrack) file.tracks.push_back(TrackReader(file, Place(bytes, body, body + length, number)).read());
        place.take(length, "");
        return true;
    }

    [[noreturn]] void refuseMissingTracks() const {
        place.refuseAt(bytes.size(), "the header promises " + std::to_string(promisedTracks) +
                                         " tracks, but the file ends after " + std::to_string(file.tracks.size()));
    }

    static bool isNamed(Bytes name, std::string_view expected) {
        return std::equal(
            name.begin(), name.end(), expected.begin(), expected.end(),
            [](std::uint8_t byte, char character) { return byte == static_cast<std::uint8_t>(character); });
    }

    template <class Entry>
    static void order(std::vector<Entry>& entries) {
        std::stable_sort(entries.begin(), entries.end(),
                         [](const Entry& one, const Entry& other) { return one.tick < other.tick; });
    }

    Bytes bytes;
    Place place;
    std::size_t promisedTracks = 0;
    MIDIFile file;
};

}  // namespace

MIDIFile StandardMIDIFile::read(std::string_view contents) {
    return FileReader(Bytes(reinterpret_cast<const std::uint8_t*>(contents.data()), contents.size())).read();
}

}  // namespace varnolex
