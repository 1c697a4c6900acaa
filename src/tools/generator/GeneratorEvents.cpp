#include "tools/generator/GeneratorEvents.hpp"

#include <algorithm>
#include <string>

#include "core/message/DataLength.hpp"
#include "core/midifile/StandardMIDIFile.hpp"
#include "core/midifile/SysExFile.hpp"

namespace varnolex {
namespace {

constexpr std::int64_t longestWaitMs = 1'000'000'000;
constexpr std::uint8_t sysExBegin = 0xF0;
constexpr std::uint8_t sysExEnd = 0xF7;
constexpr std::uint8_t firstRealTime = 0xF8;

std::size_t bigEndian(std::string_view text, std::size_t at) {
    std::size_t number = 0;
    for (const char character : text.substr(at, 4)) number = number << 8 | static_cast<std::uint8_t>(character);
    return number;
}

/// A file of its own with the first track and nothing else, so that other tracks bring in neither tempo nor faults;
/// empty when there is none behind the header.
std::string firstTrackAlone(std::string_view contents) {
    if (contents.size() <= 14 || !contents.starts_with("MThd")) return {};
    const std::size_t track = 8 + bigEndian(contents, 4);
    if (track + 8 > contents.size() || contents.substr(track, 4) != "MTrk") return {};
    std::string alone("MThd\0\0\0\6\0\0\0\1", 12);
    alone += contents.substr(12, 2);
    alone += contents.substr(track, 8 + bigEndian(contents, track + 4));
    return alone;
}

std::optional<MIDIFile> readFirstTrack(std::string_view contents) {
    try {
        return StandardMIDIFile::read(firstTrackAlone(contents));
    } catch (const MIDIFileError&) {
        return std::nullopt;
    }
}

}  // namespace

Nanoseconds waitOf(std::int64_t milliseconds) {
    return std::chrono::milliseconds(std::clamp<std::int64_t>(milliseconds, 0, longestWaitMs));
}

bool isWholeMessage(std::span<const std::uint8_t> bytes) {
    if (bytes.empty() || bytes[0] < 0x80) return false;
    if (bytes[0] == sysExBegin) {
        if (bytes.size() < 2 || bytes.back() != sysExEnd) return false;
        bytes = bytes.first(bytes.size() - 1);
    } else if (bytes[0] == sysExEnd || bytes.size() != 1 + dataLengthOf(bytes[0])) {
        return false;
    }
    return std::ranges::all_of(bytes.subspan(1), [](std::uint8_t byte) { return byte < 0x80; });
}

GeneratorEvents::Event& GeneratorEvents::append(std::span<const std::uint8_t> message) {
    Event& event = events.emplace_back();
    event.offset = static_cast<std::uint32_t>(arena.size());
    event.length = static_cast<std::uint32_t>(message.size());
    arena.insert(arena.end(), message.begin(), message.end());
    return event;
}

GeneratorEvents GeneratorEvents::ofSteps(std::span<const GeneratorStep> steps) {
    GeneratorEvents made;
    for (const GeneratorStep& step : steps) {
        const auto index = step.randomizeByteIndex.value_or(-1);
        const bool isRandom = index >= 0 && index < static_cast<std::int64_t>(step.bytes.size());
        const bool isPlayable = isRandom || isWholeMessage(step.bytes);
        Event& event = made.append(isPlayable ? std::span(step.bytes) : std::span<const std::uint8_t>());
        if (isRandom) event.randomByte = static_cast<std::uint32_t>(index);
        event.randomMin = step.randomizeMin;
        event.randomMax = step.randomizeMax;
        if (step.delayMsOverride.value_or(0) >= 1) event.wait = waitOf(*step.delayMsOverride);
        event.noteDuration = waitOf(step.noteDurationMs.value_or(0));
    }
    return made;
}

GeneratorEvents GeneratorEvents::ofMIDIFile(std::string_view contents) {
    GeneratorEvents made;
    const auto file = readFirstTrack(contents);
    if (!file || file->tracks.empty()) return made;
    const TempoMap map = file->tempoMap();
    TempoCursor cursor(map);
    std::uint64_t before = 0;
    for (const MIDIFileEvent& event : file->tracks[0].events) {
        if (!isWholeMessage(file->bytes(event))) continue;
        const std::uint64_t time = cursor.nanoseconds(event.tick);
        made.append(file->bytes(event)).wait = Nanoseconds(time - before);
        before = time;
    }
    return made;
}

GeneratorEvents GeneratorEvents::ofSysExFile(std::string_view contents) {
    GeneratorEvents made;
    std::vector<std::uint8_t> message;
    for (const char character : contents) {
        const auto byte = static_cast<std::uint8_t>(character);
        if (byte == sysExBegin)
            message.assign(1, byte);
        else if (message.empty() || byte >= firstRealTime)
            continue;
        else if (byte < 0x80)
            message.push_back(byte);
        else if (byte == sysExEnd)
            message.push_back(byte), made.appendSysEx(message), message.clear();
        else
            message.clear();
    }
    return made;
}

void GeneratorEvents::appendSysEx(std::span<const std::uint8_t> message) {
    append(message).wait = tailLength;
    tailLength = Nanoseconds(message.size() * SysExFile::nanosecondsPerByte);
}

}  // namespace varnolex
