#include "tools/looper/LooperMIDIFile.hpp"

#include <algorithm>
#include <cmath>
#include <limits>
#include <vector>

#include "core/midifile/MIDIFileChunks.hpp"
#include "core/midifile/StandardMIDIFile.hpp"
#include "tools/looper/PlaybackState.hpp"

namespace varnolex {
namespace {

using Event = LooperMIDIFile::MIDIEvent;

void appendNumber(std::string& bytes, std::uint32_t value, int byteCount) {
    for (int shift = 8 * (byteCount - 1); shift >= 0; shift -= 8) bytes += static_cast<char>(value >> shift);
}

void appendQuantity(std::string& bytes, std::uint32_t value) {
    for (int shift = 28; shift > 0; shift -= 7)
        if (value >> shift != 0) bytes += static_cast<char>(0x80 | (value >> shift & 0x7F));
    bytes += static_cast<char>(value & 0x7F);
}

std::vector<Event> eventsOf(const LoopBuffer& loop) {
    std::vector<LooperNoteEvent> notes(loop.events.begin(), loop.events.end());
    std::ranges::stable_sort(notes, {}, &LooperNoteEvent::tick);
    std::vector<Event> events;
    events.reserve(2 * notes.size() + loop.rawEvents.size());
    const auto status = [](int kind, std::uint8_t channel) { return static_cast<std::uint8_t>(kind | channel); };
    for (const LooperNoteEvent& note : notes) {
        events.push_back({note.tick, {status(0x90, note.channel), note.note, note.velocity}});
        events.push_back({note.tick + note.duration, {status(0x80, note.channel), note.note, 0}});
    }
    for (const LooperRawEvent& raw : loop.rawEvents) events.push_back({raw.tick, {raw.b0, raw.b1, raw.b2}});
    std::ranges::stable_sort(events, {}, &Event::tick);
    return events;
}

/// Collects a loop from the tracks of a file, one behind the other.
class LoopReader {
public:
    LoopReader(const MIDIFile& midiFile, LoopBuffer& target)
        : file(midiFile), loop(target), scale(double{ticksPerBeat} / ticksPerQuarter(midiFile.division)) {
        loop.clear();
    }

    void read() {
        for (const MIDIFileTrack& track : file.tracks) readTrack(track);
        pending.takeAll([this](NoteKey key, HeldPresses::Press press) { close(key, press, lastTick); });
        std::ranges::stable_sort(loop.events, {}, &LooperNoteEvent::tick);
        const std::uint64_t bars = (lastEnd() + ticksPerBar / 2) / ticksPerBar;
        if (bars * ticksPerBar > longestLoop) throw MIDIFileError("it lasts longer than a loop can");
        loop.lengthInTicks = static_cast<std::uint32_t>(std::max<std::uint64_t>(bars, 1)) * ticksPerBar;
    }

private:
    static double ticksPerQuarter(MIDIFileDivision division) {
        if (!division.isSMPTE()) return division.ticksPerQuarter;
        // Such a file has no beats: its quarter notes are those of 120 a minute.
        const double frames = division.framesPerSecond == 29 ? 30 / 1.001 : division.framesPerSecond;
        return frames * division.ticksPerFrame / 2;
    }

    void readTrack(const MIDIFileTrack& track) {
        std::uint64_t fileTick = 0;
        tick = 0;
        const auto advance = [&](std::uint64_t to) {
            const double ticks = std::round(static_cast<double>(to - fileTick) * scale) + tick;
            if (ticks > std::numeric_limits<std::uint32_t>::max())
                throw MIDIFileError("it lasts longer than a loop can");
            fileTick = to;
            tick = static_cast<std::uint32_t>(ticks);
            lastTick = std::max(lastTick, tick);
        };
        for (const MIDIFileEvent& event : track.events) {
            advance(event.tick);
            take(file.bytes(event));
        }
        advance(track.endTick);
    }

    void take(std::span<const std::uint8_t> bytes) {
        if (bytes.empty() || bytes[0] < 0x80 || bytes[0] >= 0xF0) return;
        if (bytes.size() != 1 + midifile::voiceDataLength(bytes[0])) return;
        const int kind = bytes[0] & 0xF0;
        if (kind != 0x80 && kind != 0x90) return takeRaw(bytes);
        const NoteKey key = noteKeyOf(bytes[0], bytes[1]);
        if (kind == 0x90 && bytes[2] > 0)
            pending.put(key, {tick, bytes[2]});
        else if (const auto press = pending.take(key))
            close(key, *press, tick);
    }

    void takeRaw(std::span<const std::uint8_t> bytes) {
        const std::uint8_t last = bytes.size() > 2 ? bytes[2] : std::uint8_t{0};
        if (!loop.rawEvents.append({tick, bytes[0], bytes[1], last})) refuse(loop.rawEvents.capacity, "other messages");
    }

    void close(NoteKey key, HeldPresses::Press press, std::uint32_t end) {
        const std::int64_t ticks = std::clamp<std::int64_t>(std::int64_t{end} - press.tick, 1, UINT16_MAX);
        if (!loop.events.append({press.tick, static_cast<std::uint8_t>(key & 0x7F), press.velocity,
                                 static_cast<std::uint8_t>(key >> 7), static_cast<std::uint16_t>(ticks)}))
            refuse(loop.events.capacity, "notes");
    }

    [[noreturn]] static void refuse(std::size_t capacity, const char* what) {
        throw MIDIFileError("it holds more than the " + std::to_string(capacity) + " " + what + " of a loop");
    }

    std::uint64_t lastEnd() const {
        std::uint64_t end = lastTick;
        for (const LooperNoteEvent& note : loop.events) end = std::max(end, std::uint64_t{note.tick} + note.duration);
        return end;
    }

    const MIDIFile& file;
    LoopBuffer& loop;
    const double scale;
    HeldPresses pending;
    std::uint32_t tick = 0;
    std::uint32_t lastTick = 0;
};

}  // namespace

std::span<const std::uint8_t> LooperMIDIFile::MIDIEvent::message() const {
    return std::span(bytes).first(1 + midifile::voiceDataLength(bytes[0]));
}

std::string LooperMIDIFile::write(const LoopBuffer& loop) {
    if (loop.lengthInTicks == 0 || loop.events.empty()) return {};
    std::string track;
    std::uint32_t last = 0;
    for (const Event& event : eventsOf(loop)) {
        appendQuantity(track, event.tick - last);
        last = event.tick;
        for (const std::uint8_t byte : event.message()) track += static_cast<char>(byte);
    }
    appendQuantity(track, loop.lengthInTicks > last ? loop.lengthInTicks - last : 0);
    track.append("\xFF\x2F\x00", 3);

    std::string file = "MThd";
    appendNumber(file, 6, 4);
    appendNumber(file, 0, 2);
    appendNumber(file, 1, 2);
    appendNumber(file, ticksPerBeat, 2);
    file += "MTrk";
    appendNumber(file, static_cast<std::uint32_t>(track.size()), 4);
    return file + track;
}

void LooperMIDIFile::read(std::string_view contents, LoopBuffer& loop) {
    const MIDIFile file = StandardMIDIFile::read(contents);
    LoopReader(file, loop).read();
}

}  // namespace varnolex
